// What a phone's poll of the network page costs on the main thread, and the list of problems in it.

#include <benchmark/benchmark.h>

#include <memory>

#include "Base/BackgroundPool.hpp"
#include "Base/MainLoop.hpp"
#include "Kestrelyne/Presentation/NetworkProblems.hpp"
#include "Kestrelyne/Remote/NetworkRoutes.hpp"
#include "NetCore/ArtNetDMX.hpp"
#include "NetCore/SACNData.hpp"

using namespace kestrelyne;

namespace {

constexpr std::uint32_t firstConsole = 0x0A000005, secondConsole = 0x0A000006;  // 10.0.0.5, 10.0.0.6

// Stands still: sources do not fall silent while they are measured.
class StandingClock final : public base::Clock {
public:
    base::WallTime now() const override { return base::WallTime(std::chrono::seconds(1782900000)); }
    base::SteadyTime steadyNow() const override { return base::SteadyTime(std::chrono::seconds(1000)); }
};

// A monitor that nobody can reach and that has heard two sources of each universe: each is in conflict.
class Rig {
public:
    explicit Rig(int universes) {
        NetworkServices services{.settings = settings_, .pool = pool_, .clock = clock_, .outlets = outlets_};
        services.ports = {.artnet = 0, .sacn = 0, .ma3 = 0, .ma2 = {}, .ptpEvent = 0, .ptpGeneral = 0};
        services.listInterfaces = [] { return std::vector<netcore::NetInterface>(); };
        services.capture = services.bonjour = services.watchAdapters = false;
        services.loopbackOnly = true;
        monitor_ = std::make_unique<NetworkMonitor>(std::move(services));
        // Problems are told only of a network that is watched. The loop is never turned: no task begins.
        monitor_->start();
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
    netcore::UDPView view(base::Bytes bytes, std::uint32_t source) const {
        netcore::UDPView view;
        view.data = bytes;
        view.source = source;
        view.time = clock_.moment();
        return view;
    }

    const StandingClock clock_;
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
    state.counters["problems"] = static_cast<double>(networkProblems(*rig.monitor(), rig.monitor()->clock().steadyNow()).size());
}
BENCHMARK(networkAnswer)
    ->Name("/api/network/universes of two sources")
    ->Arg(16)
    ->Arg(200)
    ->Arg(1000)
    ->Unit(benchmark::kMillisecond);

void problemList(benchmark::State& state) {
    const Rig rig(static_cast<int>(state.range(0)));
    const auto& monitor = *rig.monitor();
    std::size_t problems = 0;
    for (auto _ : state) {
        const auto list = networkProblems(monitor, monitor.clock().steadyNow());
        problems = list.size();
        benchmark::DoNotOptimize(problems);
    }
    state.counters["problems"] = static_cast<double>(problems);
    state.SetComplexityN(state.range(0));
}
BENCHMARK(problemList)
    ->Name("problems/universes in conflict")
    ->Arg(250)
    ->Arg(500)
    ->Arg(1000)
    ->Arg(2000)
    ->Complexity()
    ->Unit(benchmark::kMicrosecond);

}  // namespace
