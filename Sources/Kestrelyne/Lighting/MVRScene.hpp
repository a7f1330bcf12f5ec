#pragma once
// The scene of an MVR file (DIN SPEC 15801): its lamps as the document names them, before their types are known.

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kestrelyne {

struct MVRFixture {
    struct Address {
        int dmxBreak = 0;                            // as written: most programs count from 0
        std::optional<std::pair<int, int>> place{};  // universe and address; absent when it is not patched
        bool operator==(const Address&) const = default;
    };
    std::string name, fixtureID, layer, position;
    std::string type, mode;            // "GDTFSpec" and "GDTFMode"
    std::vector<Address> addresses{};  // by break
    bool operator==(const MVRFixture&) const = default;
};

/// All lamps below the layers, in the order of the document. Throws ImportError that names the document and `fileName`.
std::vector<MVRFixture> parseMVRScene(std::string xml, const std::string& fileName);

}  // namespace kestrelyne
