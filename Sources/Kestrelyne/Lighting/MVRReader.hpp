#pragma once
// The lamps of an MVR scene with what their GDTF files say of them.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Kestrelyne/Lighting/MVRScene.hpp"
#include "Kestrelyne/Lighting/PatchImport.hpp"

namespace kestrelyne::PatchImport {

/// What a "GDTFSpec" leads to: a description, or why there is none.
struct MVRType {
    std::string file;  // as warnings name it
    std::optional<GDTFInfo> info{};
    std::string problem{};  // a sentence without its end
};
/// The answer stays where it is.
using MVRTypes = std::function<const MVRType&(const std::string& spec)>;

MVR assembleMVR(std::vector<MVRFixture> scene, const MVRTypes& types);

}  // namespace kestrelyne::PatchImport
