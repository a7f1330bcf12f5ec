#pragma once
// The stored description of one meter.

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "Base/UUID.hpp"
#include "MeterCore/DeviceProfile.hpp"
#include "MeterCore/ModbusTransport.hpp"
#include "MeterCore/SerialParity.hpp"

namespace kestrelyne {

enum class ConnectionKind { tcp, rtu, demo };
/// "Modbus TCP (Ethernet)", "Modbus RTU (RS485)", "Demo-Gerät": shown, and the stored form.
std::string_view text(ConnectionKind kind);

/// The defaults are those of a new meter and of a key that a stored one lacks.
struct Device {
    base::UUID id = base::UUID::random();
    std::string name = "UMG 96RM";
    ConnectionKind kind = ConnectionKind::tcp;
    std::string host = "192.168.1.100";
    int port = 502;
    std::string serialPath;
    int baudRate = 115200;
    metercore::SerialParity parity = metercore::SerialParity::none;
    int stopBits = 2;
    int unitID = 1;
    double pollInterval = 1.0;  // s
    double timeout = 1.5;       // s, for connecting and for each answer
    bool autoConnect = false;   // poll from the start of the program
    std::string profileID{metercore::DeviceProfiles::janitzaID};
    std::string interfaceName;  // adapter that TCP is bound to; empty for none

    bool operator==(const Device&) const = default;

    /// How it is reached, in one line: "192.168.1.100:502 · Adr. 1", "ttyUSB0 · 9600 Bd · Adr. 1", "Simulation".
    std::string connectionSummary() const;
    /// A fresh way to the meter on each call. Port and unit are clamped into their ranges; a time limit that is no positive number
    /// becomes the default one.
    std::shared_ptr<metercore::ModbusTransport> makeTransport() const;
};

void to_json(nlohmann::json& json, const Device& device);
/// Throws base::DecodeError: a member of the wrong kind, an unknown enumeration text, a number out of range.
void from_json(const nlohmann::json& json, Device& device);

/// The stored list. Throws base::DecodeError when it is none.
std::vector<Device> decodeDevices(std::string_view bytes);
std::string encodeDevices(const std::vector<Device>& devices);

}  // namespace kestrelyne
