// Any plain bytes: what is found is a lamp at an address, and its footprint ends in its universe.

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "MeterCore/MA3Show.hpp"

using namespace metercore;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    auto found = MA3Show::fixtures({data, size});
    KESTRELYNE_REQUIRE(found.size() * 21 <= size, "every lamp has a record with a time stamp");
    MA3Show::estimateFootprints(found);
    for (const auto& fixture : found) {
        KESTRELYNE_REQUIRE(fixture.fixtureID >= 1 && fixture.fixtureID <= 99999, "an id has five digits");
        KESTRELYNE_REQUIRE(fixture.universe >= 1 && fixture.universe <= 32768, "a universe has 15 bits");
        KESTRELYNE_REQUIRE(fixture.address >= 1 && fixture.address <= 512, "an address has nine bits");
        KESTRELYNE_REQUIRE(fixture.footprint >= 1 && fixture.address + fixture.footprint <= 513, "a lamp ends in its universe");
        KESTRELYNE_REQUIRE(!fixture.name.empty() && base::repairUTF8(fixture.name) == fixture.name, "a name is UTF-8");
        KESTRELYNE_REQUIRE(text.find(fixture.name) != text.npos, "a name stands in the file");
        KESTRELYNE_REQUIRE(std::ranges::none_of(fixture.name, [](unsigned char byte) { return byte < 32 || byte == 127; }),
                           "a name has no control characters");
    }
    return 0;
}
