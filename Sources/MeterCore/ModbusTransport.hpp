#pragma once
// What every way to a meter can do: read registers, write one, close.

#include <cstdint>
#include <vector>

namespace metercore {

/// Blocking: one call, one request, one answer. Called on a queue of its owner, never on the main thread. Failures are ModbusError.
class ModbusTransport {
public:
    static constexpr std::uint16_t maximumCount = 125;  // Modbus Application Protocol V1.1b3, 6.3: quantity of registers

    virtual ~ModbusTransport() = default;
    /// Function 3 (holding registers) or 4 (input registers), 1 to 125 registers; anything else is a programming error.
    virtual std::vector<std::uint16_t> readRegisters(std::uint8_t function, std::uint16_t address, std::uint16_t count) = 0;
    /// Function 6.
    virtual void writeSingleRegister(std::uint16_t address, std::uint16_t value) = 0;
    /// Harmless when nothing is open. The next call opens again.
    virtual void close() = 0;
};

}  // namespace metercore
