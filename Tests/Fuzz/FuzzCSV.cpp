// Any list: it is refused with a text, or gives rows whose cells are UTF-8, and lamps whose numbers are within their ranges; what
// it gave, written as a list, is read the same.

#include <cmath>
#include <cstdint>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/Lighting/PatchImport.hpp"

using namespace kestrelyne;

namespace {

std::string quoted(const std::vector<std::string>& cells) {
    std::string row;
    for (const auto& cell : cells) {
        row += row.empty() ? "\"" : ";\"";
        for (const char each : cell) row += each == '"' ? std::string("\"\"") : std::string(1, each);
        row += '"';
    }
    return row + "\n";
}

void check(const CSVTable& table) {
    for (const auto& row : table.rows) {
        KESTRELYNE_REQUIRE(!row.empty() && !base::trimmed(row.back()).empty(), "no empty row, no empty cell at an end");
        for (const auto& cell : row) KESTRELYNE_REQUIRE(base::repairUTF8(cell) == cell, "cells are UTF-8");
    }
    const auto mapping = PatchImport::guessMapping(table.header);
    std::array<int, patchFields> uses{};
    for (const auto field : mapping)
        KESTRELYNE_REQUIRE(++uses[static_cast<std::size_t>(field)] == 1 || field == PatchField::ignore, "no field twice");
    const auto fixtures = PatchImport::fixtures(table, mapping);
    KESTRELYNE_REQUIRE(fixtures.size() <= table.rows.size(), "one lamp a row");
    for (const auto& fixture : fixtures) {
        KESTRELYNE_REQUIRE(fixture.universe >= 0 && fixture.universe <= 63999, "a universe that exists");
        KESTRELYNE_REQUIRE(fixture.address >= 0 && fixture.address <= 65535 && fixture.footprint >= 0, "numbers that can be shown");
        KESTRELYNE_REQUIRE(!fixture.powerW || (*fixture.powerW >= 0 && std::isfinite(*fixture.powerW)), "a power that exists");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const auto table = PatchImport::parseCSVText({reinterpret_cast<const char*>(data), size});
        check(table);
        std::string text = "\xEF\xBB\xBFsep=;\n" + quoted(table.header);
        for (const auto& row : table.rows) text += quoted(row);
        const auto again = PatchImport::parseCSVText(text);
        KESTRELYNE_REQUIRE(again.header == table.header && again.rows == table.rows, "what is written is read the same");
    } catch (const ImportError& error) {
        KESTRELYNE_REQUIRE(error.what()[0] != '\0', "a reason");
    }
    return 0;
}
