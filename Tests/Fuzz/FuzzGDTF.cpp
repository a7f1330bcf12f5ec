// Any description of a fixture type: it is refused with a text, or its modes agree with themselves.

#include <cstdint>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/Lighting/GDTFReader.hpp"

using namespace kestrelyne;

namespace {

void check(const PatchImport::GDTFInfo::Mode& mode) {
    KESTRELYNE_REQUIRE(base::repairUTF8(mode.name) == mode.name, "names are UTF-8");
    int channels = 0;
    for (const auto& [number, range] : mode.breaks) {
        KESTRELYNE_REQUIRE(number >= 1 && range.channels >= 1, "a break has channels");
        channels += range.channels;
        int last = -1;
        for (const auto& value : range.highlight) {
            KESTRELYNE_REQUIRE(value.offset > last && value.offset < range.channels, "each channel once, inside the footprint");
            KESTRELYNE_REQUIRE(value.value >= 0 && value.value <= 255 && (!value.fixed || value.value == 255), "a level");
            last = value.offset;
        }
    }
    KESTRELYNE_REQUIRE(channels == mode.footprint, "the sum of its breaks");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const auto info = PatchImport::parseGDTF({reinterpret_cast<const char*>(data), size}, "a.gdtf");
        KESTRELYNE_REQUIRE(!info.powerW || *info.powerW > 0, "a power that is known");
        for (const auto& mode : info.modes) check(mode);
    } catch (const ImportError& error) {
        KESTRELYNE_REQUIRE(error.what()[0] != '\0', "a reason");
    }
    return 0;
}
