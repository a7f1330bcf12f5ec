// Reads of 122 registers over loopback: our client beside libmodbus's, against one and the same server process.

#include <benchmark/benchmark.h>
#include <modbus.h>

#include <chrono>
#include <memory>

#include "MeterCore/JanitzaRegisterMap.hpp"
#include "MeterCore/ModbusTCPClient.hpp"
#include "Support/MeterFarm.hpp"

namespace {

using namespace metercore;
using Steady = std::chrono::steady_clock;

constexpr std::uint16_t port = 15020;
constexpr std::uint16_t address = JanitzaRegisterMap::startAddress, count = JanitzaRegisterMap::registerCount;

struct CloseModbus {
    void operator()(modbus_t* modbus) const {
        modbus_close(modbus);
        modbus_free(modbus);
    }
};

class Ours {
public:
    bool read() { return client_.readRegisters(3, address, count).size() == count; }

private:
    ModbusTCPClient client_{"127.0.0.1", port, 1, std::chrono::seconds(2)};
};

class Libmodbus {
public:
    Libmodbus() : modbus_(modbus_new_tcp("127.0.0.1", port)) { modbus_connect(modbus_.get()); }
    bool read() {
        // As ours: the registers of each read in memory of their own.
        std::vector<std::uint16_t> registers(count);
        return modbus_read_registers(modbus_.get(), address, count, registers.data()) == count;
    }

private:
    std::unique_ptr<modbus_t, CloseModbus> modbus_;
};

template <class Client>
void Reads(benchmark::State& state) {
    const support::MeterFarm farm(port, 1);
    Client client;
    for (auto _ : state)
        if (!client.read()) return state.SkipWithError("a read failed");
    state.counters["reads"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(Reads<Ours>)->Name("ModbusReads/ours")->UseRealTime();
BENCHMARK(Reads<Libmodbus>)->Name("ModbusReads/libmodbus")->UseRealTime();

// Both by turns in short stretches, so that whatever else the machine does hits both alike.
void Ratio(benchmark::State& state) {
    constexpr int stretch = 200;
    const support::MeterFarm farm(port, 1);
    Ours ours;
    Libmodbus theirs;
    Steady::duration ourTime{}, theirTime{};
    const auto measure = [&state](auto& client, Steady::duration& total) {
        const auto begun = Steady::now();
        for (int i = 0; i < stretch; ++i)
            if (!client.read()) return state.SkipWithError("a read failed");
        total += Steady::now() - begun;
    };
    for (auto _ : state) {
        measure(ours, ourTime);
        measure(theirs, theirTime);
    }
    const auto perSecond = [&state](Steady::duration total) {
        return static_cast<double>(state.iterations() * stretch) / std::chrono::duration<double>(total).count();
    };
    state.counters["ours"] = perSecond(ourTime);
    state.counters["libmodbus"] = perSecond(theirTime);
    state.counters["ratio"] = perSecond(ourTime) / perSecond(theirTime);
}
BENCHMARK(Ratio)->Name("ModbusReads/ratio")->UseRealTime()->MinTime(3)->Unit(benchmark::kMillisecond);

}  // namespace
