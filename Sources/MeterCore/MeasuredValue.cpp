#include "MeterCore/MeasuredValue.hpp"

namespace metercore {

std::string_view text(MeasureUnit unit) {
    switch (unit) {
        case MeasureUnit::volt: return "V";
        case MeasureUnit::ampere: return "A";
        case MeasureUnit::watt: return "W";
        case MeasureUnit::voltAmpere: return "VA";
        case MeasureUnit::var_: return "var";
        case MeasureUnit::wattHour: return "Wh";
        case MeasureUnit::voltAmpereHour: return "VAh";
        case MeasureUnit::varHour: return "varh";
        case MeasureUnit::hertz: return "Hz";
        case MeasureUnit::percent: return "%";
        case MeasureUnit::none: return "";
    }
    return "";
}

const std::array<MeasureGroup, measureGroupCount> allMeasureGroups = [] {
    std::array<MeasureGroup, measureGroupCount> groups{};
    for (std::size_t i = 0; i < groups.size(); ++i) groups[i] = static_cast<MeasureGroup>(i);
    return groups;
}();
static_assert(static_cast<std::size_t>(MeasureGroup::crest) + 1 == measureGroupCount);

std::string_view text(MeasureGroup group) {
    switch (group) {
        case MeasureGroup::voltageLN: return "Spannung L-N";
        case MeasureGroup::voltageLL: return "Spannung L-L";
        case MeasureGroup::current: return "Strom";
        case MeasureGroup::activePower: return "Wirkleistung";
        case MeasureGroup::reactivePower: return "Blindleistung";
        case MeasureGroup::apparentPower: return "Scheinleistung";
        case MeasureGroup::powerFactor: return "cos φ";
        case MeasureGroup::grid: return "Netz";
        case MeasureGroup::thdU: return "THD Spannung";
        case MeasureGroup::thdI: return "THD Strom";
        case MeasureGroup::energyActive: return "Wirkenergie";
        case MeasureGroup::energyActiveImport: return "Wirkenergie bezogen";
        case MeasureGroup::energyActiveExport: return "Wirkenergie geliefert";
        case MeasureGroup::energyApparent: return "Scheinenergie";
        case MeasureGroup::energyReactive: return "Blindenergie";
        case MeasureGroup::energyReactiveInd: return "Blindenergie induktiv";
        case MeasureGroup::energyReactiveCap: return "Blindenergie kapazitiv";
        case MeasureGroup::symmetryU: return "Symmetrie Spannung";
        case MeasureGroup::symmetryI: return "Symmetrie Strom";
        case MeasureGroup::neutral: return "N-Leiter / Differenzstrom";
        case MeasureGroup::crest: return "Crest-Faktor";
    }
    return "";
}

bool isEnergy(MeasureGroup group) { return group >= MeasureGroup::energyActive && group <= MeasureGroup::energyReactiveCap; }

std::string MeasuredValue::name() const {
    std::string name(text(group));
    if (!channel.empty()) name.append(" ").append(channel);
    return name;
}

}  // namespace metercore
