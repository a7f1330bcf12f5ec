#include "Kestrelyne/Simulators/SimulatorCenter.hpp"

#include <set>

#include "NetCore/NetError.hpp"

namespace kestrelyne {

SimulatorCenter::SimulatorCenter(Ports ports)
    : ports_(ports), meterDevice_(std::make_shared<metercore::DemoDevice>()), lightingSim_(ports.lighting), upsSim_(ports.ups) {}

void SimulatorCenter::setMeter(bool on, DeviceStore& store) {
    if (!on) {
        if (meterServer_) meterServer_->stop();
        removeMeters(store);
        meterOn_.set(false);
        return;
    }
    errors_.change([](auto& errors) { errors.erase("meter"); });
    if (!meterServer_) {
        meterServer_ = std::make_unique<metercore::ModbusTCPServer>(ports_.meter, meterDevice_);
        meterServer_->setSilent(*meterSilent_);
    }
    try {
        meterServer_->run();
    } catch (const metercore::PortError& error) {
        errors_.change([&error](auto& errors) { errors["meter"] = error.description(); });
        return;
    }
    removeMeters(store);
    Device device;
    device.name = meterName;
    device.host = meterHost;
    device.port = ports_.meter;
    const auto id = device.id;
    store.add(std::move(device));
    store.monitor(id)->start();
    meterOn_.set(true);
}

void SimulatorCenter::setMeterFaults(metercore::DemoDevice::Faults faults) {
    meterDevice_->setFaults(faults);
    meterFaults_.set(faults);
}

void SimulatorCenter::setMeterSilent(bool silent) {
    if (meterServer_) meterServer_->setSilent(silent);
    meterSilent_.set(silent);
}

void SimulatorCenter::setLighting(bool on) {
    if (!on) {
        lightingSim_.stop();
        lightingOn_.set(false);
        return;
    }
    errors_.change([](auto& errors) { errors.erase("light"); });
    lightingSim_.setConfig(*lighting_);
    try {
        lightingSim_.run();
    } catch (const netcore::NetError& error) {
        errors_.change([&error](auto& errors) { errors["light"] = error.description(); });
        return;
    }
    lightingOn_.set(true);
}

void SimulatorCenter::setLightingConfig(netcore::LightingSimulator::Config config) {
    lightingSim_.setConfig(config);
    lighting_.set(lightingSim_.config());
}

void SimulatorCenter::setUPS(bool on, NetworkMonitor& network) {
    if (!on) {
        upsSim_.stop();
        removeUPSs(network);
        upsOn_.set(false);
        return;
    }
    errors_.change([](auto& errors) { errors.erase("ups"); });
    upsSim_.setFaults(*upsFaults_);
    try {
        upsSim_.run();
    } catch (const netcore::NetError& error) {
        errors_.change([&error](auto& errors) { errors["ups"] = error.description(); });
        return;
    }
    removeUPSs(network);
    NetDevice device;
    device.name = upsName;
    device.ip = upsHost;
    device.role = NetDeviceRole::ups;
    device.snmp = true;
    device.snmpPort = ports_.ups;
    device.notes = "Simulator – wird beim Abschalten entfernt";
    network.upsert(std::move(device));
    upsOn_.set(true);
}

void SimulatorCenter::setUPSFaults(netcore::UPSSimulator::Faults faults) {
    upsSim_.setFaults(faults);
    upsFaults_.set(faults);
}

void SimulatorCenter::stopAll(DeviceStore& store, NetworkMonitor& network) {
    setMeter(false, store);
    setLighting(false);
    setUPS(false, network);
}

void SimulatorCenter::cleanupLeftovers(DeviceStore& store, NetworkMonitor& network) const {
    removeMeters(store);
    removeUPSs(network);
}

void SimulatorCenter::removeMeters(DeviceStore& store) const {
    std::set<base::UUID> leftovers;
    for (const auto& device : *store.devices())
        if (device.host == meterHost && device.port == ports_.meter) leftovers.insert(device.id);
    store.removeAll(leftovers);
}

void SimulatorCenter::removeUPSs(NetworkMonitor& network) const {
    std::vector<base::UUID> leftovers;
    for (const auto& device : network.config()->devices)
        if (device.ip == upsHost && device.snmpPort == ports_.ups) leftovers.push_back(device.id);
    for (const auto& id : leftovers) network.remove(id);
}

}  // namespace kestrelyne
