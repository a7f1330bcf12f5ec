#include "Kestrelyne/Simulators/SimulatorCenter.hpp"

#include <set>

#include "NetCore/NetError.hpp"

namespace kestrelyne {

SimulatorCenter::SimulatorCenter(std::uint16_t port, netcore::LightingSimulator::Ports lightingPorts)
    : port_(port), meterDevice_(std::make_shared<metercore::DemoDevice>()), lightingSim_(lightingPorts) {}

void SimulatorCenter::setMeter(bool on, DeviceStore& store) {
    if (!on) {
        if (meterServer_) meterServer_->stop();
        cleanupLeftovers(store);
        meterOn_.set(false);
        return;
    }
    errors_.change([](auto& errors) { errors.erase("meter"); });
    if (!meterServer_) {
        meterServer_ = std::make_unique<metercore::ModbusTCPServer>(port_, meterDevice_);
        meterServer_->setSilent(*meterSilent_);
    }
    try {
        meterServer_->run();
    } catch (const metercore::PortError& error) {
        errors_.change([&error](auto& errors) { errors["meter"] = error.description(); });
        return;
    }
    cleanupLeftovers(store);
    Device device;
    device.name = meterName;
    device.host = meterHost;
    device.port = port_;
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

void SimulatorCenter::stopAll(DeviceStore& store) {
    setMeter(false, store);
    setLighting(false);
}

void SimulatorCenter::cleanupLeftovers(DeviceStore& store) const {
    std::set<base::UUID> leftovers;
    for (const auto& device : *store.devices())
        if (device.host == meterHost && device.port == port_) leftovers.insert(device.id);
    store.removeAll(leftovers);
}

}  // namespace kestrelyne
