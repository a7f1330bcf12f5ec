#pragma once
// A file that "patch import" is given: what it is, by its content, and what it holds.

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "Kestrelyne/Lighting/PatchFixture.hpp"

namespace kestrelyne {

struct PatchFile {
    std::vector<PatchFixture> fixtures;                          // at least one
    std::vector<std::pair<std::string, std::string>> columns{};  // of a list: heading and field, as people read them
    std::vector<std::string> notes{};                            // what is to be known of it, German
};

/// An archive counts as MVR, the first bytes of a console's show as one, the rest by its name's extension, else as a list. `map`
/// holds "COLUMN=FIELD" for columns of a list. `beginsShow` is called before a show is unpacked. Blocking; throws
/// std::runtime_error with a German text that says which import it is, or ControlError (wrongWords) for `map`.
PatchFile readPatchFile(const std::filesystem::path& file, const std::vector<std::string>& map, void (*beginsShow)());

}  // namespace kestrelyne
