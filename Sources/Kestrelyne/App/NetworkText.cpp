#include "Kestrelyne/App/NetworkText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "Base/JSONFields.hpp"
#include "Base/NumberText.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/App/AnswerText.hpp"
#include "Kestrelyne/Network/WholeNumber.hpp"

namespace kestrelyne {

namespace {

using base::JSON;
using namespace answer;
using Rows = std::vector<std::vector<std::string>>;

const std::string nothing = "–";

std::string orDash(std::string text) { return text.empty() ? nothing : text; }
std::string yesNo(bool yes) { return yes ? "ja" : "nein"; }

// "1 Universum", "3 Universen"
std::string counted(double count, std::string_view one, std::string_view many) {
    return fmt::format("{:.0f} {}", count, count == 1 ? one : many);
}

const JSON& listOf(const JSON& answer, const char* key) {
    static const JSON none = JSON::array();
    const auto& list = part(answer, key);
    return list.is_array() ? list : none;
}

std::string table(const Rows& rows, const std::string& whenEmpty) {
    return rows.size() < 2 ? whenEmpty + "\n" : alignedTable(rows, "");
}

std::string joined(const std::vector<std::string>& texts) { return fmt::format("{}", fmt::join(texts, ", ")); }

std::string deviceWord(const JSON& device) {
    if (isTrue(device, "online")) return "online";
    if (part(device, "online").is_null()) return nothing;
    const auto seconds = numberOr(device, "offlineFor", -1);
    return seconds < 0 ? "offline" : fmt::format("offline seit {:.0f} s", std::floor(seconds));
}

std::string latencyText(const JSON& device) {
    const auto& latency = part(device, "latency");
    return latency.is_number() ? base::formatDecimal(latency.get<double>() * 1000, 1) + " ms" : nothing;
}

std::string universeWord(const std::string& status) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 3> words = {
        {{"conflict", "KONFLIKT"}, {"ok", "ok"}, {"lost", "verloren"}}};
    for (const auto& [word, german] : words)
        if (word == status) return std::string(german);
    return nothing;
}

// Who listens may be many; the first ones tell enough.
std::string receiversText(const JSON& universe) {
    constexpr std::size_t shown = 3;
    auto receivers = texts(part(universe, "receivers"));
    if (receivers.size() <= shown) return orDash(joined(receivers));
    const auto count = receivers.size();
    receivers.resize(shown);
    return fmt::format("{} … ({})", joined(receivers), count);
}

std::string senderText(const JSON& sender) {
    const auto name = textOr(sender, "name", ""), ip = textOr(sender, "ip", "");
    const auto both = name.empty() || name == ip ? ip : name + " (" + ip + ")";
    return isTrue(sender, "active") ? both : both + " – verloren";
}

void addUniverse(Rows& rows, const JSON& universe) {
    std::vector<std::string> front = {textOr(universe, "proto", "") + " " + textOr(universe, "label", ""),
                                      universeWord(textOr(universe, "status", ""))};
    const auto receivers = receiversText(universe);
    const auto& senders = listOf(universe, "senders");
    if (senders.empty()) rows.push_back({front[0], front[1], nothing, nothing, nothing, nothing, receivers});
    for (const auto& sender : senders) {
        const auto& priority = part(sender, "priority");
        const bool first = &sender == &senders.front();
        rows.push_back({front[0], front[1], senderText(sender), base::formatDecimal(numberOr(sender, "fps", 0), 1) + "/s",
                        priority.is_number() ? fmt::format("{:.0f}", priority.get<double>()) : nothing,
                        orDash(textOr(sender, "interface", "")), first ? receivers : ""});
        front = {"", ""};
    }
}

std::string sinceText(const std::string& seconds) {
    const auto number = base::parseDouble(seconds);
    const auto date = number ? base::wallTimeSince1970(*number) : std::nullopt;
    return date ? base::formatLocal(*date, "%d.%m.%Y %H:%M") : orDash(seconds);
}

std::string whole(const JSON& object, const char* name, const char* unit) {
    const auto* value = base::member(object, name);
    return value != nullptr && value->is_number() ? wholeNumber(value->get<double>()) + unit : std::string();
}

// "26 von 28 Ports, 46 °C", "Netzbetrieb, 100 %, 42 min", or why there is nothing.
std::string readingText(const JSON& device) {
    if (auto error = textOr(device, "snmpError", ""); !error.empty()) return error;
    const auto& ups = part(device, "ups");
    const auto& ports = part(device, "ports");
    std::vector<std::string> facts;
    if (ups.is_object())
        facts = {textOr(ups, "source", ""), whole(ups, "charge", " %"), whole(ups, "runtime", " min")};
    else if (ports.is_object())
        facts = {whole(ports, "up", "") + " von " + whole(ports, "total", " Ports"), whole(device, "temp", " °C")};
    std::erase(facts, "");
    return orDash(joined(facts));
}

std::size_t lineEnd(std::string_view text) { return std::min(text.find('\n'), text.size()); }

}  // namespace

std::vector<std::string> networkLines(const JSON& network) {
    const auto& devices = part(network, "devices");
    std::vector<std::string> lines = {isTrue(network, "running")
                                          ? fmt::format("läuft, {}, {}, {:.0f} von {} online",
                                                        counted(numberOr(network, "universes", 0), "Universum", "Universen"),
                                                        counted(numberOr(network, "nodes", 0), "Node", "Nodes"),
                                                        numberOr(devices, "online", 0),
                                                        counted(numberOr(devices, "total", 0), "Gerät", "Geräten"))
                                          : std::string("Überwachung aus")};
    for (const auto& problem : listOf(network, "problems")) lines.push_back(textOr(problem, "text", ""));
    if (const auto dropped = numberOr(network, "dropped", 0); dropped > 0)
        lines.push_back(counted(dropped, "Paket", "Pakete") + " im eigenen Puffer verloren (kein Verlust im Netz)");
    for (auto& error : texts(part(network, "errors"))) lines.push_back(std::move(error));
    return lines;
}

