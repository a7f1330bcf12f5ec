// Reads an agent on 127.0.0.1 as the program does. Prints a line for each row, OID, kind and value apart by blanks, and last the
// figures of the whole; or what the readers make of it, as a line of JSON.
//   SNMPTool PORT COMMUNITY SECONDS walk BASE MOST-ROWS
//   SNMPTool PORT COMMUNITY SECONDS get OID...
//   SNMPTool PORT COMMUNITY SECONDS switch
//   SNMPTool PORT COMMUNITY SECONDS topology

#include <fmt/format.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Text.hpp"
#include "NetCore/SNMPClient.hpp"
#include "NetCore/SwitchReader.hpp"
#include "NetCore/TopologyReader.hpp"

namespace {

using namespace netcore;
using nlohmann::json;

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// In the order of the cases.
constexpr std::string_view kinds[] = {"int", "string", "oid", "ip", "counter", "gauge", "ticks", "null", "nosuch"};

void print(const std::string& oid, const SNMPValue& value) {
    const auto* bytes = std::get_if<SNMPValue::String>(&value.content());
    fmt::print("{} {} {}\n", oid, kinds[value.content().index()], bytes != nullptr ? base::hex(*bytes) : value.text());
}

template <class T>
json orNull(const std::optional<T>& value) {
    return value ? json(*value) : json();
}

json encoded(const SwitchStatus::Port& port) {
    return {{"index", port.index},
            {"name", port.name},
            {"alias", port.alias},
            {"up", port.up},
            {"admin", port.adminUp},
            {"speed", port.speedMbit},
            {"in", port.inOctets},
            {"out", port.outOctets},
            {"errors", port.errors},
            {"poe", orNull(port.poeDelivering)},
            {"neighbor", orNull(port.neighbor)}};
}

json encoded(const SwitchStatus::Sensor& sensor) { return {{"name", sensor.name}, {"celsius", sensor.celsius}}; }

json encoded(const SwitchStatus::Component& component) {
    return {{"name", component.name}, {"ok", component.ok}, {"state", component.state}};
}

json encoded(const SwitchTopology::Neighbor& neighbor) {
    return {{"port", neighbor.port},
            {"name", neighbor.systemName},
            {"portID", neighbor.portID},
            {"chassisMAC", orNull(neighbor.chassisMAC)},
            {"managementIP", orNull(neighbor.managementIP)}};
}

template <class T>
json encoded(const std::vector<T>& list) {
    json all = json::array();
    for (const auto& each : list) all.push_back(encoded(each));
    return all;
}

json encoded(const SwitchStatus& status) {
    return {{"name", status.name},
            {"description", status.description},
            {"uptime", status.uptime},
            {"ports", encoded(status.ports)},
            {"temperatures", encoded(status.temperatures)},
            {"poeBudget", orNull(status.poeBudgetW)},
            {"poeUsed", orNull(status.poeUsedW)},
            {"fans", encoded(status.fans)},
            {"powerSupplies", encoded(status.powerSupplies)},
            {"cpu", orNull(status.cpuPercent)},
            {"vendor", status.vendor},
            {"software", status.software},
            {"serial", status.serial}};
}

json encoded(const SwitchTopology& topology) {
    json counts = json::object();
    for (const auto& [port, count] : topology.macCountPerPort()) counts[std::to_string(port)] = count;
    return {{"macPorts", topology.macPorts},
            {"macCountPerPort", std::move(counts)},
            {"neighbors", encoded(topology.neighbors)},
            {"ownMACs", topology.ownMACs}};
}

std::vector<SNMPRow> rowsOf(const SNMPClient& client, const std::vector<std::string>& oids) {
    std::vector<SNMPRow> rows;
    for (auto& [oid, value] : client.get(oids)) rows.push_back({oid, value});
    return rows;
}

}  // namespace

int main(int count, char** words) {
    if (count < 5) return 2;
    const auto port = static_cast<std::uint16_t>(std::strtoul(words[1], nullptr, 10));
    const SNMPClient client("127.0.0.1", words[2], std::strtod(words[3], nullptr), 0, port);
    const std::string_view verb = words[4];
    const auto begun = std::chrono::steady_clock::now();
    std::vector<SNMPRow> rows;
    try {
        if (verb == "walk" && count == 7) {
            rows = client.walk(words[5], std::atoi(words[6]));
        } else if (verb == "get" && count > 5) {
            rows = rowsOf(client, std::vector<std::string>(words + 5, words + count));
        } else if (verb == "switch" && count == 5) {
            fmt::print("{}\n", encoded(SwitchReader::read(client, {})).dump());
            return 0;
        } else if (verb == "topology" && count == 5) {
            fmt::print("{}\n", encoded(TopologyReader::read(client)).dump());
            return 0;
        } else {
            return 2;
        }
    } catch (const NetError& error) {
        fmt::print(stderr, "{}\n", error.description());
        return 1;
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begun;
    const double cpu = cpuSeconds();
    for (const auto& [oid, value] : rows) print(oid, value);
    fmt::print("rows {} time {:.4f} cpu {:.4f}\n", rows.size(), time.count(), cpu);
}
