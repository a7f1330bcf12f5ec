#include "Kestrelyne/Network/SwitchWatch.hpp"

#include <algorithm>
#include <map>
#include <unordered_map>

#include "Kestrelyne/Network/WholeNumber.hpp"

namespace kestrelyne {

namespace {

using netcore::SwitchStatus;
using Level = NetEvent::Level;

// In the order of the reading, one for each name: the first that is not well, else the first.
std::vector<const SwitchStatus::Component*> components(const SwitchStatus& status) {
    std::vector<const SwitchStatus::Component*> worst;
    std::unordered_map<std::string_view, std::size_t> places;
    for (const auto* list : {&status.fans, &status.powerSupplies})
        for (const auto& component : *list) {
            const auto [place, isNew] = places.emplace(component.name, worst.size());
            if (isNew)
                worst.push_back(&component);
            else if (worst[place->second]->ok && !component.ok)
                worst[place->second] = &component;
        }
    return worst;
}

// The hottest of each name, in the order of the reading.
std::vector<const SwitchStatus::Sensor*> sensors(const SwitchStatus& status) {
    std::vector<const SwitchStatus::Sensor*> hottest;
    std::unordered_map<std::string_view, std::size_t> places;
    for (const auto& sensor : status.temperatures) {
        const auto [place, isNew] = places.emplace(sensor.name, hottest.size());
        if (isNew)
            hottest.push_back(&sensor);
        else if (sensor.celsius > hottest[place->second]->celsius)
            hottest[place->second] = &sensor;
    }
    return hottest;
}

std::string portFailed(const SwitchStatus::Port& port) { return "Port " + port.name + " ist ausgefallen"; }

}  // namespace

NetFindings SwitchWatch::checkSwitch(const NetDevice& device, const SwitchStatus& status, const SwitchStatus* previous,
                                     double tempLimit) {
    NetFindings findings;
    judgeComponents(device, status, findings);
    judgeTemperatures(device, status, tempLimit, findings);
    judgePorts(device, status, previous, findings);
    return findings;
}

void SwitchWatch::judgeComponents(const NetDevice& device, const SwitchStatus& status, NetFindings& findings) {
    for (const auto* component : components(status)) {
        const auto what = device.name + ": " + component->name + " ";
        const Key key{device.id, component->name};
        if (!component->ok && failedComponents_.insert(key).second)
            findings.push_back({Level::alarm, what + component->state});
        else if (component->ok && failedComponents_.erase(key) > 0)
            findings.push_back({Level::info, what + "wieder in Ordnung"});
    }
}

void SwitchWatch::judgeTemperatures(const NetDevice& device, const SwitchStatus& status, double limit, NetFindings& findings) {
    for (const auto* sensor : sensors(status)) {
        const auto what = device.name + ": Temperatur " + sensor->name + " ";
        const Key key{device.id, sensor->name};
        if (sensor->celsius >= limit && hotSensors_.insert(key).second)
            findings.push_back({Level::alarm, what + wholeNumber(sensor->celsius) + " °C (Grenze " + wholeNumber(limit) + " °C)"});
        else if (sensor->celsius < limit - temperatureHysteresis && hotSensors_.erase(key) > 0)
            findings.push_back({Level::info, what + "wieder normal (" + wholeNumber(sensor->celsius) + " °C)"});
    }
}

void SwitchWatch::judgePorts(const NetDevice& device, const SwitchStatus& status, const SwitchStatus* previous,
                             NetFindings& findings) {
    std::unordered_map<int, const SwitchStatus::Port*> before;
    if (previous != nullptr)
        for (const auto& port : previous->ports) before.emplace(port.index, &port);
    for (const auto& port : status.ports) {
        const Key key{device.id, std::to_string(port.index)};
        if (port.up) {
            downPorts_.erase(key);
            continue;
        }
        const auto known = before.find(port.index);
        if (known == before.end() || !known->second->up || !downPorts_.insert(key).second) continue;
        auto text = device.name + ": " + portFailed(port);
        if (const auto& neighbor = known->second->neighbor; neighbor && !neighbor->empty()) text += " (war: " + *neighbor + ")";
        findings.push_back({Level::alarm, std::move(text)});
    }
}

std::vector<std::string> SwitchWatch::standing(const base::UUID& device, const SwitchStatus& status) const {
    std::vector<std::string> details;
    for (const auto* component : components(status))
        if (failedComponents_.contains({device, component->name})) details.push_back(component->name + " " + component->state);
    for (const auto* sensor : sensors(status))
        if (hotSensors_.contains({device, sensor->name}))
            details.push_back(sensor->name + " " + wholeNumber(sensor->celsius) + " °C");
    for (const auto& port : status.ports)
        if (downPorts_.contains({device, std::to_string(port.index)})) details.push_back(portFailed(port));
    return details;
}

bool SwitchWatch::isHot(const base::UUID& device, const std::string& sensor) const {
    return hotSensors_.contains({device, sensor});
}

void SwitchWatch::forget(const base::UUID& device) {
    for (auto* keys : {&failedComponents_, &hotSensors_, &downPorts_})
        std::erase_if(*keys, [&device](const Key& key) { return key.device == device; });
}

void SwitchWatch::clear() {
    for (auto* keys : {&failedComponents_, &hotSensors_, &downPorts_}) keys->clear();
}

}  // namespace kestrelyne
