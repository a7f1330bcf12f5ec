#include "Kestrelyne/Metering/DeviceStore.hpp"

#include <algorithm>

#include "Base/JSONFields.hpp"

namespace kestrelyne {

namespace {

std::vector<Device> loadDevices(const SettingsStore& settings) {
    std::vector<Device> devices;
    if (const auto bytes = settings.blob(DeviceStore::defaultsKey)) {
        try {
            devices = decodeDevices(*bytes);
        } catch (const base::DecodeError&) {
            // Treated as never stored; the next save replaces it.
        }
    }
    // Meters with one id cannot be told apart: the first counts.
    std::set<base::UUID> known;
    std::erase_if(devices, [&known](const auto& device) { return !known.insert(device.id).second; });
    if (devices.empty()) {
        Device demo;
        demo.name = "Demo UMG 96RM";
        demo.kind = ConnectionKind::demo;
        devices.push_back(std::move(demo));
    }
    return devices;
}

}  // namespace

DeviceStore::DeviceStore(MeteringServices& services) : services_(services), devices_(loadDevices(services.settings)) {
    for (const auto& device : *devices_)
        if (device.autoConnect) monitor(device).start();
}

DeviceMonitor* DeviceStore::monitor(const base::UUID& id) {
    if (const auto found = monitors_.find(id); found != monitors_.end()) return found->second.get();
    const auto* known = device(id);
    return known == nullptr ? nullptr : &monitor(*known);
}

DeviceMonitor& DeviceStore::monitor(const Device& device) {
    auto& place = monitors_[device.id];
    if (!place) {
        place = std::make_unique<DeviceMonitor>(device, services_);
        // The store outlives its monitors.
        place->alarms().onChange = [this] { recountAlarms(); };
    }
    return *place;
}

std::vector<DeviceMonitor*> DeviceStore::allMonitors() {
    std::vector<DeviceMonitor*> all;
    all.reserve(devices_->size());
    for (const auto& device : *devices_) all.push_back(&monitor(device));
    return all;
}

const Device* DeviceStore::device(const base::UUID& id) const {
    const auto found = std::find_if(devices_->begin(), devices_->end(), [&id](const auto& device) { return device.id == id; });
    return found == devices_->end() ? nullptr : &*found;
}

void DeviceStore::add(Device device) {
    devices_.change([&device](auto& devices) { devices.push_back(std::move(device)); });
    save();
}

void DeviceStore::update(Device device) {
    if (this->device(device.id) == nullptr) return;
    devices_.change([&device](auto& devices) {
        for (auto& stored : devices)
            if (stored.id == device.id) stored = device;
    });
    if (const auto found = monitors_.find(device.id); found != monitors_.end()) found->second->update(std::move(device));
    save();
}

void DeviceStore::remove(base::UUID id) { removeAll({id}); }

void DeviceStore::removeAll(const std::set<base::UUID>& ids) {
    if (ids.empty()) return;
    for (const auto& id : ids) {
        if (const auto found = monitors_.find(id); found != monitors_.end()) {
            found->second->stop();
            monitors_.erase(found);
        }
        for (const char* prefix : {"alarms.", "alarmlog.", "submeters."}) services_.settings.remove(prefix + id.text());
    }
    devices_.change(
        [&ids](auto& devices) { std::erase_if(devices, [&ids](const auto& device) { return ids.contains(device.id); }); });
    save();
    recountAlarms();
}

void DeviceStore::stopAll() {
    for (auto& [id, monitor] : monitors_) monitor->stop();
}

void DeviceStore::save() { services_.settings.setBlob(defaultsKey, encodeDevices(*devices_)); }

void DeviceStore::recountAlarms() {
    int count = 0;
    for (const auto& [id, monitor] : monitors_) count += monitor->alarms().activeCount();
    if (count != *activeAlarmCount_) activeAlarmCount_.set(count);
}

}  // namespace kestrelyne
