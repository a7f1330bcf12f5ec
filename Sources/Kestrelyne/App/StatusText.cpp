#include "Kestrelyne/App/StatusText.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/Presentation/MeterTexts.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

std::string textOr(const JSON& object, const char* key, const std::string& otherwise) {
    const auto* value = object.is_object() ? base::member(object, key) : nullptr;
    return value && value->is_string() ? value->get<std::string>() : otherwise;
}
double numberOr(const JSON& object, const char* key, double otherwise) {
    const auto* value = object.is_object() ? base::member(object, key) : nullptr;
    return value && value->is_number() ? value->get<double>() : otherwise;
}
bool isTrue(const JSON& object, const char* key) {
    const auto* value = object.is_object() ? base::member(object, key) : nullptr;
    return value && *value == true;
}
const JSON& part(const JSON& object, const char* key) {
    static const JSON nothing;
    const auto* value = object.is_object() ? base::member(object, key) : nullptr;
    return value ? *value : nothing;
}
std::vector<std::string> texts(const JSON& list) {
    std::vector<std::string> result;
    if (list.is_array())
        for (const auto& item : list)
            if (item.is_string()) result.push_back(item);
    return result;
}

std::size_t characters(std::string_view text) {
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

/// A caption with its lines beside it, "–" when there are none.
std::string block(std::string_view caption, const std::vector<std::string>& lines) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& line : lines) rows.push_back({rows.empty() ? std::string(caption) : "", line});
    if (rows.empty()) rows.push_back({std::string(caption), "–"});
    // One width for all captions, so that the blocks stand in line.
    constexpr std::size_t captionWidth = 13;
    for (auto& row : rows) row[0].append(captionWidth - std::min(captionWidth, characters(row[0])), ' ');
    return alignedTable(rows, "");
}

std::string alarmLine(const JSON& meter) {
    std::string line;
    if (const auto& alarms = part(meter, "alarms"); alarms.is_array())
        for (const auto& alarm : alarms) line += (line.empty() ? "" : "; ") + textOr(alarm, "text", "");
    return line.empty() ? "–" : line;
}

std::string meterTable(const JSON& meters) {
    if (!meters.is_array() || meters.empty()) return block("Messgeräte", {});
    std::vector<std::vector<std::string>> rows = {{"Messgerät", "Zustand", "letzter Wert", "Alarme"}};
    for (const auto& meter : meters) {
        const double age = numberOr(meter, "age", -1);
        rows.push_back({textOr(meter, "name", ""), textOr(meter, "status", ""), age < 0 ? "–" : ageText(base::Seconds(age)),
                        alarmLine(meter)});
    }
    return "\n" + alignedTable(rows, "") + "\n";
}

std::string onOff(bool on) { return on ? "ein" : "aus"; }

std::string tailscaleLine(const JSON& tailscale) {
    if (!isTrue(tailscale, "installed")) return "nicht installiert";
    std::string line = isTrue(tailscale, "online") ? "verbunden" : "nicht verbunden";
    if (const auto name = textOr(tailscale, "dnsName", ""); !name.empty()) line += ", " + name;
    return line + ", HTTPS " + onOff(isTrue(tailscale, "serveHTTPS"));
}

}  // namespace

std::string alignedTable(const std::vector<std::vector<std::string>>& rows, std::string_view indent) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], characters(row[i]));
    }
    std::string lines;
    for (const auto& row : rows) {
        std::string line(indent);
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) line.append(widths[i] - characters(row[i]) + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines += line + "\n";
    }
    return lines;
}

std::string statusReport(const nlohmann::json& status, base::WallTime now) {
    const auto started = base::wallTimeSince1970(numberOr(status, "startedAt", 0)).value_or(now);
    const auto& web = part(status, "web");
    std::string report = fmt::format("Kestrelyne {}, Prozess {:.0f}, läuft seit {} ({})\n", textOr(status, "version", "?"),
                                     numberOr(status, "pid", 0), base::formatLocal(started, "%d.%m.%Y %H:%M:%S"),
                                     ageText(std::max(base::Seconds(now - started), base::Seconds(0))));
    const bool enabled = isTrue(web, "enabled");
    auto addresses = texts(part(web, "urls"));
    if (!enabled) addresses = {"aus"};
    if (enabled && !isTrue(web, "running")) addresses.insert(addresses.begin(), "eingeschaltet, aber nicht erreichbar:");
    report += block("Web-App", addresses);
    const auto client = textOr(web, "lastClient", "");
    report +=
        block("Anfragen", {fmt::format("{:.0f}{}", numberOr(web, "requests", 0), client.empty() ? "" : ", zuletzt von " + client)});
    report += meterTable(part(status, "meters"));
    report += block("Aktive Alarme", {fmt::format("{:.0f}", numberOr(status, "activeAlarms", 0))});
    report += block("Fehler", texts(part(status, "errors")));
    return report;
}

std::string webReport(const nlohmann::json& state) {
    const auto& fields = part(state, "fields");
    std::vector<std::vector<std::string>> rows;
    for (const auto* name : {"enabled", "port", "allowLAN", "publicURL", "control", "pin", "pushSubject"}) {
        const auto& value = part(fields, name);
        const auto text = value.is_string() ? value.get<std::string>() : base::dump(value);
        rows.push_back({name, text.empty() ? "–" : text});
    }
    auto report = alignedTable(rows, "") + "\n" + block("Adressen", texts(part(state, "urls")));
    report += block("Tailscale", {tailscaleLine(part(state, "tailscale"))});
    if (const auto errors = texts(part(state, "errors")); !errors.empty()) report += block("Fehler", errors);
    return report;
}

}  // namespace kestrelyne