std::string monitorReport(const JSON& network) {
    std::vector<std::string> problems;
    for (const auto& problem : listOf(network, "problems")) problems.push_back(textOr(problem, "text", ""));
    const auto& devices = part(network, "devices");
    const auto conflicts = numberOr(network, "conflicts", 0);
    auto report = captionedLines("Überwachung", {std::string(isTrue(network, "running") ? "läuft" : "aus") +
                                                 (isTrue(network, "autoStart") ? ", beginnt mit dem Programm" : "")});
    report += captionedLines("Adapter", texts(part(network, "adapters")));
    report += captionedLines("Universen", {fmt::format("{:.0f}", numberOr(network, "universes", 0)) +
                                           (conflicts > 0 ? ", " + counted(conflicts, "Konflikt", "Konflikte") : "")});
    report += captionedLines("Nodes", {fmt::format("{:.0f}", numberOr(network, "nodes", 0))});
    report += captionedLines(
        "Geräte", {fmt::format("{:.0f} von {:.0f} online", numberOr(devices, "online", 0), numberOr(devices, "total", 0))});
    report += captionedLines("Probleme", problems);
    report += captionedLines("Verloren", {counted(numberOr(network, "dropped", 0), "Paket", "Pakete") + " im eigenen Puffer"});
    if (const auto refused = numberOr(network, "refused", 0); refused > 0)
        report += captionedLines("Verworfen", {fmt::format("{:.0f}, über den Grenzen des Speichers", refused)});
    return report + captionedLines("Fehler", texts(part(network, "errors")));
}

std::string fieldTable(const JSON& answer) {
    Rows rows;
    for (const auto& field : listOf(answer, "fields"))
        rows.push_back({textOr(field, "name", ""), orDash(textOr(field, "value", ""))});
    return alignedTable(rows, "");
}

std::string knownTable(const JSON& answer) {
    Rows rows = {{"MAC-Adresse", "übernommen"}};
    for (const auto& known : listOf(answer, "known"))
        rows.push_back({textOr(known, "mac", ""), sinceText(textOr(known, "since", ""))});
    return table(rows, "Keine Referenz bekannter Geräte.");
}

std::string deviceTable(const JSON& answer) {
    Rows rows = {{"Name", "Adresse", "Rolle", "Zustand", "Antwort", "Alarm", "SNMP", "Messung", "Kennung"}};
    for (const auto& device : listOf(answer, "devices"))
        rows.push_back({textOr(device, "name", ""), textOr(device, "ip", ""), textOr(device, "roleLabel", ""), deviceWord(device),
                        latencyText(device), yesNo(isTrue(device, "alarmOnOffline")), yesNo(isTrue(device, "snmp")),
                        readingText(device), textOr(device, "id", "")});
    return table(rows, "Keine Geräte.");
}

std::string versionTable(const JSON& answer) {
    Rows rows = {{"Gerät", "Adresse", "Quelle", "Version"}};
    for (const auto& info : listOf(answer, "versions"))
        rows.push_back({orDash(textOr(info, "device", "")), orDash(textOr(info, "ip", "")), textOr(info, "source", ""),
                        textOr(info, "version", "")});
    return table(rows, "Niemand nennt eine Version.");
}

std::string adapterTable(const JSON& answer) {
    Rows rows = {{"Gerät", "Name", "Adresse", "Netz", "benutzt", "Aufgabe"}};
    for (const auto& adapter : listOf(answer, "adapters")) {
        const auto name = textOr(adapter, "displayName", ""), label = textOr(adapter, "label", "");
        rows.push_back({textOr(adapter, "name", ""), label.empty() || label == name ? name : label + " (" + name + ")",
                        textOr(adapter, "address", ""), textOr(adapter, "subnet", ""), yesNo(isTrue(adapter, "used")),
                        textOr(adapter, "role", "")});
    }
    return table(rows, "Keine Adapter mit IPv4-Adresse.");
}

std::string universeReport(const JSON& answer, base::WallTime now) {
    const auto& universes = listOf(answer, "universes");
    Rows rows = {{"Universum", "Zustand", "Sender", "Rate", "Prio", "Adapter", "Empfänger"}};
    std::size_t conflicts = 0;
    for (const auto& universe : universes) {
        addUniverse(rows, universe);
        if (textOr(universe, "status", "") == "conflict") ++conflicts;
    }
    auto head =
        base::formatLocal(now, "%H:%M:%S") + "  " + counted(static_cast<double>(universes.size()), "Universum", "Universen");
    if (conflicts > 0) head += ", " + counted(static_cast<double>(conflicts), "Konflikt", "Konflikte");
    if (!isTrue(answer, "running")) head += " – die Überwachung ist aus, das ist ihr letztes Bild";
    return head + "\n" + (rows.size() < 2 ? "" : alignedTable(rows, ""));
}

std::string deviceName(const JSON& device) {
    return base::printable("„" + textOr(device, "name", "") + "“ (" + textOr(device, "ip", "") + ")");
}

std::string fitted(std::string_view text, std::size_t rows, std::size_t columns) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const auto end = lineEnd(text);
        lines.push_back(base::firstCharacters(text.substr(0, end), columns));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (lines.size() > rows && rows > 0) {
        const auto missing = lines.size() - rows + 1;
        lines.resize(rows);
        lines.back() = base::firstCharacters(fmt::format("… {} weitere Zeilen", missing), columns);
    }
    std::string shown;
    for (const auto& line : lines) shown += line + "\n";
    return shown;
}

}  // namespace kestrelyne
