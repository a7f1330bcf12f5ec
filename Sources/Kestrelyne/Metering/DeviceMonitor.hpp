#pragma once
// Polls one meter and holds what is known of it: live values, extremes, history, alarms.
//
// The loop and every property stand on the main thread; blocking calls run on a serial queue of the monitor's own.

#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "Base/Observable.hpp"
#include "Base/SerialQueue.hpp"
#include "Base/Task.hpp"
#include "Kestrelyne/Metering/AlarmEngine.hpp"
#include "Kestrelyne/Metering/CSVRecorder.hpp"
#include "Kestrelyne/Metering/Device.hpp"
#include "Kestrelyne/Metering/Extremes.hpp"
#include "Kestrelyne/Metering/History.hpp"
#include "Kestrelyne/Metering/MonitorSeams.hpp"
#include "Kestrelyne/Metering/ReadCycle.hpp"
#include "MeterCore/DeviceProfile.hpp"

namespace kestrelyne {

/// Two are equal only when their texts are equal too.
struct MonitorStatus {
    enum class Kind { error, idle, connecting, online };
    Kind kind = Kind::idle;
    std::string reason;  // of an error
    bool operator==(const MonitorStatus&) const = default;
};

class DeviceMonitor {
public:
    static constexpr base::Seconds shortestInterval{0.1};
    static constexpr base::Seconds shortestPause{0.05};  // keeps a slow meter from being polled back to back
    static constexpr int extremesEvery = 15;             // cycles

    DeviceMonitor(Device device, MeteringServices& services);
    ~DeviceMonitor();
    DeviceMonitor(const DeviceMonitor&) = delete;
    DeviceMonitor& operator=(const DeviceMonitor&) = delete;

    const base::Observable<Device>& device() const { return device_; }
    const base::Observable<MonitorStatus>& status() const { return status_; }
    /// The last reading; it stays when the meter fails or the monitor stops: the status tells that it is stale.
    const base::Observable<metercore::ValueSet>& values() const { return values_; }
    /// Since the last reset.
    const base::Observable<Extremes>& extremes() const { return extremes_; }
    const base::Observable<std::optional<base::WallTime>>& minMaxSince() const { return minMaxSince_; }
    const base::Observable<History>& history() const { return history_; }
    const base::Observable<std::optional<base::WallTime>>& lastUpdate() const { return lastUpdate_; }
    /// Age of the last good reading by the steady clock; absent before the first.
    std::optional<base::Seconds> age() const;
    /// Seconds the last good reading took, all its requests together.
    const base::Observable<double>& latency() const { return latency_; }
    /// Since the process started.
    const base::Observable<int>& okCount() const { return okCount_; }
    const base::Observable<int>& errorCount() const { return errorCount_; }
    const base::Observable<std::optional<std::filesystem::path>>& recordingPath() const { return recordingPath_; }
    /// Measurements shown in the live chart.
    const base::Observable<std::set<int>>& chartSelection() const { return chartSelection_; }
    void setChartSelection(std::set<int> selection) { chartSelection_.set(std::move(selection)); }
    /// The meter's own extremes.
    const base::Observable<DeviceExtremes>& deviceMinMax() const { return deviceMinMax_; }

    AlarmEngine& alarms() { return alarms_; }
    const AlarmEngine& alarms() const { return alarms_; }
    /// nullptr where there are none.
    SubMeterUpdates* subMeters() { return subMeters_.get(); }
    /// Made on first use; nullptr where there is none.
    DeviceMemory* memory();
    /// A simulated meter counts as one of the Janitza family whatever its profile says.
    const metercore::DeviceProfile& profile() const;

    bool isRunning() const { return static_cast<bool>(task_); }
    /// Begins polling; does nothing while it polls. With too many meters under way it stays at rest with an error.
    void start();
    /// Ends polling at once, without waiting for a request that is under way; its result is dropped. Alarms end silently.
    void stop();
    /// Takes over a changed description; polling restarts if it ran.
    void update(Device device);

    /// Replaces a running recording. Throws std::system_error when the file cannot be made.
    base::Co<> startRecording(std::filesystem::path path);
    void stopRecording();
    void resetMinMax();
    /// Asks for the meter's extremes in the next cycle.
    void refreshDeviceMinMax() { refreshDeviceMinMax_ = true; }
    /// Reads registers beside the polling: through the connection in use, or a temporary one. Throws metercore::ModbusError. Count
    /// 1…125, function 3 or 4.
    base::Co<std::vector<std::uint16_t>> readRaw(std::uint8_t function, std::uint16_t address, std::uint16_t count);

    /// Takes in one good reading: values, extremes, history, status, recorder, alarms, sub-meters, in this order.
    void applyValues(metercore::ValueSet values, base::Moment at, double latency);

private:
    base::Co<> pollLoop(std::shared_ptr<metercore::ModbusTransport> transport, base::Seconds interval);
    void noteFailure(const std::string& text);
    /// Made on first use; nullptr when there is no room for another.
    base::SerialQueue* ioQueue();

    MeteringServices& services_;
    base::Observable<Device> device_;
    base::Observable<MonitorStatus> status_;
    base::Observable<metercore::ValueSet> values_;
    base::Observable<Extremes> extremes_;
    base::Observable<History> history_;
    base::Observable<std::optional<base::WallTime>> lastUpdate_;
    base::Observable<double> latency_{0};
    base::Observable<int> okCount_{0}, errorCount_{0};
    base::Observable<std::optional<std::filesystem::path>> recordingPath_;
    base::Observable<std::set<int>> chartSelection_{{19026}};
    base::Observable<DeviceExtremes> deviceMinMax_;
    base::Observable<std::optional<base::WallTime>> minMaxSince_;
    std::optional<base::SteadyTime> lastUpdateSteady_;

    std::shared_ptr<metercore::ModbusTransport> transport_;
    std::shared_ptr<std::atomic<bool>> cancelled_;  // of the running loop, seen by its cycle on the queue
    std::unique_ptr<CSVRecorder> recorder_;
    AlarmEngine alarms_;
    std::unique_ptr<SubMeterUpdates> subMeters_;
    std::unique_ptr<DeviceMemory> memory_;
    bool refreshDeviceMinMax_ = false;
    std::unique_ptr<base::SerialQueue> ioQueue_;  // made with the first start: a meter at rest needs no thread
    base::Task task_;
};

}  // namespace kestrelyne
