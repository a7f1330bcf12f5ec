// Any scene: it is refused with a text, or each of its lamps becomes one of the patch, with the channels of the break that it
// shows.

#include <cstdint>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/Lighting/MVRReader.hpp"

using namespace kestrelyne;

namespace {

const PatchImport::MVRType& typeOf(const std::string& spec) {
    static const PatchImport::MVRType missing{.file = "x.gdtf", .problem = "x.gdtf fehlt"};
    static const PatchImport::MVRType known{
        .file = "a.gdtf",
        .info = PatchImport::GDTFInfo{
            .manufacturer = "M",
            .model = "T",
            .modes = {{.name = "A", .footprint = 5, .breaks = {{1, {.channels = 2}}, {2, {.channels = 3}}}}, {.name = "B"}}}};
    return spec.starts_with('a') ? known : missing;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        auto scene = parseMVRScene({reinterpret_cast<const char*>(data), size}, "a.mvr");
        const auto count = scene.size();
        const auto result = PatchImport::assembleMVR(std::move(scene), typeOf);
        KESTRELYNE_REQUIRE(result.fixtures.size() == count, "each lamp of the scene");
        for (const auto& fixture : result.fixtures) {
            KESTRELYNE_REQUIRE(fixture.universe >= 0 && fixture.universe <= 63999 && fixture.address >= 0, "a place that exists");
            KESTRELYNE_REQUIRE((fixture.address == 0) == (fixture.universe == 0), "both numbers or none");
            KESTRELYNE_REQUIRE(fixture.footprint <= 3, "one break of them");
            for (const auto* text :
                 {&fixture.name, &fixture.fixtureID, &fixture.layer, &fixture.position, &fixture.mode, &fixture.model})
                KESTRELYNE_REQUIRE(base::repairUTF8(*text) == *text, "texts are UTF-8");
        }
    } catch (const ImportError& error) {
        KESTRELYNE_REQUIRE(error.what()[0] != '\0', "a reason");
    }
    return 0;
}
