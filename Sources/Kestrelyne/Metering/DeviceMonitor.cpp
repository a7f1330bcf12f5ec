#include "Kestrelyne/Metering/DeviceMonitor.hpp"

#include <algorithm>
#include <cmath>
#include <system_error>

#include "MeterCore/ModbusError.hpp"

namespace kestrelyne {

namespace {

constexpr base::Seconds longestInterval{86400};
constexpr const char* noQueueText = "zu viele Messgeräte gleichzeitig";

base::Seconds pollInterval(const Device& device) {
    if (!std::isfinite(device.pollInterval)) return base::Seconds(Device{}.pollInterval);
    return std::clamp(base::Seconds(device.pollInterval), DeviceMonitor::shortestInterval, longestInterval);
}

}  // namespace

DeviceMonitor::DeviceMonitor(Device device, MeteringServices& services)
    : services_(services), device_(std::move(device)), alarms_(device_->id, device_->name, services.settings, services.outlets) {
    if (services_.seams.makeSubMeters) subMeters_ = services_.seams.makeSubMeters(device_->id);
}

DeviceMonitor::~DeviceMonitor() {
    if (cancelled_) cancelled_->store(true);
    if (ioQueue_) --services_.queues;
}

const metercore::DeviceProfile& DeviceMonitor::profile() const {
    return metercore::DeviceProfiles::profile(device_->kind == ConnectionKind::demo ? metercore::DeviceProfiles::janitzaID
                                                                                    : device_->profileID);
}

DeviceMemory* DeviceMonitor::memory() {
    if (!memory_ && services_.seams.makeMemory) memory_ = services_.seams.makeMemory(*device_);
    return memory_.get();
}

std::optional<base::Seconds> DeviceMonitor::age() const {
    if (!lastUpdateSteady_) return std::nullopt;
    return services_.clock.steadyNow() - *lastUpdateSteady_;
}

base::SerialQueue* DeviceMonitor::ioQueue() {
    if (ioQueue_ || services_.queues >= services_.mostQueues) return ioQueue_.get();
    try {
        ioQueue_ = std::make_unique<base::SerialQueue>("meter.io");
        ++services_.queues;
    } catch (const std::system_error&) {
        // The system gives no further thread.
    }
    return ioQueue_.get();
}

void DeviceMonitor::start() {
    if (isRunning()) return;
    if (ioQueue() == nullptr) {
        status_.set({MonitorStatus::Kind::error, noQueueText});
        return;
    }
    status_.set({MonitorStatus::Kind::connecting, {}});
    transport_ = services_.makeTransport(*device_);
    cancelled_ = std::make_shared<std::atomic<bool>>(false);
    task_ = base::Task("meter " + device_->name, pollLoop(transport_, pollInterval(*device_)));
}

void DeviceMonitor::stop() {
    if (cancelled_) cancelled_->store(true);
    task_ = {};
    if (auto transport = std::exchange(transport_, nullptr)) ioQueue_->post([transport] { transport->close(); });
    status_.set({MonitorStatus::Kind::idle, {}});
    alarms_.reset();
    stopRecording();
}

void DeviceMonitor::update(Device device) {
    const bool wasRunning = isRunning();
    stop();
    alarms_.deviceName = device.name;
    device_.set(std::move(device));
    if (wasRunning) start();
}

// Asks the meter once per interval until the monitor stops. A reading that takes longer than the interval is followed by a short
// pause.
base::Co<> DeviceMonitor::pollLoop(std::shared_ptr<metercore::ModbusTransport> transport, base::Seconds interval) {
    RefusedBlocks refused;
    for (std::uint64_t cycle = 1;; ++cycle) {
        const auto begun = services_.clock.steadyNow();
        ReadCycle work{transport, std::move(refused), nullptr, cancelled_};
        if (cycle % extremesEvery == 1 || refreshDeviceMinMax_) work.readExtremes = services_.seams.readExtremes;
        const bool askedForExtremes = refreshDeviceMinMax_;
        auto reading = co_await ioQueue_->run(std::move(work));
        refused = std::move(reading.refused);
        const auto now = services_.clock.moment();
        if (reading.failure) {
            noteFailure(*reading.failure);
        } else {
            // A wish for the extremes outlives a cycle that failed before it came to them.
            if (askedForExtremes) refreshDeviceMinMax_ = false;
            if (reading.extremes) deviceMinMax_.set(std::move(*reading.extremes));
            applyValues(std::move(reading.values), now, base::Seconds(now.steady - begun).count());
        }
        const base::Seconds taken = services_.clock.steadyNow() - begun;
        co_await base::sleepFor(std::max(interval - taken, shortestPause));
    }
}

void DeviceMonitor::noteFailure(const std::string& text) {
    errorCount_.set(*errorCount_ + 1);
    status_.set({MonitorStatus::Kind::error, text});
    alarms_.communicationFailed(services_.clock.moment());
}

void DeviceMonitor::applyValues(metercore::ValueSet values, base::Moment at, double latency) {
    values_.set(std::move(values));
    const auto& set = *values_;
    extremes_.change([&](Extremes& extremes) { extremes.note(set, at.wall); });
    if (!*minMaxSince_) minMaxSince_.set(at.wall);
    history_.change([&](History& history) { history.append(set, at.wall); });
    lastUpdateSteady_ = at.steady;
    lastUpdate_.set(at.wall);
    latency_.set(latency);
    okCount_.set(*okCount_ + 1);
    status_.set({MonitorStatus::Kind::online, {}});
    if (recorder_) recorder_->write(at.wall, set);
    alarms_.evaluate(set, at);
    if (subMeters_) subMeters_->update(set);
}

base::Co<> DeviceMonitor::startRecording(std::filesystem::path path) {
    stopRecording();
    auto recorder = co_await CSVRecorder::open(path, services_.writer);
    stopRecording();
    recorder_ = std::move(recorder);
    recordingPath_.set(std::move(path));
}

void DeviceMonitor::stopRecording() {
    if (!recorder_) return;
    recorder_.reset();
    recordingPath_.set(std::nullopt);
}

void DeviceMonitor::resetMinMax() {
    const auto now = services_.clock.now();
    extremes_.change([&](Extremes& extremes) { extremes.reset(*values_, now); });
    minMaxSince_.set(now);
}

base::Co<std::vector<std::uint16_t>> DeviceMonitor::readRaw(std::uint8_t function, std::uint16_t address, std::uint16_t count) {
    if (ioQueue() == nullptr) throw metercore::ModbusError::connect(noQueueText);
    const auto used = transport_;
    const auto transport = used ? used : services_.makeTransport(*device_);
    auto registers = co_await ioQueue_->run([=, temporary = !used] {
        struct Closer {
            metercore::ModbusTransport* transport;
            ~Closer() {
                if (transport != nullptr) transport->close();
            }
        };
        const Closer closer{temporary ? transport.get() : nullptr};
        return transport->readRegisters(function, address, count);
    });
    co_return registers;
}

}  // namespace kestrelyne
