#include "Kestrelyne/Network/SNMPRounds.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <variant>

#include "NetCore/SNMPClient.hpp"
#include "NetCore/SwitchReader.hpp"
#include "NetCore/UPSReader.hpp"

namespace kestrelyne {

namespace {

constexpr double topologyPeriod = 60, shortestInterval = 5;  // s

// A reading, or the sentence that tells why there is none.
template <class Reading>
using Outcome = std::variant<std::shared_ptr<const Reading>, std::string>;

// Runs on the pool; what fails comes back as its sentence.
template <class Reading, class Read>
Outcome<Reading> outcome(Read read) {
    try {
        return std::make_shared<const Reading>(read());
    } catch (const netcore::NetError& error) {
        return error.description();
    }
}

// Whom an answer comes from: what else is stored of a device may change while it is asked.
bool isSameAgent(const NetDevice& a, const NetDevice& b) {
    return a.id == b.id && a.ip == b.ip && a.role == b.role && a.snmp == b.snmp && a.community == b.community &&
           a.snmpPort == b.snmpPort;
}

bool isSame(const netcore::LocalUPS::Entry& a, const netcore::LocalUPS::Entry& b) {
    return a.id == b.id && a.name == b.name && a.status.time.steady == b.status.time.steady;
}

}  // namespace

const DeviceReading* SNMPRounds::reading(const base::UUID& id) const {
    const auto found = readings_->find(id);
    return found == readings_->end() ? nullptr : &found->second;
}

bool SNMPRounds::topologyIsDue(int round, double interval, bool hasNone) {
    if (hasNone) return true;
    const double rounds =
        topologyPeriod / std::max(interval, shortestInterval);  // a stored interval that is no number counts as 5 s
    const int each = static_cast<int>(std::isfinite(rounds) ? rounds : topologyPeriod / shortestInterval);
    return each >= 1 && round % each == 1;
}

std::shared_ptr<const netcore::SNMPTarget> SNMPRounds::target(const NetDevice& device) {
    const auto port = static_cast<std::uint16_t>(std::clamp(device.snmpPort, 0, 65535));
    return std::make_shared<const netcore::SNMPClient>(device.ip, device.community, timeout, retries, port);
}

base::Co<> SNMPRounds::pollSNMP() {
    snmpRound_ = snmpRound_ % std::numeric_limits<int>::max() + 1;
    const bool withTopology = topologyIsDue(snmpRound_, services_.config->snmpInterval, topologies_->empty());
    std::vector<NetDevice> devices;
    std::ranges::copy_if(services_.config->devices, std::back_inserter(devices), &NetDevice::snmp);
    for (const auto& device : devices) {
        if (!isStillMeant(device)) continue;
        if (device.role == NetDeviceRole::ups)
            co_await readUPS(device);
        else
            co_await readSwitch(device, withTopology);
    }
}

base::Co<> SNMPRounds::readUPS(NetDevice device) {
    auto read = [client = services_.makeTarget(device)] {
        return outcome<netcore::UPSStatus>([&client] { return netcore::UPSReader::read(*client); });
    };
    const auto answer = co_await services_.pool.run(std::move(read));
    if (!isStillMeant(device)) co_return;
    if (const auto* failure = std::get_if<std::string>(&answer)) {
        change(device.id, [failure](DeviceReading& reading) { reading.snmpError = *failure; });
        co_return;
    }
    auto status = std::get<0>(answer);
    const auto* known = reading(device.id);
    if (!status->loadAnswered && known != nullptr && known->ups != nullptr) {
        auto completed = *status;
        completed.load = known->ups->load;
        status = std::make_shared<const netcore::UPSStatus>(std::move(completed));
    }
    services_.tell(upsWatch_.checkUPS(device.name, *status, limits()));
    change(device.id, [&status](DeviceReading& reading) {
        reading.ups = status;
        reading.snmpError.reset();
    });
}

base::Co<> SNMPRounds::readSwitch(NetDevice device, bool withTopology) {
    const auto client = services_.makeTarget(device);
    auto read = [client, extra = netcore::SwitchReader::ExtraOID::parse(device.extraOIDs)] {
        return outcome<netcore::SwitchStatus>([&] { return netcore::SwitchReader::read(*client, extra); });
    };
    const auto answer = co_await services_.pool.run(std::move(read));
    if (!isStillMeant(device)) co_return;
    if (const auto* failure = std::get_if<std::string>(&answer)) {
        change(device.id, [failure](DeviceReading& reading) { reading.snmpError = *failure; });
        co_return;
    }
    auto status = std::get<0>(answer);
    const auto* known = reading(device.id);
    const auto previous = known != nullptr ? known->snmp : nullptr;
    const bool isWhole = status->portsAnswered && status->portStatesAnswered;
    if (previous != nullptr && !isWhole) status = std::make_shared<const netcore::SwitchStatus>(completed(*status, *previous));
    services_.tell(switches_.checkSwitch(device, *status, previous.get(), services_.config->tempLimit));
    change(device.id, [&](DeviceReading& reading) {
        if (previous != nullptr) reading.portRates = portRates(*previous, *status, reading.portRates);
        reading.snmp = status;
        reading.snmpError.reset();
    });
    if (!withTopology) co_return;

    auto readTopology = [client] {
        return outcome<netcore::SwitchTopology>([&client] { return netcore::TopologyReader::read(*client); });
    };
    const auto topology = co_await services_.pool.run(std::move(readTopology));
    if (const auto* found = std::get_if<0>(&topology); found != nullptr && isStillMeant(device))
        topologies_.change([&](Topologies& all) { all.insert_or_assign(device.id, *found); });
}

bool SNMPRounds::isStillMeant(const NetDevice& device) const {
    return std::ranges::any_of(services_.config->devices,
                               [&device](const NetDevice& present) { return isSameAgent(present, device); });
}

void SNMPRounds::change(const base::UUID& id, const std::function<void(DeviceReading&)>& change) {
    readings_.change([&](DeviceReadings& readings) { change(readings[id]); });
}

UPSLimits SNMPRounds::limits() const {
    return {.runtimeMinutes = services_.config->upsRuntimeLimit, .load = services_.config->upsLoadLimit};
}

void SNMPRounds::noteLocal(std::vector<netcore::LocalUPS::Entry> entries) {
    if (std::ranges::equal(entries, *localUPS_, isSame)) return;
    for (const auto& entry : entries) services_.tell(upsWatch_.checkUPS(entry.name + " (USB)", entry.status, limits()));
    localUPS_.set(std::move(entries));
}

void SNMPRounds::forget(const base::UUID& id) {
    if (reading(id) == nullptr) return;
    readings_.change([&id](DeviceReadings& readings) { readings.erase(id); });
}

// A UPS's alarms hang on its name.
void SNMPRounds::changed(const NetDevice& before, const NetDevice& after) {
    if (before.name != after.name) upsWatch_.forget(before.name);
    forget(before.id);
}

void SNMPRounds::remove(const NetDevice& device) {
    switches_.forget(device.id);
    upsWatch_.forget(device.name);
    forget(device.id);
    if (topologies_->contains(device.id)) topologies_.change([&device](Topologies& all) { all.erase(device.id); });
}

void SNMPRounds::clear() {
    switches_.clear();
    if (!readings_->empty()) readings_.set({});
    if (!topologies_->empty()) topologies_.set({});
}

}  // namespace kestrelyne
