// The stored patch: whatever bytes the file holds, reading ends with a patch or an error, and a patch that was read can be stored,
// searched and worked out.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/Lighting/Patch.hpp"
#include "Kestrelyne/Lighting/PatchEncoder.hpp"
#include "Kestrelyne/Lighting/PatchExport.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kestrelyne;
    try {
        const auto patch = base::parseJSON({reinterpret_cast<const char*>(data), size}).get<Patch>();
        const auto text = PatchEncoder::text(patch);
        const auto again = base::parseJSON(text).get<Patch>();
        if (again.fixtures.size() != patch.fixtures.size() || PatchEncoder::text(again) != text) std::abort();
        for (const auto& fixture : patch.fixtures) {
            if (!fixture.fixtureID.empty() && !PatchQuery("").matches(fixture)) std::abort();
            for (const auto* query : {"1", "2.41", "ä", "–"}) static_cast<void>(fixture.matches(query));
            static_cast<void>(fixture.matches(fixture.name));
            static_cast<void>(fixture.displayName());
            static_cast<void>(patch.settings.artNetUniverse(fixture.universe));
            static_cast<void>(patch.plannedCurrent(fixture.distributor));
        }
        patch.overlaps();
        for (const auto& circuit : patch.circuits()) static_cast<void>(circuit.powerW());
        PatchExport::csv(patch.fixtures);
        auto merged = patch;
        merged.apply(again.fixtures, false, "");
        if (merged.fixtures.size() < patch.fixtures.size()) std::abort();
    } catch (const base::DecodeError&) {}
    return 0;
}
