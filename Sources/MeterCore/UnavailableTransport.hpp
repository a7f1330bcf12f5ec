#pragma once
// Stands in for a way to a meter that this build does not know.

#include <string>

#include "MeterCore/ModbusTransport.hpp"

namespace metercore {

/// Every read and every write fails with ModbusError `connect` and the given reason, so that the meter's status tells it. Any
/// thread.
class UnavailableTransport final : public ModbusTransport {
public:
    explicit UnavailableTransport(std::string reason) : reason_(std::move(reason)) {}
    /// For meters on a serial port.
    static constexpr const char* serialReason = "serielle Zähler (RS485) werden noch nicht unterstützt";

    std::vector<std::uint16_t> readRegisters(std::uint8_t function, std::uint16_t address, std::uint16_t count) override;
    void writeSingleRegister(std::uint16_t address, std::uint16_t value) override;
    void close() override {}

private:
    const std::string reason_;
};

}  // namespace metercore
