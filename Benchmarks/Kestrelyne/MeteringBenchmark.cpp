// What a reading costs on the main thread, and what a phone's poll costs there.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "Kestrelyne/Metering/DeviceStore.hpp"
#include "Kestrelyne/Remote/MeteringRoutes.hpp"
#include "MeterCore/JanitzaRegisterMap.hpp"

using namespace kestrelyne;

namespace {

constexpr int idCount = 200;
constexpr int ruleCount = 20;
constexpr int fullHistory = 3900;

// The ids of the table and as many unnamed ones as make two hundred.
std::vector<int> measurementIDs() {
    std::vector<int> ids;
    for (const auto& row : metercore::JanitzaRegisterMap::all()) ids.push_back(row.address);
    for (int id = 810; static_cast<int>(ids.size()) < idCount; ++id) ids.push_back(id);
    return ids;
}

metercore::ValueSet reading(int n) {
    static const auto ids = measurementIDs();
    metercore::ValueSet values;
    for (std::size_t i = 0; i < ids.size(); ++i) values.set(ids[i], 200 + (n * 7 + static_cast<int>(i) * 13) % 1000 / 10.0);
    return values;
}

// A store with full histories and rules that come and go; no files, no network.
class Meters {
public:
    explicit Meters(int count) {
        settings_.setBlob(DeviceStore::defaultsKey, encodeDevices(std::vector<Device>(1)));
        store_ = std::make_unique<DeviceStore>(services_);
        for (int i = 1; i < count; ++i) store_->add(Device{});
        for (auto* monitor : store_->allMonitors()) {
            for (int r = 0; r < ruleCount; ++r) {
                AlarmRule rule;
                rule.address = 19000 + 2 * r;
                rule.threshold = 1e9;
                monitor->alarms().upsert(rule);
            }
        }
    }
    void apply(int n) {
        for (auto* monitor : store_->allMonitors()) monitor->applyValues(reading(n), moment(n), 0.01);
    }
    void fill() {
        for (int n = 0; n < fullHistory; ++n) apply(n);
    }
    static base::Moment moment(int n) {
        return {base::WallTime(std::chrono::milliseconds(1782900000000 + n * 100LL)),
                base::SteadyTime(std::chrono::milliseconds(n * 100LL))};
    }
    DeviceStore& store() { return *store_; }

private:
    base::HeadlessLoop loop_;
    base::StoreWriter writer_;
    SettingsStore settings_;
    MeteringServices services_{settings_, writer_, base::SystemClock::shared()};
    std::unique_ptr<DeviceStore> store_;
};

void applyValues(benchmark::State& state) {
    Meters meters(1);
    meters.fill();
    auto* monitor = meters.store().allMonitors().front();
    int n = fullHistory;
    const auto values = reading(1);
    for (auto _ : state) monitor->applyValues(values, Meters::moment(n++), 0.01);
}
BENCHMARK(applyValues)->Name("applyValues/200 ids, 20 rules, full history")->Unit(benchmark::kMicrosecond);

void powerAnswer(benchmark::State& state) {
    Meters meters(static_cast<int>(state.range(0)));
    meters.fill();
    std::size_t bytes = 0;
    for (auto _ : state) {
        const auto response = powerResponse(meters.store(), nullptr);
        bytes = response.body.size();
        benchmark::DoNotOptimize(bytes);
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(powerAnswer)->Name("/api/power/meters")->Arg(1)->Arg(8)->Arg(64)->Unit(benchmark::kMillisecond);

// Resident memory is that of the whole process: the figure counts what the histories add.
void historyMemory(benchmark::State& state) {
    for (auto _ : state) {
        const auto before = mallinfo2();
        Meters meters(64);
        meters.fill();
        const auto after = mallinfo2();
        const auto used = [](const struct mallinfo2& info) { return static_cast<double>(info.uordblks + info.hblkhd); };
        state.counters["MB"] = (used(after) - used(before)) / 1e6;
        state.counters["bytes a sample"] = (used(after) - used(before)) / (64.0 * idCount * fullHistory);
    }
}
BENCHMARK(historyMemory)->Name("memory/64 meters, 200 ids, 3900 samples")->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
