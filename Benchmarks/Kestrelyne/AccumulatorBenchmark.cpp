// What a datagram of slot values costs the thread that received it, and what the picture of a second costs the main thread.

#include <benchmark/benchmark.h>

#include "Kestrelyne/LightingRig.hpp"
#include "Kestrelyne/Network/LightingPicture.hpp"
#include "Kestrelyne/Network/NetworkIntake.hpp"
#include "Support/AllocationCounter.hpp"

using namespace kestrelyne;

namespace {

constexpr int universesOfProtocol = 500;
constexpr std::uint32_t firstSource = 0x0A000005;  // 10.0.0.5
constexpr int framesPerSecond = 44;

base::Moment second(int n) {
    return {base::WallTime(std::chrono::seconds(1782900000 + n)), base::SteadyTime(std::chrono::seconds(n))};
}

// Packet after packet of known sources. `handle` is the accumulator's handler.
template <class Handle>
void tally(benchmark::State& state, const rig::Packets& packets, Handle handle) {
    NetworkIntake intake(nullptr);
    for (const auto& packet : packets) handle(intake.packets, rig::view(packet, firstSource, second(0)));
    std::size_t next = 0;
    const auto before = support::allocations();
    for (auto _ : state) {
        handle(intake.packets, rig::view(packets[next], firstSource, second(1)));
        if (++next == packets.size()) next = 0;
    }
    const auto allocations = support::allocations() - before;
    if (allocations != 0) state.SkipWithError("a packet of a known source asked for memory");
    if (intake.packets.drain(second(1).steady).sources.size() != packets.size()) state.SkipWithError("a packet was not tallied");
    state.counters["allocations"] = static_cast<double>(allocations);
    state.counters["packets"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void TallyArtNet(benchmark::State& state) {
    tally(state, rig::artNet(universesOfProtocol), [](auto& packets, const auto& packet) { packets.handleArtNet(packet); });
}
BENCHMARK(TallyArtNet);

void TallySACN(benchmark::State& state) {
    tally(state, rig::sacn(universesOfProtocol), [](auto& packets, const auto& packet) { packets.handleSACN(packet); });
}
BENCHMARK(TallySACN);

// A thousand universes, half of each protocol, of two sources each: the sACN ones at two priorities, so that only Art-Net
// conflicts.
class TwoSources {
public:
    void feed(NetworkIntake& intake, base::Moment time) const {
        for (std::uint32_t source = 0; source < 2; ++source)
            for (const auto& packet : artNet_) intake.packets.handleArtNet(rig::view(packet, firstSource + source, time));
        for (const auto& packet : first_) intake.packets.handleSACN(rig::view(packet, firstSource, time));
        for (const auto& packet : second_) intake.packets.handleSACN(rig::view(packet, firstSource + 1, time));
    }

private:
    const rig::Packets artNet_ = rig::artNet(universesOfProtocol), first_ = rig::sacn(universesOfProtocol, 1, 100),
                       second_ = rig::sacn(universesOfProtocol, 2, 90);
};

void Drain(benchmark::State& state) {
    const TwoSources show;
    NetworkIntake intake(nullptr);
    show.feed(intake, second(0));
    for (auto _ : state) {
        const auto drained = intake.packets.drain(second(1).steady);
        if (drained.sources.size() != 2 * universesOfProtocol) return state.SkipWithError("universes are missing");
        benchmark::DoNotOptimize(drained.sources.data());
    }
}
BENCHMARK(Drain)->Unit(benchmark::kMillisecond);

// What the main thread does with it once a second. With argument 1 every source begins or falls silent with each refresh.
void RefreshUniverses(benchmark::State& state) {
    const bool restless = state.range(0) != 0;
    const TwoSources show;
    NetworkIntake intake(nullptr);
    for (int frame = 0; frame < framesPerSecond; ++frame) show.feed(intake, second(0));
    const auto drained = intake.packets.drain(second(0).steady);
    const LightingPicture::Surroundings around{.ownAddresses = {"10.0.0.1"},
                                               .interfaceName = [](std::uint32_t) { return std::string("Lichtnetz"); },
                                               .members = [](const std::string&) { return std::vector<std::string>{"10.0.0.20"}; },
                                               .displayName = [](const std::string& ip) { return ip; }};
    LightingPicture picture;
    bool heard = false;
    for (auto _ : state) {
        heard = !restless || !heard;
        const auto findings = picture.refreshUniverses(drained, base::Seconds(1), second(heard ? 1 : 30).steady, around);
        benchmark::DoNotOptimize(&findings);
    }
    if (picture.universes().get().size() != 2 * universesOfProtocol) state.SkipWithError("universes are missing");
}
BENCHMARK(RefreshUniverses)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
