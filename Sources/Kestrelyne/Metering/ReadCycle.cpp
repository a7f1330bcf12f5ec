#include "Kestrelyne/Metering/ReadCycle.hpp"

#include "MeterCore/JanitzaRegisterMap.hpp"
#include "MeterCore/ModbusError.hpp"

namespace kestrelyne {

namespace map = metercore::JanitzaRegisterMap;

namespace {
constexpr std::uint8_t holdingRegisters = 3;
}

CycleReading ReadCycle::operator()() {
    CycleReading reading;
    try {
        reading.values = map::decode(transport->readRegisters(holdingRegisters, map::startAddress, map::registerCount));
    } catch (const std::exception& error) {
        reading.failure = error.what();
        reading.refused = std::move(refused);
        return reading;
    }
    metercore::ValueSet extra;
    readExtended(extra);
    if (readExtremes && !cancelled->load()) {
        try {
            reading.extremes = readExtremes(*transport, refused);
        } catch (const std::exception&) {
            // The main block has been read: the cycle counts without them.
        }
    }
    reading.values.overlay(extra);
    map::addDerived(reading.values);
    reading.refused = std::move(refused);
    return reading;
}

void ReadCycle::readExtended(metercore::ValueSet& extra) {
    for (const auto& block : map::extendedBlocks) {
        if (cancelled->load()) return;
        if (refused.contains(block.address)) continue;
        try {
            extra.overlay(map::decodeBlock(transport->readRegisters(holdingRegisters, block.address, block.count), block.address));
        } catch (const metercore::ModbusError& error) {
            if (!error.isException()) return;
            refused.insert(block.address);
        } catch (const std::exception&) {
            return;
        }
    }
}

}  // namespace kestrelyne
