#pragma once
// What a meter's monitor works together with, and where its later companions attach.

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "Base/Clock.hpp"
#include "Base/StoreWriter.hpp"
#include "Kestrelyne/App/SettingsStore.hpp"
#include "Kestrelyne/Metering/Device.hpp"
#include "Kestrelyne/Metering/Notifier.hpp"
#include "MeterCore/ModbusTransport.hpp"
#include "MeterCore/ValueSet.hpp"

namespace kestrelyne {

/// An extreme that the meter keeps by itself.
struct DeviceExtreme {
    std::optional<double> min{};
    std::optional<base::WallTime> minTime{};
    std::optional<double> max{};
    std::optional<base::WallTime> maxTime{};
};
/// By measurement id.
using DeviceExtremes = std::map<int, DeviceExtreme>;

/// Start addresses of register blocks that a meter has refused: never asked for again until its polling restarts.
using RefusedBlocks = std::set<int>;

/// The sub-meters of one meter: they see every reading after the alarms. Main thread.
class SubMeterUpdates {
public:
    virtual ~SubMeterUpdates() = default;
    virtual void update(const metercore::ValueSet& values) = 0;
};

/// The recorded memory of one meter. Main thread.
class DeviceMemory {
public:
    virtual ~DeviceMemory() = default;
};

/// Companions of a monitor. Each may be empty: the monitor then goes without.
struct MonitorSeams {
    /// Reads the meter's own extremes on the meter's queue, skipping and adding refused blocks; absent when no value was read.
    std::function<std::optional<DeviceExtremes>(metercore::ModbusTransport&, RefusedBlocks&)> readExtremes;
    std::function<std::unique_ptr<SubMeterUpdates>(const base::UUID& device)> makeSubMeters;
    std::function<std::unique_ptr<DeviceMemory>(const Device&)> makeMemory;
};

/// What all monitors share. Owned by the application, outlives them.
struct MeteringServices {
    SettingsStore& settings;
    base::StoreWriter& writer;
    const base::Clock& clock;
    AlarmOutlets outlets{};
    MonitorSeams seams{};
    /// The way to a meter; a test gives its own.
    std::function<std::shared_ptr<metercore::ModbusTransport>(const Device&)> makeTransport = &Device::makeTransport;
    /// Meters with a queue of their own. Each takes a thread and three descriptors, of which a process usually has 1024.
    std::size_t mostQueues = 128;
    std::size_t queues = 0;
};

}  // namespace kestrelyne
