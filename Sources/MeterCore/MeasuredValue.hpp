#pragma once
// What a measured value is: its id, its group, its line and its unit.

#include <array>
#include <string>
#include <string_view>

namespace metercore {

enum class MeasureUnit { volt, ampere, watt, voltAmpere, var_, wattHour, voltAmpereHour, varHour, hertz, percent, none };

/// "V", "kWh" without its prefix and so on; empty for `none`.
std::string_view text(MeasureUnit unit);

/// In the order in which screens list them.
enum class MeasureGroup {
    voltageLN,
    voltageLL,
    current,
    activePower,
    reactivePower,
    apparentPower,
    powerFactor,
    grid,
    thdU,
    thdI,
    energyActive,
    energyActiveImport,
    energyActiveExport,
    energyApparent,
    energyReactive,
    energyReactiveInd,
    energyReactiveCap,
    symmetryU,
    symmetryI,
    neutral,
    crest
};

inline constexpr std::size_t measureGroupCount = 21;
/// All groups in their order.
extern const std::array<MeasureGroup, measureGroupCount> allMeasureGroups;

/// The German caption, which is also the group's stored id.
std::string_view text(MeasureGroup group);
/// The seven counters from `energyActive` to `energyReactiveCap`.
bool isEnergy(MeasureGroup group);

/// One row of a register table. The address is the measurement id of the whole program.
struct MeasuredValue {
    int address;
    MeasureGroup group;
    std::string_view channel;  // line or channel caption, may be empty; lives as long as the program
    MeasureUnit unit;

    int id() const { return address; }
    /// Group and channel: "Spannung L-N L1".
    std::string name() const;
};

}  // namespace metercore
