#include "Base/NumberText.hpp"

#include <unicode/numberformatter.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <optional>

namespace base {

namespace {

constexpr int mostDecimals = 9;

icu::number::LocalizedNumberFormatter formatter(const char* locale, int decimals) {
    return icu::number::NumberFormatter::withLocale(icu::Locale(locale))
        .grouping(UNUM_GROUPING_OFF)
        .precision(icu::number::Precision::fixedFraction(std::clamp(decimals, 0, mostDecimals)));
}

std::string localeFromEnvironment() {
    for (const char* variable : {"LC_ALL", "LC_NUMERIC", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value == nullptr || *value == '\0') continue;
        const std::string text = value;
        const auto name = text.substr(0, text.find_first_of(".@"));
        if (!name.empty() && name != "C" && name != "POSIX") return name;
        break;
    }
    return "de_DE";
}

std::string format(const icu::number::LocalizedNumberFormatter& formatter, double value) {
    UErrorCode status = U_ZERO_ERROR;
    std::string text;
    const auto formatted = formatter.formatDouble(value, status).toString(status);
    if (U_FAILURE(status)) return "–";
    formatted.toUTF8String(text);
    return text;
}

}  // namespace

const std::string& userLocale() {
    static const std::string locale = localeFromEnvironment();
    return locale;
}

std::string formatDecimal(double value, int decimals) {
    if (!std::isfinite(value)) return "–";
    static const auto formatters = [] {
        std::array<std::optional<icu::number::LocalizedNumberFormatter>, mostDecimals + 1> all;
        for (int digits = 0; digits <= mostDecimals; ++digits)
            all[static_cast<std::size_t>(digits)] = formatter(userLocale().c_str(), digits);
        return all;
    }();
    return format(*formatters[static_cast<std::size_t>(std::clamp(decimals, 0, mostDecimals))], value);
}

std::string formatDecimal(double value, int decimals, const std::string& locale) {
    if (!std::isfinite(value)) return "–";
    return format(formatter(locale.c_str(), decimals), value);
}

}  // namespace base
