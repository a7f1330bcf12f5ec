// Any text of a cell: an address is absent or within its ranges and reads the same in its other forms; a power is absent or
// sensible.

#include <cmath>
#include <cstdint>
#include <string>

#include "Base/Require.hpp"
#include "Kestrelyne/Lighting/PatchImport.hpp"

using namespace kestrelyne;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto place = PatchImport::parseAddress(text, {});
    const auto there = PatchImport::parseAddress(text, 7);
    KESTRELYNE_REQUIRE(place.has_value() == there.has_value(), "the column of the universe decides nothing but the universe");
    if (place) {
        const auto [universe, address] = *place;
        KESTRELYNE_REQUIRE(universe >= 1 && universe <= 63999 && address >= 1 && address <= 65535, "within the ranges");
        KESTRELYNE_REQUIRE(there->second == address, "the column of the universe decides nothing but the universe");
        for (const char mark : {'.', '/'})
            KESTRELYNE_REQUIRE(PatchImport::parseAddress(std::to_string(universe) + mark + std::to_string(address), 3) == place,
                               "the same in other words");
        if (address <= 512)
            KESTRELYNE_REQUIRE(PatchImport::parseAddress(std::to_string((universe - 1) * 512 + address), {}) == place,
                               "the same as one number");
    }
    const auto power = PatchImport::parsePower(text);
    KESTRELYNE_REQUIRE(!power || (*power >= 0 && std::isfinite(*power)), "a power that exists");
    return 0;
}
