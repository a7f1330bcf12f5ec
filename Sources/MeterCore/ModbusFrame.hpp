#pragma once
// Frames of Modbus TCP (Modbus Messaging on TCP/IP V1.0b, 3.1.3; functions and exceptions: Modbus Application Protocol V1.1b3), as
// both the client and the simulated meter's server need them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include "Base/ByteReader.hpp"
#include "MeterCore/ModbusError.hpp"

namespace metercore {

/// Pure functions; any thread.
namespace ModbusFrame {

enum Function : std::uint8_t { readHoldingRegisters = 3, readInputRegisters = 4, writeSingleRegister = 6 };
inline constexpr std::uint8_t exceptionBit = 0x80;
enum ExceptionCode : std::uint8_t { illegalFunction = 1, illegalAddress = 2, illegalValue = 3, deviceFailure = 4 };

/// The MBAP header in front of every frame.
struct Header {
    std::uint16_t transactionID = 0;
    std::uint16_t protocolID = 0;  // 0 for Modbus; not checked
    std::uint16_t length = 0;      // bytes that follow this field: unit id and body
    std::uint8_t unitID = 0;
    bool operator==(const Header&) const = default;
};

inline constexpr std::size_t headerSize = 7;
inline constexpr std::uint16_t minimumLength = 2, maximumLength = 260;  // of Header::length; a value outside is garbled
inline constexpr std::size_t maximumSize = headerSize - 1 + maximumLength;
inline constexpr std::size_t requestSize = 12;
/// The byte count of a read answer is one byte.
inline constexpr std::size_t maximumRegisters = 127;

/// Absent when fewer than 7 bytes are there.
std::optional<Header> parseHeader(base::Bytes bytes);
inline bool lengthIsValid(const Header& header) { return header.length >= minimumLength && header.length <= maximumLength; }
/// Bytes of the whole frame.
inline std::size_t frameSize(const Header& header) { return headerSize - 1 + header.length; }

// Client side

/// A read of `value` registers or a write of `value`, from or to `address`.
std::array<std::uint8_t, requestSize> encodeRequest(std::uint16_t transactionID, std::uint8_t unitID, std::uint8_t function,
                                                    std::uint16_t address, std::uint16_t value);
/// The registers of an answer body (all behind the header), or what is wrong with it: `exception` or `invalidResponse`.
std::variant<std::vector<std::uint16_t>, ModbusError> parseReadAnswer(base::Bytes body, std::uint8_t function, std::uint16_t count);
/// Absent when the answer body confirms the write.
std::optional<ModbusError> checkWriteAnswer(base::Bytes body, std::uint16_t address, std::uint16_t value);

// Server side

/// What a request body asks for.
struct ReadRequest {
    std::uint8_t function;  // 3 or 4
    std::uint16_t address;
    std::uint16_t count;  // 1…125
    bool operator==(const ReadRequest&) const = default;
};
struct WriteRequest {
    std::uint16_t address;
    std::uint16_t value;
    bool operator==(const WriteRequest&) const = default;
};
/// The request is answered with this exception.
struct Refusal {
    std::uint8_t function;
    std::uint8_t code;
    bool operator==(const Refusal&) const = default;
};
using Request = std::variant<ReadRequest, WriteRequest, Refusal>;

/// Reads a request body. An unknown function is refused with code 1, a count outside 1…125 with 2, a body that is too short with 3.
Request parseRequest(base::Bytes body);

/// Answers repeat transaction and unit of the request. At most 127 registers are sent.
std::vector<std::uint8_t> encodeReadAnswer(const Header& request, std::uint8_t function, std::span<const std::uint16_t> registers);
std::vector<std::uint8_t> encodeWriteAnswer(const Header& request, std::uint16_t address, std::uint16_t value);
std::vector<std::uint8_t> encodeException(const Header& request, std::uint8_t function, std::uint8_t code);

}  // namespace ModbusFrame
}  // namespace metercore
