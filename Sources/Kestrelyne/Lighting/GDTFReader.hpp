#pragma once
// A fixture type of a GDTF file (DIN SPEC 15800): its modes with their channels, and the levels that make it bright.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Kestrelyne/Lighting/PatchImport.hpp"
#include "Kestrelyne/Lighting/ZipArchive.hpp"

namespace kestrelyne::PatchImport {

/// Of an archive that is open already.
GDTFInfo readGDTF(ZipArchive& archive);

/// A DMX value of GDTF: "n/m" is the number n of m bytes, a number alone one of one byte. Its `width` bytes, the most significant
/// first: missing ones repeat the value, as the standard converts it, or are 0 for "n/ms". Absent for anything else.
std::optional<std::vector<int>> dmxBytes(std::string_view text, std::size_t width);
/// The most significant byte.
std::optional<int> dmxByte(std::string_view text);

}  // namespace kestrelyne::PatchImport
