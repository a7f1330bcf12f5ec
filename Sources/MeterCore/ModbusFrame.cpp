#include "MeterCore/ModbusFrame.hpp"

#include <algorithm>

#include "MeterCore/ModbusTransport.hpp"

namespace metercore::ModbusFrame {

namespace {

constexpr std::size_t requestBodySize = 5;  // function, address, and count or value

void put16(std::vector<std::uint8_t>& bytes, std::uint16_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    bytes.push_back(static_cast<std::uint8_t>(value));
}

// Header of an answer: protocol 0, the length of what follows it, the rest as in the request.
std::vector<std::uint8_t> answer(const Header& request, std::size_t bodySize) {
    std::vector<std::uint8_t> frame;
    frame.reserve(headerSize + bodySize);
    put16(frame, request.transactionID);
    put16(frame, 0);
    put16(frame, static_cast<std::uint16_t>(bodySize + 1));
    frame.push_back(request.unitID);
    return frame;
}

// What is wrong before the data of an answer matters.
std::optional<ModbusError> checkFunction(base::ByteReader& body, std::uint8_t function) {
    const auto answered = body.u8();
    if (answered == (function | exceptionBit)) return ModbusError::exception(body.u8().value_or(0));
    if (answered != function) return ModbusError::invalidResponse("Funktionscode " + std::to_string(answered.value_or(0)));
    return std::nullopt;
}

}  // namespace

std::optional<Header> parseHeader(base::Bytes bytes) {
    if (bytes.size() < headerSize) return std::nullopt;
    base::ByteReader reader(bytes);
    return Header{.transactionID = *reader.u16(), .protocolID = *reader.u16(), .length = *reader.u16(), .unitID = *reader.u8()};
}

std::array<std::uint8_t, requestSize> encodeRequest(std::uint16_t transactionID, std::uint8_t unitID, std::uint8_t function,
                                                    std::uint16_t address, std::uint16_t value) {
    const auto high = [](std::uint16_t word) { return static_cast<std::uint8_t>(word >> 8); };
    const auto low = [](std::uint16_t word) { return static_cast<std::uint8_t>(word); };
    constexpr std::uint8_t length = requestBodySize + 1;
    return {high(transactionID), low(transactionID), 0,           0,         0, length, unitID, function,
            high(address),       low(address),       high(value), low(value)};
}

std::variant<std::vector<std::uint16_t>, ModbusError> parseReadAnswer(base::Bytes body, std::uint8_t function,
                                                                      std::uint16_t count) {
    base::ByteReader reader(body);
    if (auto error = checkFunction(reader, function)) return std::move(*error);
    const std::size_t expected = std::size_t{2} * count;
    const std::size_t byteCount = reader.u8().value_or(0);
    if (byteCount != expected || reader.remaining() < byteCount)
        return ModbusError::invalidResponse("Byteanzahl " + std::to_string(byteCount) + ", erwartet " + std::to_string(expected));
    std::vector<std::uint16_t> registers(count);
    for (auto& word : registers) word = *reader.u16();
    return registers;
}

std::optional<ModbusError> checkWriteAnswer(base::Bytes body, std::uint16_t address, std::uint16_t value) {
    base::ByteReader reader(body);
    if (auto error = checkFunction(reader, writeSingleRegister)) return error;
    if (reader.u16() != address || reader.u16() != value)
        return ModbusError::invalidResponse("Ungültige Bestätigung beim Schreiben");
    return std::nullopt;
}

Request parseRequest(base::Bytes body) {
    base::ByteReader reader(body);
    const auto function = reader.u8().value_or(0);
    if (function != readHoldingRegisters && function != readInputRegisters && function != writeSingleRegister)
        return Refusal{function, illegalFunction};
    if (body.size() < requestBodySize) return Refusal{function, illegalValue};
    const auto address = *reader.u16(), value = *reader.u16();
    if (function == writeSingleRegister) return WriteRequest{address, value};
    if (value < 1 || value > ModbusTransport::maximumCount) return Refusal{function, illegalAddress};
    return ReadRequest{function, address, value};
}

std::vector<std::uint8_t> encodeReadAnswer(const Header& request, std::uint8_t function, std::span<const std::uint16_t> registers) {
    const auto sent = registers.first(std::min(registers.size(), maximumRegisters));
    auto frame = answer(request, 2 + 2 * sent.size());
    frame.push_back(function);
    frame.push_back(static_cast<std::uint8_t>(2 * sent.size()));
    for (const auto word : sent) put16(frame, word);
    return frame;
}

std::vector<std::uint8_t> encodeWriteAnswer(const Header& request, std::uint16_t address, std::uint16_t value) {
    auto frame = answer(request, requestBodySize);
    frame.push_back(writeSingleRegister);
    put16(frame, address);
    put16(frame, value);
    return frame;
}

std::vector<std::uint8_t> encodeException(const Header& request, std::uint8_t function, std::uint8_t code) {
    auto frame = answer(request, 2);
    frame.push_back(function | exceptionBit);
    frame.push_back(code);
    return frame;
}

}  // namespace metercore::ModbusFrame
