#include "Kestrelyne/Simulators/DemoPatch.hpp"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "NetCore/LightingScene.hpp"

namespace kestrelyne {

namespace {

/// A row of equal lamps.
struct Row {
    int firstNumber, count;
    const char *name, *manufacturer, *model, *mode;
    int universe, footprint;
    double powerW;
    const char *position, *distributor;
    int firstBreaker, lampsOfBreaker;
    std::vector<PatchFixture::DMXValue> highlight;
};

void add(std::vector<PatchFixture>& fixtures, const Row& row) {
    static constexpr std::array phases = {"L1", "L2", "L3"};
    for (int i = 0; i < row.count; ++i) {
        const int breaker = row.firstBreaker + i / row.lampsOfBreaker;
        PatchFixture lamp;
        lamp.fixtureID = std::to_string(row.firstNumber + i);
        lamp.name = fmt::format("{} {}", row.name, i + 1);
        lamp.manufacturer = row.manufacturer;
        lamp.model = row.model;
        lamp.mode = row.mode;
        lamp.universe = row.universe;
        lamp.address = 1 + i * row.footprint;
        lamp.footprint = row.footprint;
        lamp.layer = row.name;
        lamp.position = row.position;
        lamp.distributor = row.distributor;
        lamp.plugbox = fmt::format("PB {}", 1 + (breaker - 1) / 6);
        lamp.socket = std::to_string(1 + (breaker - 1) % 6);
        lamp.breaker = fmt::format("F{}", breaker);
        lamp.phase = phases.at(static_cast<std::size_t>(breaker - 1) % phases.size());
        lamp.powerW = row.powerW;
        lamp.highlight = row.highlight;
        fixtures.push_back(std::move(lamp));
    }
}

}  // namespace

Patch demoPatch(const std::optional<base::UUID>& meter) {
    constexpr int pixelUniverse = netcore::LightingScene::firstArtNet + 1;  // as a console counts
    // Dimmer, and a shutter that is open at 32.
    const std::vector<PatchFixture::DMXValue> spot = {{.offset = 0, .value = 255}, {.offset = 1, .value = 32}};
    const std::vector<PatchFixture::DMXValue> colours = {
        {.offset = 0, .value = 255}, {.offset = 1, .value = 255}, {.offset = 2, .value = 255}};
    Patch patch;
    patch.sourceName = "Demo";
    add(patch.fixtures, {101, 12, "Spot", "Beispiel", "Spot 800", "Standard", 1, 32, 950, "Truss 1", "HV 1", 1, 2, spot});
    add(patch.fixtures, {201, 12, "Wash", "Beispiel", "Wash 400", "Extended", 2, 24, 520, "Truss 2", "HV 1", 7, 3, spot});
    add(patch.fixtures,
        {301, 24, "Pixel", "Beispiel", "Bar 10", "RGB", pixelUniverse, 3, 60, "Bühnenkante", "HV 2", 1, 12, colours});
    if (meter) patch.settings.distributorDevices["HV 1"] = *meter;
    patch.sort();
    return patch;
}

}  // namespace kestrelyne
