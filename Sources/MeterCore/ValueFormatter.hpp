#pragma once
// Measured values as people read them: scaled, with as many decimals as make sense, in the user's locale.

#include <optional>
#include <string>
#include <string_view>

#include "MeterCore/MeasuredValue.hpp"

namespace metercore {

struct FormattedValue {
    std::string text;
    std::string unit;  // with its prefix; may be empty
    bool operator==(const FormattedValue&) const = default;
};

/// Pure but for the user's locale; any thread. What is absent or not finite reads "–".
namespace ValueFormatter {

/// Number and unit apart. The channel matters for "Drehfeld" alone, which reads "rechts", "links" or "keins".
FormattedValue format(std::optional<double> value, MeasureUnit unit, std::string_view channel = {});
/// The same as one text: "1,500 kW".
std::string string(std::optional<double> value, MeasureUnit unit, std::string_view channel = {});
/// A counter in thousands or millions of its unit, whatever its size: 500 of "Wh" is "0,5 kWh".
std::string energy(double value, std::string_view unit);

}  // namespace ValueFormatter
}  // namespace metercore
