#include "MeterCore/UnavailableTransport.hpp"

#include "MeterCore/ModbusError.hpp"

namespace metercore {

std::vector<std::uint16_t> UnavailableTransport::readRegisters(std::uint8_t, std::uint16_t, std::uint16_t) {
    throw ModbusError::connect(reason_);
}

void UnavailableTransport::writeSingleRegister(std::uint16_t, std::uint16_t) { throw ModbusError::connect(reason_); }

}  // namespace metercore
