#include "MeterCore/JanitzaRegisterMap.hpp"

#include <algorithm>
#include <cmath>
#include <optional>

#include "MeterCore/RegisterDecoder.hpp"

namespace metercore {

namespace {

using enum MeasureGroup;
using Unit = MeasureUnit;

constexpr std::size_t mainRows = 61, extendedRows = 18;

// In the meter's order: it lists apparent power before reactive power.
constexpr std::array<MeasuredValue, mainRows + extendedRows> table = {{
    {19000, voltageLN, "L1", Unit::volt},
    {19002, voltageLN, "L2", Unit::volt},
    {19004, voltageLN, "L3", Unit::volt},
    {19006, voltageLL, "L1-L2", Unit::volt},
    {19008, voltageLL, "L2-L3", Unit::volt},
    {19010, voltageLL, "L3-L1", Unit::volt},
    {19012, current, "L1", Unit::ampere},
    {19014, current, "L2", Unit::ampere},
    {19016, current, "L3", Unit::ampere},
    {19018, current, "N (Vektorsumme)", Unit::ampere},
    {19020, activePower, "L1", Unit::watt},
    {19022, activePower, "L2", Unit::watt},
    {19024, activePower, "L3", Unit::watt},
    {19026, activePower, "Σ", Unit::watt},
    {19028, apparentPower, "L1", Unit::voltAmpere},
    {19030, apparentPower, "L2", Unit::voltAmpere},
    {19032, apparentPower, "L3", Unit::voltAmpere},
    {19034, apparentPower, "Σ", Unit::voltAmpere},
    {19036, reactivePower, "L1", Unit::var_},
    {19038, reactivePower, "L2", Unit::var_},
    {19040, reactivePower, "L3", Unit::var_},
    {19042, reactivePower, "Σ", Unit::var_},
    {19044, powerFactor, "L1", Unit::none},
    {19046, powerFactor, "L2", Unit::none},
    {19048, powerFactor, "L3", Unit::none},
    {19050, grid, "Frequenz", Unit::hertz},
    {19052, grid, "Drehfeld", Unit::none},
    {19054, energyActive, "L1", Unit::wattHour},
    {19056, energyActive, "L2", Unit::wattHour},
    {19058, energyActive, "L3", Unit::wattHour},
    {19060, energyActive, "Σ", Unit::wattHour},
    {19062, energyActiveImport, "L1", Unit::wattHour},
    {19064, energyActiveImport, "L2", Unit::wattHour},
    {19066, energyActiveImport, "L3", Unit::wattHour},
    {19068, energyActiveImport, "Σ", Unit::wattHour},
    {19070, energyActiveExport, "L1", Unit::wattHour},
    {19072, energyActiveExport, "L2", Unit::wattHour},
    {19074, energyActiveExport, "L3", Unit::wattHour},
    {19076, energyActiveExport, "Σ", Unit::wattHour},
    {19078, energyApparent, "L1", Unit::voltAmpereHour},
    {19080, energyApparent, "L2", Unit::voltAmpereHour},
    {19082, energyApparent, "L3", Unit::voltAmpereHour},
    {19084, energyApparent, "Σ", Unit::voltAmpereHour},
    {19086, energyReactive, "L1", Unit::varHour},
    {19088, energyReactive, "L2", Unit::varHour},
    {19090, energyReactive, "L3", Unit::varHour},
    {19092, energyReactive, "Σ", Unit::varHour},
    {19094, energyReactiveInd, "L1", Unit::varHour},
    {19096, energyReactiveInd, "L2", Unit::varHour},
    {19098, energyReactiveInd, "L3", Unit::varHour},
    {19100, energyReactiveInd, "Σ", Unit::varHour},
    {19102, energyReactiveCap, "L1", Unit::varHour},
    {19104, energyReactiveCap, "L2", Unit::varHour},
    {19106, energyReactiveCap, "L3", Unit::varHour},
    {19108, energyReactiveCap, "Σ", Unit::varHour},
    {19110, thdU, "L1", Unit::percent},
    {19112, thdU, "L2", Unit::percent},
    {19114, thdU, "L3", Unit::percent},
    {19116, thdI, "L1", Unit::percent},
    {19118, thdI, "L2", Unit::percent},
    {19120, thdI, "L3", Unit::percent},
    // Outside the main block, in display order: the percentages stand beside the volts they come from.
    {802, symmetryU, "U0 Nullsystem", Unit::volt},
    {90004, symmetryU, "Sternpunktverschiebung U0/U1", Unit::percent},
    {804, symmetryU, "U2 Gegensystem", Unit::volt},
    {806, symmetryU, "U1 Mitsystem", Unit::volt},
    {90000, symmetryU, "Unsymmetrie U2/U1", Unit::percent},
    {920, symmetryI, "I0 Nullsystem", Unit::ampere},
    {922, symmetryI, "I2 Gegensystem", Unit::ampere},
    {924, symmetryI, "I1 Mitsystem", Unit::ampere},
    {90002, symmetryI, "Unsymmetrie I2/I1", Unit::percent},
    {10085, neutral, "I4 gemessen", Unit::ampere},
    {10873, neutral, "Differenzstrom 1 (RCM)", Unit::ampere},
    {10875, neutral, "Differenzstrom 2 (RCM)", Unit::ampere},
    {11631, crest, "U L1", Unit::none},
    {11633, crest, "U L2", Unit::none},
    {11635, crest, "U L3", Unit::none},
    {11637, crest, "I L1", Unit::none},
    {11639, crest, "I L2", Unit::none},
    {11641, crest, "I L3", Unit::none},
}};

constexpr bool addressesOccurOnce() {
    for (std::size_t i = 0; i < table.size(); ++i)
        for (std::size_t j = i + 1; j < table.size(); ++j)
            if (table[i].address == table[j].address) return false;
    return true;
}
static_assert(addressesOccurOnce());

// So that the rows of a group are one stretch of the table.
constexpr bool groupsStandTogether() {
    for (std::size_t i = 0; i < table.size(); ++i)
        for (std::size_t j = i + 2; j < table.size(); ++j)
            if (table[i].group == table[j].group && table[j - 1].group != table[j].group) return false;
    return true;
}
static_assert(groupsStandTogether());

constexpr bool mainBlockIsDense() {
    for (std::size_t i = 0; i < mainRows; ++i)
        if (table[i].address != JanitzaRegisterMap::startAddress + static_cast<int>(2 * i)) return false;
    return 2 * mainRows == JanitzaRegisterMap::registerCount;
}
static_assert(mainBlockIsDense());

constexpr std::size_t derivedRows = 3;
constexpr std::size_t idsOfAReading = [] {
    std::size_t pairs = mainRows + derivedRows;
    for (const auto& block : JanitzaRegisterMap::extendedBlocks) pairs += block.count / 2;
    return pairs;
}();

void decodePairs(std::span<const std::uint16_t> registers, int start, ValueSet& values) {
    for (std::size_t offset = 0; offset + 1 < registers.size(); offset += 2)
        values.set(start + static_cast<int>(offset), RegisterDecoder::float32(registers[offset], registers[offset + 1]));
}

std::optional<double> ratio(const ValueSet& values, int part, int whole) {
    constexpr double smallestWhole = 0.001;  // below it the percentage is noise
    const auto a = values.get(part), b = values.get(whole);
    if (!a || !b || !std::isfinite(*a) || !std::isfinite(*b) || *b <= smallestWhole) return std::nullopt;
    return *a / *b * 100;
}

}  // namespace

namespace JanitzaRegisterMap {

std::span<const MeasuredValue> measurements() { return std::span(table).first(mainRows); }
std::span<const MeasuredValue> extended() { return std::span(table).last(extendedRows); }
std::span<const MeasuredValue> all() { return table; }

std::span<const MeasuredValue> measurements(MeasureGroup group) {
    const auto isMember = [group](const MeasuredValue& row) { return row.group == group; };
    const auto first = std::find_if(table.begin(), table.end(), isMember);
    return {first, std::find_if_not(first, table.end(), isMember)};
}

const MeasuredValue* byAddress(int address) {
    // Rules name any address: the smallest must not overflow here.
    if (address >= startAddress && address < startAddress + registerCount) {
        const auto offset = static_cast<std::size_t>(address - startAddress);
        return offset % 2 == 0 ? &table[offset / 2] : nullptr;
    }
    const auto rows = extended();
    const auto found =
        std::find_if(rows.begin(), rows.end(), [address](const MeasuredValue& row) { return row.address == address; });
    return found == rows.end() ? nullptr : &*found;
}

ValueSet decode(std::span<const std::uint16_t> registers) {
    ValueSet values;
    values.reserve(idsOfAReading);
    decodePairs(registers.first(std::min<std::size_t>(registers.size(), registerCount)), startAddress, values);
    return values;
}

ValueSet decodeBlock(std::span<const std::uint16_t> registers, int start) {
    ValueSet values;
    values.reserve(registers.size() / 2);
    decodePairs(registers, start, values);
    return values;
}

void addDerived(ValueSet& values) {
    struct Derived {
        int id, part, whole;
    };
    constexpr std::array<Derived, derivedRows> rows = {
        {{unbalanceU, 804, 806}, {unbalanceI, 922, 924}, {starPointShift, 802, 806}}};
    for (const auto& row : rows) {
        if (const auto result = ratio(values, row.part, row.whole))
            values.set(row.id, *result);
        else
            values.erase(row.id);
    }
}

}  // namespace JanitzaRegisterMap
}  // namespace metercore
