// How the scanner reads devices. A missing answer leaves its field empty, and the reading goes on.

#include <fmt/format.h>

#include "Kestrelyne/Lighting/RDMReading.hpp"
#include "Kestrelyne/Lighting/RDMScanner.hpp"
#include "NetCore/WireFields.hpp"

namespace kestrelyne {

namespace RDM = netcore::RDM;
using RDM::PID;

// The questions

base::Co<RDMScanner::Reading::Data> RDMScanner::Reading::get(PID pid, std::vector<std::uint8_t> data) {
    auto response = co_await scanner_.exchange(pid, place_, false, std::move(data));
    heard_ = heard_ || response;
    Data answer;
    if (response && response->responseType == RDM::ack && response->pid == static_cast<std::uint16_t>(pid))
        answer = std::move(response->data);
    co_return answer;
}

base::Co<std::string> RDMScanner::Reading::text(PID pid) {
    const auto data = co_await get(pid);
    co_return data ? RDM::text(*data) : "";
}

base::Co<std::optional<std::uint32_t>> RDMScanner::Reading::number(PID pid) {
    const auto data = co_await get(pid);
    std::optional<std::uint32_t> number;
    if (data && data->size() >= sizeof *number) number = netcore::wire::big32(*data, 0);
    co_return number;
}

base::Co<std::optional<RDM::DeviceInfo>> RDMScanner::Reading::info() {
    const auto data = co_await get(PID::deviceInfo);
    std::optional<RDM::DeviceInfo> info;
    if (data) info = RDM::DeviceInfo(*data);
    co_return info;
}

base::Co<std::optional<int>> RDMScanner::Reading::byte(PID pid) {
    const auto data = co_await get(pid);
    std::optional<int> byte;
    if (data && !data->empty()) byte = data->front();
    co_return byte;
}

base::Co<RDMScanner::Dynamic> RDMScanner::Reading::dynamic(bool infoKnown, std::vector<RDMSensor> sensors) {
    Dynamic dynamic;
    dynamic.deviceHours = co_await number(PID::deviceHours);
    if (!infoKnown) dynamic.info = co_await info();
    dynamic.lampHours = co_await number(PID::lampHours);
    for (const auto& sensor : sensors) {
        const auto data = co_await get(PID::sensorValue, {static_cast<std::uint8_t>(sensor.number)});
        const auto read = data ? RDM::sensorValue(*data) : std::nullopt;
        dynamic.values.emplace_back(sensor.number, read ? std::optional(read->value * sensor.factor) : std::nullopt);
    }
    co_return dynamic;
}

// Hours stay as they were without an answer; a sensor's value of some time ago would pass for the present one.
void RDMScanner::apply(const Dynamic& dynamic, RDMDeviceState& device) {
    if (dynamic.deviceHours) device.deviceHours = dynamic.deviceHours;
    if (dynamic.lampHours) device.lampHours = dynamic.lampHours;
    if (dynamic.info) device.info = dynamic.info;
    for (const auto& [number, value] : dynamic.values) {
        const auto sensor = std::ranges::find(device.sensors, number, &RDMSensor::number);
        if (sensor != device.sensors.end()) sensor->value = value;
    }
}

void RDMScanner::checkTemperatures(const RDMDeviceState& device) {
    for (auto& warning : temperatures_.step(device)) link_.log(NetEvent::Level::warning, std::move(warning));
}

// The readings

base::Co<RDMDeviceState> RDMScanner::readAll(Place place) {
    RDMDeviceState device{.uid = place.uid, .nodeIP = place.ip, .nodeName = place.name, .universe = place.universe};
    Reading reading(*this, std::move(place));
    device.info = co_await reading.info();
    device.manufacturer = co_await reading.text(PID::manufacturerLabel);
    device.model = co_await reading.text(PID::modelDescription);
    device.label = co_await reading.text(PID::deviceLabel);
    device.software = co_await reading.text(PID::softwareVersionLabel);
    const int sensors = std::min(device.info ? device.info->sensorCount : 0, mostSensors);
    for (int number = 0; number < sensors; ++number) {
        const auto data = co_await reading.get(PID::sensorDefinition, {static_cast<std::uint8_t>(number)});
        const auto definition = data ? RDM::SensorDefinition::parse(*data) : std::nullopt;
        if (definition) device.sensors.push_back(sensorOf(number, *definition));
    }
    const auto dynamic = co_await reading.dynamic(device.info.has_value(), device.sensors);
    apply(dynamic, device);
    device.responding = device.info.has_value();
    device.lastUpdate = link_.now();
    co_return device;
}

base::Co<> RDMScanner::readDynamic(RDM::UID uid) {
    const auto* asked = device(uid);
    if (asked == nullptr) co_return;
    Reading reading(*this, placeOf(*asked));
    const auto dynamic = co_await reading.dynamic(asked->info.has_value(), asked->sensors);
    change(uid, [&](RDMDeviceState& device) {
        apply(dynamic, device);
        device.responding = reading.heard();
        if (reading.heard()) device.lastUpdate = link_.now();
    });
    if (const auto* read = device(uid)) checkTemperatures(*read);
}

base::Co<> RDMScanner::reread(RDM::UID uid) {
    const auto* asked = device(uid);
    if (asked == nullptr) co_return;
    Reading reading(*this, placeOf(*asked));
    const auto info = co_await reading.info();
    const auto label = co_await reading.get(PID::deviceLabel);
    const auto identifying = co_await reading.byte(PID::identify);
    const auto lamp = co_await reading.byte(PID::lampState);
    change(uid, [&](RDMDeviceState& device) {
        if (info) device.info = info;
        if (label) device.label = RDM::text(*label);
        if (identifying) device.identifying = *identifying != 0;
        if (lamp) device.lampState = lamp;
        device.responding = reading.heard();
        if (reading.heard()) device.lastUpdate = link_.now();
    });
}

base::Co<> RDMScanner::refreshSensors() {
    /// Progress that is a scan's stays.
    struct Telling {
        RDMScanner& scanner;
        void tell(const std::string& text) const {
            if (!*scanner.isScanning_) scanner.progress_.set(text);
        }
        ~Telling() { tell(""); }
    };
    std::vector<RDM::UID> uids;
    for (const auto& device : *devices_)
        if (!device.sensors.empty()) uids.push_back(device.uid);
    if (uids.empty()) co_return;
    const Telling telling{*this};
    for (std::size_t i = 0; i < uids.size(); ++i) {
        telling.tell(fmt::format("Sensoren {} von {}", i + 1, uids.size()));
        co_await readDynamic(uids[i]);
    }
}

// Settings

/// A device whose settings are being read, until the reading ends or is cancelled.
class RDMScanner::Loading {
public:
    Loading(RDMScanner& scanner, const RDM::UID& uid) : scanner_(scanner), uid_(uid) {
        scanner_.loading_.change([&](auto& uids) { uids.insert(uid_); });
    }
    Loading(const Loading&) = delete;
    Loading& operator=(const Loading&) = delete;
    ~Loading() {
        scanner_.loading_.change([&](auto& uids) { uids.erase(uid_); });
    }

private:
    RDMScanner& scanner_;
    const RDM::UID uid_;
};

base::Co<> RDMScanner::loadSettings(RDM::UID uid) {
    while (loading_->contains(uid)) {
        co_await base::until(loading_, [uid](const auto& uids) { return !uids.contains(uid); });
        if (loaded_.contains(uid)) co_return;
    }
    const auto* asked = device(uid);
    if (asked == nullptr) co_return;
    const Loading loading(*this, uid);
    Reading reading(*this, placeOf(*asked));
    int personalities = asked->info ? asked->info->personalityCount : 0;
    const auto writesBefore = writes_;

    const auto parameters = co_await reading.get(PID::supportedParameters);
    const auto personality = co_await reading.get(PID::personality);
    const bool personalityKnown = personality && personality->size() >= 2;  // the current one, and how many there are
    if (personalityKnown) personalities = (*personality)[1];
    std::vector<RDM::Personality> described;
    for (int number = 1; number <= personalities; ++number) {
        const auto data = co_await reading.get(PID::personalityDescription, {static_cast<std::uint8_t>(number)});
        if (auto description = data ? RDM::Personality::parse(*data) : std::nullopt) described.push_back(std::move(*description));
    }
    const auto identifying = co_await reading.byte(PID::identify);
    const auto supported = parameters ? std::optional(RDM::supportedPIDs(*parameters)) : std::nullopt;
    std::optional<int> lamp;
    if (supported && supported->contains(static_cast<std::uint16_t>(PID::lampState))) lamp = co_await reading.byte(PID::lampState);
    const auto defaults = co_await reading.byte(PID::factoryDefaults);

    if (device(uid) == nullptr) co_return;
    loaded_.insert(uid);
    change(uid, [&](RDMDeviceState& device) {
        device.supported = supported;
        if (personalityKnown && device.info) {
            device.info->personality = (*personality)[0];
            device.info->personalityCount = (*personality)[1];
        }
        device.personalities = described;
        if (identifying) device.identifying = *identifying != 0;
        if (lamp) device.lampState = lamp;
        device.atFactoryDefaults = defaults ? std::optional(*defaults == 1) : std::nullopt;
        device.responding = reading.heard();
        if (reading.heard()) device.lastUpdate = link_.now();
    });
    // What was written meanwhile may have been read before.
    if (writes_ != writesBefore) co_await reread(uid);
}

}  // namespace kestrelyne
