// What a phone's poll of the network page costs on the main thread.

#include <benchmark/benchmark.h>

#include <memory>

#include "Base/BackgroundPool.hpp"
#include "Base/MainLoop.hpp"
#include "Kestrelyne/Remote/NetworkRoutes.hpp"
#include "NetCore/ArtNetDMX.hpp"
#include "NetCore/SACNData.hpp"

using namespace kestrelyne;

namespace {

constexpr std::uint32_t firstConsole = 0x0A000005, secondConsole = 0x0A000006;  // 10.0.0.5, 10.0.0.6

// A monitor that listens nowhere and has heard two sources of each universe.
class Rig {
public:
    explicit Rig(int universes) {
        NetworkServices services{.settings = settings_, .pool = pool_, .clock = base::SystemClock::shared(), .outlets = outlets_};
        monitor_ = std::make_unique<NetworkMonitor>(std::move(services));
        for (int i = 0; i < universes / 2; ++i)
            for (const auto console : {firstConsole, secondConsole}) hear(i, console);
        monitor_->refreshPackets();
    }
    const NetworkMonitor* monitor() const { return monitor_.get(); }

private:
    void hear(int universe, std::uint32_t console) {
        const std::vector<std::uint8_t> data(512, 7), cid(16, static_cast<std::uint8_t>(console));
        const auto artnet = netcore::DMXPackets::artDmx(universe, 1, data);
        const auto sacn = netcore::DMXPackets::sacn({.universe = universe + 1,
                                                     .sequence = 1,
                                                     .data = data,
                                                     .cid = cid,
                                                     .sourceName = console == firstConsole ? "Lichtpult" : "Bühne links",
                                                     .priority = 100});
        monitor_->intake().packets.handleArtNet(view(artnet, console));
        monitor_->intake().packets.handleSACN(view(sacn, console));
    }
    static netcore::UDPView view(base::Bytes bytes, std::uint32_t source) {
        netcore::UDPView view;
        view.data = bytes;
        view.source = source;
        view.time = base::SystemClock::shared().moment();
        return view;
    }

    base::HeadlessLoop loop_;
    SettingsStore settings_;
    base::BackgroundPool pool_{"bench.pool", 1};
    AlarmOutlets outlets_;
    std::unique_ptr<NetworkMonitor> monitor_;
};

void networkAnswer(benchmark::State& state) {
    const Rig rig(static_cast<int>(state.range(0)));
    std::size_t bytes = 0;
    for (auto _ : state) {
        const auto response = networkResponse(rig.monitor());
        bytes = response.body.size();
        benchmark::DoNotOptimize(bytes);
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(networkAnswer)
    ->Name("/api/network/universes of two sources")
    ->Arg(16)
    ->Arg(200)
    ->Arg(1000)
    ->Unit(benchmark::kMillisecond);

}  // namespace
