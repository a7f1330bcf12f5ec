#include "Kestrelyne/Metering/Device.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "Base/JSONFields.hpp"
#include "MeterCore/DemoDevice.hpp"
#include "MeterCore/ModbusTCPClient.hpp"
#include "MeterCore/UnavailableTransport.hpp"

namespace kestrelyne {

namespace {

constexpr std::array<std::pair<ConnectionKind, std::string_view>, 3> kindTexts = {{
    {ConnectionKind::tcp, "Modbus TCP (Ethernet)"},
    {ConnectionKind::rtu, "Modbus RTU (RS485)"},
    {ConnectionKind::demo, "Demo-Gerät"},
}};

constexpr double longestTimeout = 3600;  // s; beyond it a limit is none

ConnectionKind connectionKind(const base::JSON& value) {
    const auto given = base::asText(value);
    for (const auto& [kind, label] : kindTexts)
        if (label == given) return kind;
    throw base::DecodeError("unknown connection kind");
}

metercore::SerialParity parity(const base::JSON& value) {
    const auto found = metercore::serialParity(base::asText(value));
    if (!found) throw base::DecodeError("unknown parity");
    return *found;
}

int asInt(const base::JSON& value) {
    const auto number = base::asInteger(value);
    if (number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max())
        throw base::DecodeError("number out of range");
    return static_cast<int>(number);
}

}  // namespace

std::string_view text(ConnectionKind kind) { return kindTexts[static_cast<std::size_t>(kind)].second; }

std::string Device::connectionSummary() const {
    const auto unit = " · Adr. " + std::to_string(unitID);
    switch (kind) {
        case ConnectionKind::tcp: return host + ":" + std::to_string(port) + unit;
        case ConnectionKind::rtu: {
            auto path = serialPath;
            while (path.size() > 1 && path.ends_with('/')) path.pop_back();
            const auto line = path.empty() ? std::string("keine Schnittstelle") : path.substr(path.rfind('/') + 1);
            return line + " · " + std::to_string(baudRate) + " Bd" + unit;
        }
        case ConnectionKind::demo: break;
    }
    return "Simulation";
}

std::shared_ptr<metercore::ModbusTransport> Device::makeTransport() const {
    switch (kind) {
        case ConnectionKind::tcp: {
            const bool usable = std::isfinite(timeout) && timeout > 0;
            return std::make_shared<metercore::ModbusTCPClient>(
                host, static_cast<std::uint16_t>(std::clamp(port, 0, 65535)), static_cast<std::uint8_t>(std::clamp(unitID, 0, 255)),
                base::Seconds(usable ? std::min(timeout, longestTimeout) : Device{}.timeout), interfaceName);
        }
        case ConnectionKind::rtu:
            return std::make_shared<metercore::UnavailableTransport>(metercore::UnavailableTransport::serialReason);
        case ConnectionKind::demo: break;
    }
    return std::make_shared<metercore::DemoDevice>();
}

void to_json(base::JSON& json, const Device& device) {
    json = {{"id", device.id.text()},
            {"name", device.name},
            {"kind", text(device.kind)},
            {"host", device.host},
            {"port", device.port},
            {"serialPath", device.serialPath},
            {"baudRate", device.baudRate},
            {"parity", metercore::text(device.parity)},
            {"stopBits", device.stopBits},
            {"unitID", device.unitID},
            {"pollInterval", device.pollInterval},
            {"timeout", device.timeout},
            {"autoConnect", device.autoConnect},
            {"profileID", device.profileID},
            {"interfaceName", device.interfaceName}};
}

void from_json(const base::JSON& json, Device& device) {
    base::overlay(json, "id", device.id, base::asUUID);
    base::overlay(json, "name", device.name, base::asText);
    base::overlay(json, "kind", device.kind, connectionKind);
    base::overlay(json, "host", device.host, base::asText);
    base::overlay(json, "port", device.port, asInt);
    base::overlay(json, "serialPath", device.serialPath, base::asText);
    base::overlay(json, "baudRate", device.baudRate, asInt);
    base::overlay(json, "parity", device.parity, parity);
    base::overlay(json, "stopBits", device.stopBits, asInt);
    base::overlay(json, "unitID", device.unitID, asInt);
    base::overlay(json, "pollInterval", device.pollInterval, base::asNumber);
    base::overlay(json, "timeout", device.timeout, base::asNumber);
    base::overlay(json, "autoConnect", device.autoConnect, base::asBool);
    base::overlay(json, "profileID", device.profileID, base::asText);
    base::overlay(json, "interfaceName", device.interfaceName, base::asText);
}

std::vector<Device> decodeDevices(std::string_view bytes) {
    const auto json = base::parseJSON(bytes);
    if (!json.is_array()) throw base::DecodeError("no list of meters");
    std::vector<Device> devices;
    for (const auto& element : json) {
        Device device;
        from_json(element, device);
        devices.push_back(std::move(device));
    }
    return devices;
}

std::string encodeDevices(const std::vector<Device>& devices) {
    auto json = base::JSON::array();
    for (const auto& device : devices) {
        base::JSON element;
        to_json(element, device);
        json.push_back(std::move(element));
    }
    return base::dump(json);
}

}  // namespace kestrelyne
