#include "NetCore/SwitchExtras.hpp"

#include <algorithm>
#include <optional>

#include "Base/NumberText.hpp"
#include "Base/Text.hpp"
#include "NetCore/BER.hpp"
#include "NetCore/SNMPColumn.hpp"
#include "NetCore/SwitchTemperatures.hpp"

namespace netcore::SwitchReader {

namespace {

constexpr std::string_view times = "×";
constexpr std::size_t fewestArcs = 4;
constexpr int mostDecimals = 2;

std::string replaced(std::string_view text, std::string_view what, std::string_view with) {
    std::string result;
    for (;;) {
        const auto at = text.find(what);
        result += text.substr(0, at);
        if (at == std::string_view::npos) return result;
        result += with;
        text.remove_prefix(at + what.size());
    }
}

double factorOf(std::string_view text) { return base::parseDouble(replaced(text, ",", ".")).value_or(1); }

std::optional<ExtraOID> parseLine(std::string_view line) {
    const auto equals = line.find('=');
    if (equals == std::string_view::npos) return std::nullopt;
    // One byte that stands for "×" as well: what separates is a single character then.
    const auto value = replaced(base::trimmedBlanks(line.substr(equals + 1)), times, "*");
    const auto pieces = base::split(value, '*', false);
    if (pieces.empty()) return std::nullopt;
    auto oid = base::trimmedBlanks(pieces[0]);
    if (oid.starts_with('.')) oid.remove_prefix(1);
    if (base::split(oid, '.', false).size() < fewestArcs || !BER::canEncodeOID(oid)) return std::nullopt;
    return ExtraOID{.name = std::string(base::trimmedBlanks(line.substr(0, equals))),
                    .oid = std::string(oid),
                    .factor = pieces.size() > 1 ? factorOf(base::trimmedBlanks(pieces[1])) : 1};
}

// As few decimals as say the same as two.
std::string shortDecimal(double value) {
    const auto digits = base::formatDecimal(value, mostDecimals, "en_US");
    int decimals = mostDecimals;
    for (auto digit = digits.rbegin(); decimals > 0 && digit != digits.rend() && *digit == '0'; ++digit) --decimals;
    return base::formatDecimal(value, decimals);
}

}  // namespace

std::vector<ExtraOID> ExtraOID::parse(std::string_view text) {
    std::vector<ExtraOID> all;
    const auto lines = replaced(text, "\r", "\n");
    for (const auto line : base::split(lines, '\n', false))
        if (auto extra = parseLine(line)) all.push_back(std::move(*extra));
    return all;
}

void readExtras(const SNMPTarget& client, const std::vector<ExtraOID>& extra, SwitchStatus& status) {
    if (extra.empty()) return;
    std::vector<std::string> oids;
    for (const auto& entry : extra) oids.push_back(entry.oid);
    const auto values = valuesOrNone(client, oids);
    for (const auto& [name, oid, factor] : extra) {
        const auto* value = valueAt(values, oid);
        if (value == nullptr) continue;
        const auto number = value->number();
        if (!number) {
            status.custom.push_back({.name = name, .value = value->text()});
            continue;
        }
        const double result = *number * factor;
        status.custom.push_back({.name = name, .value = shortDecimal(result)});
        if (base::lowerASCII(name).find("temp") != std::string::npos) addSensor(status, name, result);
    }
}

}  // namespace netcore::SwitchReader
