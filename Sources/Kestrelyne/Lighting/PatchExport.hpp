#pragma once
// The patch with its power plan as a list for spreadsheets.

#include <string>
#include <vector>

#include "Kestrelyne/Lighting/PatchFixture.hpp"

namespace kestrelyne::PatchExport {

/// RFC 4180 with ";" and a byte order mark, as a German spreadsheet opens it by a double click. Its headings are those that
/// PatchImport guesses back, and its values read back as they are, but for ids, levels and links to devices, which it does not
/// carry. Pure; any thread.
std::string csv(const std::vector<PatchFixture>& fixtures);

}  // namespace kestrelyne::PatchExport
