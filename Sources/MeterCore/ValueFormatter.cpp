#include "MeterCore/ValueFormatter.hpp"

#include <cmath>

#include "Base/NumberText.hpp"

namespace metercore {

namespace {

constexpr double thousand = 1e3, million = 1e6;
constexpr const char* noValue = "–";

struct Scaled {
    double value;
    std::string_view prefix;
};

Scaled scale(double value, MeasureUnit unit) {
    const double magnitude = std::abs(value);
    switch (unit) {
        case MeasureUnit::watt:
        case MeasureUnit::voltAmpere:
        case MeasureUnit::var_:
        case MeasureUnit::wattHour:
        case MeasureUnit::voltAmpereHour:
        case MeasureUnit::varHour:
            if (magnitude >= million) return {value / million, "M"};
            if (magnitude >= thousand) return {value / thousand, "k"};
            return {value, ""};
        case MeasureUnit::volt:
            // Mains voltages stay in volts; only medium voltage is read in kilovolts.
            if (magnitude >= 10 * thousand) return {value / thousand, "k"};
            return {value, ""};
        default: return {value, ""};
    }
}

int decimals(double scaled, MeasureUnit unit) {
    const double magnitude = std::abs(scaled);
    switch (unit) {
        case MeasureUnit::hertz:
        case MeasureUnit::none: return 3;
        case MeasureUnit::percent: return 2;
        case MeasureUnit::wattHour:
        case MeasureUnit::voltAmpereHour:
        case MeasureUnit::varHour: return magnitude < 1000 ? 3 : 2;
        default: return magnitude < 10 ? 3 : magnitude < 100 ? 2 : magnitude < 1000 ? 1 : 0;
    }
}

const char* rotationText(double value) {
    const double rounded = std::round(value);
    return rounded == 1 ? "rechts" : rounded == -1 ? "links" : "keins";
}

}  // namespace

FormattedValue ValueFormatter::format(std::optional<double> value, MeasureUnit unit, std::string_view channel) {
    if (!value || !std::isfinite(*value)) return {noValue, std::string(metercore::text(unit))};
    if (channel == "Drehfeld") return {rotationText(*value), ""};
    const auto [scaled, prefix] = scale(*value, unit);
    return {base::formatDecimal(scaled, decimals(scaled, unit)), std::string(prefix).append(metercore::text(unit))};
}

std::string ValueFormatter::string(std::optional<double> value, MeasureUnit unit, std::string_view channel) {
    auto [text, unitText] = format(value, unit, channel);
    if (!unitText.empty()) text.append(" ").append(unitText);
    return text;
}

std::string ValueFormatter::energy(double value, std::string_view unit) {
    if (!std::isfinite(value)) return noValue;
    const double magnitude = std::abs(value);
    if (magnitude >= million) return base::formatDecimal(value / million, 2).append(" M").append(unit);
    return base::formatDecimal(value / thousand, magnitude < 10 * thousand ? 1 : 0).append(" k").append(unit);
}

}  // namespace metercore
