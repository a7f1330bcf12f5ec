// The patch of a large rig: what a keystroke of the search costs, and what saving costs the main thread.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <string>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/Lighting/Patch.hpp"
#include "Kestrelyne/Lighting/PatchEncoder.hpp"
#include "Support/AllocationCounter.hpp"

using namespace kestrelyne;

namespace {

Patch rig(int lamps) {
    constexpr std::array types = {"Aura XB LED Wash", "Profile 1200 W", "Blinder 2-fach", "Bühnenfluter RGBW"};
    Patch patch;
    for (int i = 0; i < lamps; ++i) {
        PatchFixture fixture;
        fixture.fixtureID = std::to_string(i + 1);
        fixture.name = std::string(types[static_cast<std::size_t>(i) % types.size()]) + " " + std::to_string(i);
        fixture.manufacturer = "Müller Lichttechnik";
        fixture.model = types[static_cast<std::size_t>(i) % types.size()];
        fixture.mode = "Extended 16 bit";
        fixture.universe = i / 32 + 1;
        fixture.address = i % 32 * 16 + 1;
        fixture.footprint = 16;
        fixture.layer = "Front of house";
        fixture.position = "Truss " + std::to_string(i / 40);
        fixture.distributor = "Verteiler " + std::to_string(i / 200);
        fixture.plugbox = "PB " + std::to_string(i / 6);
        fixture.socket = std::to_string(i % 6 + 1);
        fixture.breaker = "F" + std::to_string(i % 48 + 1);
        fixture.phase = "L" + std::to_string(i % 3 + 1);
        fixture.powerW = 350;
        fixture.highlight = {{.offset = 0, .value = 255}, {.offset = 4, .value = 32}};
        patch.fixtures.push_back(std::move(fixture));
    }
    return patch;
}

// One after the other as they are typed: "matches" what the last one finds.
void search(benchmark::State& state, const char* query) {
    const auto patch = rig(5000);
    std::size_t found = 0;
    std::uint64_t allocations = 0;
    for (auto _ : state) {
        const auto before = support::allocations();
        const PatchQuery wanted(query);
        found = static_cast<std::size_t>(
            std::ranges::count_if(patch.fixtures, [&wanted](const auto& fixture) { return wanted.matches(fixture); }));
        allocations += support::allocations() - before;
    }
    state.counters["found"] = static_cast<double>(found);
    state.counters["allocations"] = static_cast<double>(allocations) / static_cast<double>(state.iterations());
}
BENCHMARK_CAPTURE(search, number, "48")->Name("search of 5000 lamps, a number")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(search, address, "12.41")->Name("search of 5000 lamps, an address")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(search, word, "fluter")->Name("search of 5000 lamps, a word that a quarter has")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(search, nothing, "verteiler 99 mit umlaut ä")
    ->Name("search of 5000 lamps, words that none has")
    ->Unit(benchmark::kMicrosecond);

void save(benchmark::State& state) {
    const auto patch = rig(20000);
    std::size_t bytes = 0;
    for (auto _ : state) bytes = PatchEncoder::text(patch).size();
    state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(save)->Name("encode 20000 lamps at once")->Unit(benchmark::kMillisecond);

void slice(benchmark::State& state) {
    const auto patch = rig(20000);
    constexpr std::size_t fixtures = 200;
    PatchEncoder encoder(patch);
    for (auto _ : state) {
        if (!encoder.step(fixtures)) continue;
        state.PauseTiming();
        benchmark::DoNotOptimize(encoder.take());
        std::destroy_at(&encoder);
        std::construct_at(&encoder, patch);
        state.ResumeTiming();
    }
}
BENCHMARK(slice)->Name("encode a slice of 200 lamps")->Unit(benchmark::kMicrosecond);

void read(benchmark::State& state) {
    const auto text = PatchEncoder::text(rig(20000));
    for (auto _ : state) benchmark::DoNotOptimize(base::parseJSON(text).get<Patch>());
}
BENCHMARK(read)->Name("read 20000 lamps")->Unit(benchmark::kMillisecond);

void apply(benchmark::State& state) {
    const auto patch = rig(20000);
    for (auto _ : state) {
        state.PauseTiming();
        auto now = patch;
        auto imported = patch.fixtures;
        state.ResumeTiming();
        now.apply(std::move(imported), true, "");
        benchmark::DoNotOptimize(now);
    }
}
BENCHMARK(apply)->Name("import 20000 lamps over themselves")->Unit(benchmark::kMillisecond);

void copy(benchmark::State& state) {
    const auto patch = rig(20000);
    for (auto _ : state) benchmark::DoNotOptimize(Patch(patch));
}
BENCHMARK(copy)->Name("copy 20000 lamps")->Unit(benchmark::kMillisecond);

}  // namespace
