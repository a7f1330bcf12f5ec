#pragma once
// How a Modbus exchange fails.

#include <cstdint>
#include <stdexcept>
#include <string>

namespace metercore {

/// The failure of every Modbus transport. `exception` stays a case of its own with its code: it tells a meter that lacks a register
/// from a broken line.
class ModbusError : public std::runtime_error {
public:
    enum class Case { resolve, connect, exception, invalidResponse, timeout, closed };

    static ModbusError resolve(std::string host);
    static ModbusError connect(std::string message);
    /// Exception code of the answer (Modbus Application Protocol V1.1b3, 7).
    static ModbusError exception(std::uint8_t code);
    static ModbusError invalidResponse(std::string message);
    static ModbusError timeout();
    static ModbusError closed();

    Case kind() const { return kind_; }
    bool isException() const { return kind_ == Case::exception; }
    /// Only of the case `exception`; else 0.
    std::uint8_t code() const { return code_; }
    /// The host of `resolve`, the message of `connect` and `invalidResponse`; else empty.
    const std::string& message() const { return message_; }
    /// The German sentence that users read; the same as what().
    std::string description() const { return what(); }

    bool operator==(const ModbusError& other) const {
        return kind_ == other.kind_ && code_ == other.code_ && message_ == other.message_;
    }

private:
    ModbusError(Case kind, std::uint8_t code, std::string message);

    Case kind_;
    std::uint8_t code_;
    std::string message_;
};

/// The German name of a Modbus exception code; "Unbekannt" for those without one.
const char* exceptionText(std::uint8_t code);

}  // namespace metercore
