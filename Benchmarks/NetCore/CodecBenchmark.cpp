// The codecs of Art-Net and sACN alone, on one core: packets a second, and how often each asks for memory.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "NetCore/ArtNet.hpp"
#include "NetCore/SACN.hpp"
#include "Support/AllocationCounter.hpp"

namespace {

using namespace netcore;
using Bytes = std::vector<std::uint8_t>;

// A rig's worth of datagrams, each in memory of its own, so that not one warm packet is read over and over.
constexpr int universes = 1000;

const Bytes slotValues(512, 0x7F);

template <class Build>
std::vector<Bytes> rig(Build build) {
    std::vector<Bytes> packets;
    for (int universe = 1; universe <= universes; ++universe) {
        const auto packet = build(universe);
        packets.emplace_back(packet.begin(), packet.end());
    }
    return packets;
}

std::vector<Bytes> artNetRig() {
    return rig([](int universe) { return DMXPackets::artDmx(universe, 1, slotValues); });
}

std::vector<Bytes> sacnRig() {
    return rig([](int universe) {
        const Bytes cid(16, static_cast<std::uint8_t>(universe));
        return DMXPackets::sacn(
            {.universe = universe, .sequence = 1, .data = slotValues, .cid = cid, .sourceName = "Pult Saal", .priority = 100});
    });
}

// Runs `read` on packet after packet; it answers whether the packet was what it should be.
template <class Read>
void readAll(benchmark::State& state, const std::vector<Bytes>& packets, Read read) {
    std::size_t next = 0;
    const auto before = support::allocations();
    for (auto _ : state) {
        if (!read(packets[next])) return state.SkipWithError("a packet was not read");
        if (++next == packets.size()) next = 0;
    }
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(support::allocations() - before), benchmark::Counter::kAvgIterations);
    state.counters["packets"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void ArtNetView(benchmark::State& state) {
    readAll(state, artNetRig(), [](const Bytes& packet) {
        auto view = ArtNet::viewDmx(packet);
        benchmark::DoNotOptimize(view);
        return view && view->data.size() == 512;
    });
}
BENCHMARK(ArtNetView);

void ArtNetValue(benchmark::State& state) {
    readAll(state, artNetRig(), [](const Bytes& packet) {
        auto value = ArtNet::parse(packet);
        benchmark::DoNotOptimize(value);
        return value.has_value();
    });
}
BENCHMARK(ArtNetValue);

void SACNView(benchmark::State& state) {
    readAll(state, sacnRig(), [](const Bytes& packet) {
        auto view = SACN::viewData(packet);
        benchmark::DoNotOptimize(view);
        return view && view->values.size() == 512;
    });
}
BENCHMARK(SACNView);

void SACNValue(benchmark::State& state) {
    readAll(state, sacnRig(), [](const Bytes& packet) {
        auto value = SACN::parse(packet);
        benchmark::DoNotOptimize(value);
        return value.has_value();
    });
}
BENCHMARK(SACNValue);

// Views that are also copied into a buffer of the receiver, as whoever keeps the latest values must.
template <class View>
void viewAndCopy(benchmark::State& state, const std::vector<Bytes>& packets, View view) {
    Bytes latest(512);
    readAll(state, packets, [&](const Bytes& packet) {
        const auto slots = view(packet);
        latest.assign(slots.begin(), slots.end());
        benchmark::DoNotOptimize(latest.data());
        benchmark::ClobberMemory();
        return slots.size() == 512;
    });
}

void ArtNetViewAndCopy(benchmark::State& state) {
    viewAndCopy(state, artNetRig(), [](const Bytes& packet) { return ArtNet::viewDmx(packet).value_or(ArtNet::DmxView{}).data; });
}
BENCHMARK(ArtNetViewAndCopy);

void SACNViewAndCopy(benchmark::State& state) {
    viewAndCopy(state, sacnRig(), [](const Bytes& packet) { return SACN::viewData(packet).value_or(SACN::DataView{}).values; });
}
BENCHMARK(SACNViewAndCopy);

void ArtNetBuild(benchmark::State& state) {
    std::uint8_t sequence = 0;
    const auto before = support::allocations();
    for (auto _ : state) {
        auto packet = DMXPackets::artDmx(0x1234, ++sequence, slotValues);
        benchmark::DoNotOptimize(packet);
    }
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(support::allocations() - before), benchmark::Counter::kAvgIterations);
}
BENCHMARK(ArtNetBuild);

void SACNBuild(benchmark::State& state) {
    const Bytes cid(16, 0xAB);
    std::uint8_t sequence = 0;
    const auto before = support::allocations();
    for (auto _ : state) {
        auto packet = DMXPackets::sacn(
            {.universe = 1, .sequence = ++sequence, .data = slotValues, .cid = cid, .sourceName = "Pult Saal", .priority = 100});
        benchmark::DoNotOptimize(packet);
    }
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(support::allocations() - before), benchmark::Counter::kAvgIterations);
}
BENCHMARK(SACNBuild);

}  // namespace
