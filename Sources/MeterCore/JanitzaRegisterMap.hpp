#pragma once
// The register table of the Janitza UMG family (Janitza Modbus address list), and with it the measurement ids of the whole program.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "MeterCore/MeasuredValue.hpp"
#include "MeterCore/ValueSet.hpp"

namespace metercore {

/// Constant tables and pure functions; any thread.
namespace JanitzaRegisterMap {

/// The main block, read with one request: a float of two registers at every even address.
inline constexpr std::uint16_t startAddress = 19000;
inline constexpr std::uint16_t registerCount = 122;

/// One request outside the main block.
struct Block {
    std::uint16_t address;
    std::uint16_t count;
};
inline constexpr std::array<Block, 5> extendedBlocks = {{{800, 100}, {900, 42}, {10085, 6}, {10873, 4}, {11631, 12}}};

/// Ids of one set of phasors, L1 to L3. They are delivered with the extended blocks and have no row of their own.
struct PhasorIDs {
    std::array<int, 3> real;
    std::array<int, 3> imaginary;
};
inline constexpr PhasorIDs voltagePhasors{{848, 850, 852}, {854, 856, 858}};
inline constexpr PhasorIDs currentPhasors{{926, 928, 930}, {932, 934, 936}};

/// Percentages that the program derives: U2/U1, I2/I1 and U0/U1.
inline constexpr int unbalanceU = 90000, unbalanceI = 90002, starPointShift = 90004;
/// Total power factor. It has no row; profiles of other makers deliver it.
inline constexpr int totalPowerFactor = 826;

/// The 61 rows of the main block, by address.
std::span<const MeasuredValue> measurements();
/// The 18 rows outside it, in display order.
std::span<const MeasuredValue> extended();
/// `measurements` followed by `extended`.
std::span<const MeasuredValue> all();
/// The rows of one group, in table order.
std::span<const MeasuredValue> measurements(MeasureGroup group);
/// The row with this address; nullptr when the table has none.
const MeasuredValue* byAddress(int address);

/// Values of the main block. A shorter answer gives fewer values. Leaves room for the extended ones.
ValueSet decode(std::span<const std::uint16_t> registers);
/// Every pair of registers of a block, whether the table names it or not; an odd last register is ignored.
ValueSet decodeBlock(std::span<const std::uint16_t> registers, int start);
/// Sets the three derived percentages, or removes those that cannot be formed.
void addDerived(ValueSet& values);

}  // namespace JanitzaRegisterMap
}  // namespace metercore
