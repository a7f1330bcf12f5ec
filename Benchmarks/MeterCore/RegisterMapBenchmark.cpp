// From the words of a meter to the value set of a cycle.

#include <benchmark/benchmark.h>

#include "MeterCore/DemoDevice.hpp"
#include "MeterCore/JanitzaRegisterMap.hpp"
#include "Support/AllocationCounter.hpp"

namespace {

using namespace metercore;
using Registers = std::vector<std::uint16_t>;

void countAllocations(benchmark::State& state, std::uint64_t before) {
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(support::allocations() - before), benchmark::Counter::kAvgIterations);
}

void DecodeMainBlock(benchmark::State& state) {
    DemoDevice device;
    const auto registers = device.readRegisters(3, JanitzaRegisterMap::startAddress, JanitzaRegisterMap::registerCount);
    const auto before = support::allocations();
    for (auto _ : state) benchmark::DoNotOptimize(JanitzaRegisterMap::decode(registers));
    countAllocations(state, before);
}
BENCHMARK(DecodeMainBlock);

// Main block, the five extended blocks and the derived values: all that decoding does at one poll.
void DecodeWholeReading(benchmark::State& state) {
    DemoDevice device;
    const auto main = device.readRegisters(3, JanitzaRegisterMap::startAddress, JanitzaRegisterMap::registerCount);
    std::vector<Registers> blocks;
    for (const auto& block : JanitzaRegisterMap::extendedBlocks)
        blocks.push_back(device.readRegisters(3, block.address, block.count));
    std::size_t ids = 0;
    const auto before = support::allocations();
    for (auto _ : state) {
        ValueSet extra;
        for (std::size_t i = 0; i < blocks.size(); ++i)
            extra.overlay(JanitzaRegisterMap::decodeBlock(blocks[i], JanitzaRegisterMap::extendedBlocks[i].address));
        auto values = JanitzaRegisterMap::decode(main);
        values.overlay(extra);
        JanitzaRegisterMap::addDerived(values);
        ids = values.size();
        benchmark::DoNotOptimize(values);
    }
    countAllocations(state, before);
    state.counters["ids"] = static_cast<double>(ids);
}
BENCHMARK(DecodeWholeReading);

void SimulatedMeterRead(benchmark::State& state) {
    DemoDevice device;
    for (auto _ : state)
        benchmark::DoNotOptimize(device.readRegisters(3, JanitzaRegisterMap::startAddress, JanitzaRegisterMap::registerCount));
}
BENCHMARK(SimulatedMeterRead);

}  // namespace
