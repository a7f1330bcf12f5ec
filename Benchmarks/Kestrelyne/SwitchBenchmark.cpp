// What switches cost the main thread: taking in one reading, and drawing the map of all.

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <string>

#include "Kestrelyne/Network/DeviceReadings.hpp"
#include "Kestrelyne/Network/NetworkMap.hpp"
#include "Kestrelyne/Network/SwitchWatch.hpp"

using namespace kestrelyne;

namespace {

constexpr int ports = 52;

netcore::SwitchStatus reading(int round) {
    netcore::SwitchStatus status;
    status.name = "sw";
    status.time.steady = base::SteadyTime(std::chrono::seconds(15 * round));
    for (int i = 1; i <= ports; ++i)
        status.ports.push_back({.index = i,
                                .name = "gi" + std::to_string(i),
                                .up = (i + round) % 3 != 0,
                                .inOctets = static_cast<std::uint64_t>(round) * 1000000,
                                .outOctets = static_cast<std::uint64_t>(round) * 2000000,
                                .neighbor = i > 48 ? std::optional<std::string>("neighbour") : std::nullopt});
    for (int i = 0; i < 4; ++i) status.temperatures.push_back({"Sensor " + std::to_string(i), round % 2 == 0 ? 60.0 : 75.0});
    for (int i = 0; i < 4; ++i) status.fans.push_back({"Fan " + std::to_string(i), round % 2 == 0, "state"});
    return status;
}

// Every port, sensor and fan changes from one reading to the next: the most there can be.
void takeReading(benchmark::State& state) {
    const NetDevice device{.name = "FOH", .ip = "10.0.0.2"};
    const std::array<netcore::SwitchStatus, 2> readings{reading(1), reading(2)};
    SwitchWatch watch;
    PortRates rates;
    std::size_t turn = 0, findings = 0;
    for (auto _ : state) {
        const auto &before = readings[turn % 2], &after = readings[(turn + 1) % 2];
        findings += watch.checkSwitch(device, after, &before, 70).size();
        rates = portRates(before, after, rates);
        benchmark::DoNotOptimize(rates);
        ++turn;
    }
    state.counters["findings"] = static_cast<double>(findings) / static_cast<double>(state.iterations());
}
BENCHMARK(takeReading)->Name("one reading of 52 ports, all changed")->Unit(benchmark::kMicrosecond);

std::string address(int group, int number) {
    return netcore::TopologyReader::mac(std::array<std::uint8_t, 6>{
        2, static_cast<std::uint8_t>(group), 0, 0, static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)});
}

// A chain of switches that all know all addresses, but for those of their own ports behind their uplinks.
void drawMap(benchmark::State& state) {
    const auto count = static_cast<int>(state.range(0)), devices = static_cast<int>(state.range(1));
    NetworkMapFacts facts{.switches = {}, .addresses = {}, .displayName = [](const std::string& ip) { return ip; }};
    for (int i = 0; i < count; ++i) {
        netcore::SwitchTopology topology;
        topology.ownMACs = {address(1, i)};
        for (int d = 0; d < devices; ++d)
            topology.macPorts[address(2, d)] = d % count == i ? 1 + d / count % 48 : d % count < i ? 51 : 52;
        if (i > 0)
            topology.neighbors.push_back(
                {.port = 51, .systemName = "s", .portID = "gi52", .chassisMAC = address(1, i - 1), .managementIP = {}});
        if (i + 1 < count)
            topology.neighbors.push_back(
                {.port = 52, .systemName = "s", .portID = "gi51", .chassisMAC = address(1, i + 1), .managementIP = {}});
        facts.switches.push_back({.id = base::UUID::random(),
                                  .name = "Switch " + std::to_string(i),
                                  .ip = "10.0.1." + std::to_string(i),
                                  .online = true,
                                  .status = std::make_shared<const netcore::SwitchStatus>(reading(1)),
                                  .topology = std::make_shared<const netcore::SwitchTopology>(std::move(topology))});
    }
    for (int d = 0; d < devices; ++d)
        facts.addresses.push_back({.ip = "10.0." + std::to_string(2 + d / 250) + "." + std::to_string(d % 250),
                                   .mac = address(2, d),
                                   .interface = "eth0"});
    std::size_t links = 0;
    for (auto _ : state) {
        const NetworkMap map(facts);
        links = map.links.size();
        benchmark::DoNotOptimize(NetworkMap::levels(map.switches, map.links));
    }
    state.counters["links"] = static_cast<double>(links);
}
BENCHMARK(drawMap)
    ->Name("map/switches/addresses")
    ->Args({10, 200})
    ->Args({40, 500})
    ->Args({40, 2000})
    ->Unit(benchmark::kMillisecond);

}  // namespace
