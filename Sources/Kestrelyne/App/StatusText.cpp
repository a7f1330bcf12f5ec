#include "Kestrelyne/App/StatusText.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/App/AnswerText.hpp"
#include "Kestrelyne/App/NetworkText.hpp"
#include "Kestrelyne/Presentation/MeterTexts.hpp"

namespace kestrelyne {

namespace {

using base::JSON;
using namespace answer;

std::string alarmLine(const JSON& meter) {
    std::string line;
    if (const auto& alarms = part(meter, "alarms"); alarms.is_array())
        for (const auto& alarm : alarms) line += (line.empty() ? "" : "; ") + textOr(alarm, "text", "");
    return line.empty() ? "–" : line;
}

std::string meterTable(const JSON& meters) {
    if (!meters.is_array() || meters.empty()) return captionedLines("Messgeräte", {});
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
    report += captionedLines("Web-App", addresses);
    const auto client = textOr(web, "lastClient", "");
    report += captionedLines(
        "Anfragen", {fmt::format("{:.0f}{}", numberOr(web, "requests", 0), client.empty() ? "" : ", zuletzt von " + client)});
    report += meterTable(part(status, "meters"));
    if (const auto& network = part(status, "network"); network.is_object()) report += captionedLines("Netz", networkLines(network));
    report += captionedLines("Aktive Alarme", {fmt::format("{:.0f}", numberOr(status, "activeAlarms", 0))});
    report += captionedLines("Fehler", texts(part(status, "errors")));
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
    auto report = alignedTable(rows, "") + "\n" + captionedLines("Adressen", texts(part(state, "urls")));
    report += captionedLines("Tailscale", {tailscaleLine(part(state, "tailscale"))});
    if (const auto errors = texts(part(state, "errors")); !errors.empty()) report += captionedLines("Fehler", errors);
    return report;
}

}  // namespace kestrelyne
