#include "Kestrelyne/App/RDMState.hpp"

#include "Base/JSONFields.hpp"
#include "Kestrelyne/Network/LightingStates.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

template <class T>
JSON orNull(const std::optional<T>& value) {
    return value ? JSON(*value) : JSON(nullptr);
}

JSON infoState(const netcore::RDM::DeviceInfo& info) {
    return {{"modelID", info.modelID},           {"category", info.category},       {"softwareVersionID", info.softwareVersionID},
            {"footprint", info.footprint},       {"personality", info.personality}, {"personalityCount", info.personalityCount},
            {"startAddress", info.startAddress}, {"sensorCount", info.sensorCount}};
}

}  // namespace

JSON rdmDeviceState(const RDMDeviceState& device) {
    JSON sensors = JSON::array(), personalities = JSON::array();
    for (const auto& sensor : device.sensors)
        sensors.push_back({{"number", sensor.number},
                           {"name", sensor.name},
                           {"unit", sensor.unit},
                           {"value", orNull(sensor.value)},
                           {"max", orNull(sensor.normalMax)},
                           {"isTemperature", sensor.isTemperature}});
    for (const auto& personality : device.personalities)
        personalities.push_back(
            {{"number", personality.number}, {"name", personality.description}, {"footprint", personality.footprint}});
    const auto* hottest = device.hottest();
    return {{"uid", device.uid.text()},
            {"name", nameOf(device)},
            {"nodeIP", device.nodeIP},
            {"nodeName", device.nodeName},
            {"universe", device.universe},
            {"universeLabel", UniverseKey{.proto = NetProtocol::artnet, .number = device.universe}.label()},
            {"manufacturer", device.manufacturer},
            {"model", device.model},
            {"label", device.label},
            {"software", device.software},
            {"info", device.info ? infoState(*device.info) : JSON(nullptr)},
            {"deviceHours", orNull(device.deviceHours)},
            {"lampHours", orNull(device.lampHours)},
            {"sensors", sensors},
            {"temp", hottest != nullptr ? orNull(hottest->value) : JSON(nullptr)},
            {"supported", orNull(device.supported)},
            {"personalities", personalities},
            {"identifying", device.identifying},
            {"atFactoryDefaults", orNull(device.atFactoryDefaults)},
            {"lampState", orNull(device.lampState)},
            {"responding", device.responding},
            {"lastUpdate", base::secondsSince1970(device.lastUpdate.wall)}};
}

JSON rdmState(const RDMScanner& scanner) {
    JSON devices = JSON::array();
    for (const auto& device : *scanner.devices()) devices.push_back(rdmDeviceState(device));
    const auto& lastScan = *scanner.lastScan();
    return {{"devices", devices},
            {"isScanning", *scanner.isScanning()},
            {"progress", *scanner.progress()},
            {"lastScan", lastScan ? JSON(base::secondsSince1970(*lastScan)) : JSON(nullptr)},
            {"writeEnabled", *scanner.writeEnabled()},
            {"lastWriteResult", orNull(*scanner.lastWriteResult())}};
}

}  // namespace kestrelyne
