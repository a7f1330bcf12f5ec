#include "Kestrelyne/App/RDMText.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>
#include <cmath>
#include <optional>
#include <vector>

#include "Base/JSONFields.hpp"
#include "Base/NumberText.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/App/AnswerText.hpp"

namespace kestrelyne {

namespace {

using base::JSON;
using namespace answer;
using Rows = std::vector<std::vector<std::string>>;

const std::string nothing = "–";

std::string orDash(std::string text) { return text.empty() ? nothing : text; }

const JSON& listOf(const JSON& answer, const char* key) {
    static const JSON none = JSON::array();
    const auto& list = part(answer, key);
    return list.is_array() ? list : none;
}

std::string whole(const JSON& object, const char* key) {
    const auto& value = part(object, key);
    return value.is_number() ? fmt::format("{:.0f}", value.get<double>()) : nothing;
}

// Without decimals where there are none.
std::string measured(const JSON& value, const std::string& unit) {
    if (!value.is_number()) return nothing;
    const auto number = value.get<double>();
    return base::formatDecimal(number, number == std::floor(number) ? 0 : 1) + (unit.empty() ? "" : " " + unit);
}

// "2 von 5"
std::string modeText(const JSON& info) {
    return info.is_object() ? whole(info, "personality") + " von " + whole(info, "personalityCount") : nothing;
}

// A device without slots has no address (ANSI E1.20, 10.6.3).
std::string addressText(const JSON& info) {
    constexpr double none = 65535;
    return numberOr(info, "startAddress", none) == none ? nothing : whole(info, "startAddress");
}

std::string makerAndModel(const JSON& device) {
    const auto both = textOr(device, "manufacturer", "") + " " + textOr(device, "model", "");
    return orDash(std::string(base::trimmedBlanks(both)));
}

std::string stateText(const JSON& device) {
    if (!isTrue(device, "responding")) return "antwortet nicht";
    return isTrue(device, "identifying") ? "Identify" : "ok";
}

std::string timeText(const JSON& seconds) {
    const auto date = seconds.is_number() ? base::wallTimeSince1970(seconds.get<double>()) : std::nullopt;
    return date ? base::formatLocal(*date, "%d.%m.%Y %H:%M:%S") : nothing;
}

// ANSI E1.20, table A-8
std::string lampText(const JSON& state) {
    constexpr std::array<const char*, 5> states{"aus", "an", "zündet", "Bereitschaft", "nicht vorhanden"};
    if (!state.is_number()) return nothing;
    const auto number = state.get<double>();
    return number >= 0 && number < states.size() ? states[static_cast<std::size_t>(number)] : fmt::format("{:.0f}", number);
}

std::string yesNo(const JSON& value) {
    if (!value.is_boolean()) return nothing;
    return value.get<bool>() ? "ja" : "nein";
}

std::string sensorText(const JSON& sensor) {
    const auto unit = textOr(sensor, "unit", "");
    const auto& limit = part(sensor, "max");
    return measured(part(sensor, "value"), unit) + (limit.is_number() ? " (Grenze " + measured(limit, unit) + ")" : "");
}

std::string personalityText(const JSON& personality) {
    return fmt::format("{}: {}, {} Kanäle", whole(personality, "number"), orDash(textOr(personality, "name", "")),
                       whole(personality, "footprint"));
}

}  // namespace

std::string rdmTable(const JSON& answer) {
    std::string text = fmt::format("Letzter Scan: {}; Schreiben {}\n", timeText(part(answer, "lastScan")),
                                   isTrue(answer, "writeEnabled") ? "erlaubt" : "gesperrt");
    if (const auto progress = textOr(answer, "progress", ""); !progress.empty()) text += base::printable(progress) + "\n";
    if (const auto result = textOr(answer, "lastWriteResult", ""); !result.empty())
        text += "Zuletzt geschrieben: " + base::printable(result) + "\n";
    Rows rows = {{"UID", "Name", "Gerät", "Node", "Universum", "Adresse", "Kanäle", "Modus", "Temp.", "Stunden", "Zustand"}};
    for (const auto& device : listOf(answer, "devices")) {
        const auto& info = part(device, "info");
        rows.push_back({textOr(device, "uid", nothing), orDash(textOr(device, "name", "")), makerAndModel(device),
                        orDash(textOr(device, "nodeName", "")), orDash(textOr(device, "universeLabel", "")), addressText(info),
                        whole(info, "footprint"), modeText(info), measured(part(device, "temp"), "°C"),
                        whole(device, "deviceHours"), stateText(device)});
    }
    return text + (rows.size() < 2 ? "Keine RDM-Geräte.\n" : alignedTable(rows, ""));
}

std::string rdmSensorTable(const JSON& answer) {
    Rows rows = {{"UID", "Name", "Sensor", "Wert", "Grenze", "Zustand"}};
    for (const auto& device : listOf(answer, "devices"))
        for (const auto& sensor : listOf(device, "sensors")) {
            const auto unit = textOr(sensor, "unit", "");
            rows.push_back({textOr(device, "uid", nothing), orDash(textOr(device, "name", "")), orDash(textOr(sensor, "name", "")),
                            measured(part(sensor, "value"), unit), measured(part(sensor, "max"), unit), stateText(device)});
        }
    return rows.size() < 2 ? "Keine Sensoren.\n" : alignedTable(rows, "");
}

std::string rdmDeviceReport(const JSON& answer) {
    const auto& device = part(answer, "device");
    if (!device.is_object()) return "";
    const auto& info = part(device, "info");
    Rows rows = {{"UID", textOr(device, "uid", nothing)},
                 {"Name", orDash(textOr(device, "label", ""))},
                 {"Gerät", makerAndModel(device)},
                 {"Software", orDash(textOr(device, "software", ""))},
                 {"Node", orDash(textOr(device, "nodeName", "")) + " (" + orDash(textOr(device, "nodeIP", "")) + ")"},
                 {"Universum", orDash(textOr(device, "universeLabel", ""))},
                 {"DMX-Adresse", addressText(info)},
                 {"Kanäle", whole(info, "footprint")},
                 {"Modus", modeText(info)},
                 {"Betriebsstunden", whole(device, "deviceHours")},
                 {"Lampenstunden", whole(device, "lampHours")},
                 {"Lampe", lampText(part(device, "lampState"))},
                 {"Werkseinstellungen", yesNo(part(device, "atFactoryDefaults"))},
                 {"Zustand", stateText(device)},
                 {"Gelesen", timeText(part(device, "lastUpdate"))}};
    const char* caption = "Modi";
    for (const auto& personality : listOf(device, "personalities"))
        rows.push_back({std::exchange(caption, ""), personalityText(personality)});
    for (const auto& sensor : listOf(device, "sensors")) rows.push_back({textOr(sensor, "name", nothing), sensorText(sensor)});
    return alignedTable(rows, "");
}

std::string rdmPlanTable(const JSON& answer) {
    Rows rows = {{"UID", "Name", "Von", "Bis", ""}};
    for (const auto& placing : listOf(answer, "plan"))
        rows.push_back({textOr(placing, "uid", nothing), orDash(textOr(placing, "name", "")), whole(placing, "first"),
                        whole(placing, "last"), isTrue(placing, "fits") ? "" : "passt nicht mehr ins Universum"});
    return alignedTable(rows, "");
}

std::string rdmOverlapLine(const JSON& answer) {
    const auto names = texts(part(answer, "overlaps"));
    return names.empty() ? "" : base::printable(fmt::format("Überschneidung mit {}", fmt::join(names, ", ")));
}

}  // namespace kestrelyne
