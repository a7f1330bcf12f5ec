#pragma once
// Remote Device Management (ANSI E1.20): commands to devices and their responses, as they travel inside Art-Net, without the start
// code 0xCC. Who sends them and waits for answers is not told here.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Base/ByteReader.hpp"
#include "NetCore/RDMUID.hpp"

/// Pure functions; any thread.
namespace netcore::RDM {

/// Parameters that this program knows (ANSI E1.20, appendix A.3).
enum class PID : std::uint16_t {
    supportedParameters = 0x0050,
    factoryDefaults = 0x0090,
    deviceInfo = 0x0060,
    personality = 0x00E0,
    personalityDescription = 0x00E1,
    startAddress = 0x00F0,
    lampState = 0x0403,
    identify = 0x1000,
    resetDevice = 0x1001,
    modelDescription = 0x0080,
    manufacturerLabel = 0x0081,
    deviceLabel = 0x0082,
    softwareVersionLabel = 0x00C0,
    sensorDefinition = 0x0200,
    sensorValue = 0x0201,
    deviceHours = 0x0400,
    lampHours = 0x0401,
};

/// What a response says of itself (ANSI E1.20, 6.2.6).
enum ResponseType : std::uint8_t { ack = 0, ackTimer = 1, nack = 2, ackOverflow = 3 };

/// The most data that a parameter can carry (ANSI E1.20, 6.2.3).
inline constexpr std::size_t mostData = 231;

/// The UID of this program: of the range for prototypes, drawn once for the life of the process.
const UID& controller();

/// A command from `controller` to the root device, with its checksum. More data than `mostData` is a programming error.
std::vector<std::uint8_t> get(PID pid, const UID& to, std::uint8_t transaction, base::Bytes data = {});
std::vector<std::uint8_t> set(PID pid, const UID& to, std::uint8_t transaction, base::Bytes data = {});

struct Response {
    UID source;
    std::uint8_t transaction = 0;
    std::uint8_t responseType = 0;  // ResponseType, or what a device made up
    std::uint16_t pid = 0;
    std::vector<std::uint8_t> data;
    bool isSetResponse = false;  // else of a GET

    /// Why it was refused, in German; of a response that is a NACK.
    std::string nackReason() const;
    bool operator==(const Response&) const = default;
};

/// Absent for anything but a response whose lengths fit each other, and whose checksum fits where it is there in full.
std::optional<Response> parse(base::Bytes frame);

}  // namespace netcore::RDM
