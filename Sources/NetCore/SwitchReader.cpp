#include "NetCore/SwitchReader.hpp"

#include <algorithm>
#include <utility>

#include "Base/Text.hpp"
#include "NetCore/SNMPColumn.hpp"
#include "NetCore/SwitchExtras.hpp"
#include "NetCore/SwitchMakers.hpp"
#include "NetCore/SwitchTemperatures.hpp"

namespace netcore::SwitchReader {

namespace {

// SNMPv2-MIB (RFC 3418), system
constexpr const char *sysDescr = "1.3.6.1.2.1.1.1.0", *sysObjectID = "1.3.6.1.2.1.1.2.0", *sysUpTime = "1.3.6.1.2.1.1.3.0",
                     *sysName = "1.3.6.1.2.1.1.5.0";

// IF-MIB (RFC 2863), ifTable and ifXTable
constexpr const char *ifDescr = "1.3.6.1.2.1.2.2.1.2", *ifType = "1.3.6.1.2.1.2.2.1.3", *ifAdminStatus = "1.3.6.1.2.1.2.2.1.7",
                     *ifOperStatus = "1.3.6.1.2.1.2.2.1.8", *ifInErrors = "1.3.6.1.2.1.2.2.1.14",
                     *ifName = "1.3.6.1.2.1.31.1.1.1.1", *ifHCInOctets = "1.3.6.1.2.1.31.1.1.1.6",
                     *ifHCOutOctets = "1.3.6.1.2.1.31.1.1.1.10", *ifHighSpeed = "1.3.6.1.2.1.31.1.1.1.15",
                     *ifAlias = "1.3.6.1.2.1.31.1.1.1.18";
constexpr double ethernetCsmacd = 6, operUp = 1, adminDown = 2;

// ENTITY-MIB (RFC 6933), entPhysicalTable
constexpr const char *physicalFirmware = "1.3.6.1.2.1.47.1.1.1.1.9", *physicalSoftware = "1.3.6.1.2.1.47.1.1.1.1.10",
                     *physicalSerial = "1.3.6.1.2.1.47.1.1.1.1.11";

// POWER-ETHERNET-MIB (RFC 3621)
constexpr const char *pseDetection = "1.3.6.1.2.1.105.1.1.1.6", *pseNominalPower = "1.3.6.1.2.1.105.1.3.1.1.2",
                     *pseConsumption = "1.3.6.1.2.1.105.1.3.1.1.4";
constexpr double deliveringPower = 3;

// LLDP-MIB (IEEE 802.1AB-2005): indexed by time mark, local port number and remote index
constexpr const char* lldpRemSysName = "1.0.8802.1.1.2.1.4.1.1.9";

std::uint64_t countAt(const SNMPColumn& values, std::int64_t index) {
    const auto* value = valueAt(values, index);
    return value == nullptr ? 0 : value->count().value_or(0);
}

MakerSigns readSystem(const SNMPTarget& client, SwitchStatus& status) {
    const auto values = client.get({sysDescr, sysObjectID, sysUpTime, sysName});
    constexpr double ticksPerSecond = 100;
    status.description = textAt(values, sysDescr).value_or("");
    status.name = textAt(values, sysName).value_or("");
    status.uptime = numberAt(values, sysUpTime).value_or(0) / ticksPerSecond;
    const auto makers = makerSigns(textAt(values, sysObjectID).value_or(""), status.description);
    status.vendor = vendorName(makers);
    return makers;
}

void readPorts(const SNMPTarget& client, SwitchStatus& status) {
    const auto types = columnIfAnswered(client, ifType);
    const auto descriptions = column(client, ifDescr), names = column(client, ifName), aliases = column(client, ifAlias);
    const auto operation = columnIfAnswered(client, ifOperStatus);
    const auto administration = column(client, ifAdminStatus), speeds = column(client, ifHighSpeed);
    const auto in = columnIfAnswered(client, ifHCInOctets), out = columnIfAnswered(client, ifHCOutOctets);
    const auto errors = column(client, ifInErrors);
    status.portsAnswered = types.has_value();
    status.portStatesAnswered = operation.has_value();
    status.countersAnswered = in && out;
    const SNMPColumn none;
    for (const auto& [index, type] : types ? *types : none) {
        // An ifIndex is an Integer32.
        if (type.number() != ethernetCsmacd || !std::in_range<int>(index)) continue;
        auto name = textAt(names, index);
        if (!name) name = textAt(descriptions, index);
        status.ports.push_back({.index = static_cast<int>(index),
                                .name = name.value_or("Port " + std::to_string(index)),
                                .alias = textAt(aliases, index).value_or(""),
                                .up = operation && numberAt(*operation, index) == operUp,
                                .adminUp = numberAt(administration, index) != adminDown,
                                .speedMbit = clampedInt(numberAt(speeds, index)),
                                .inOctets = in ? countAt(*in, index) : 0,
                                .outOctets = out ? countAt(*out, index) : 0,
                                .errors = countAt(errors, index),
                                .poeDelivering = {},
                                .neighbor = {}});
    }
}

std::string firstUsable(std::initializer_list<const SNMPColumn*> columns) {
    for (const auto* values : columns)
        for (const auto& [index, value] : *values)
            if (auto text = value.text(); !text.empty() && text != "–") return text;
    return "";
}

void readInventory(const SNMPTarget& client, SwitchStatus& status) {
    const auto software = column(client, physicalSoftware), firmware = column(client, physicalFirmware);
    const auto serials = column(client, physicalSerial);
    status.software = firstUsable({&software, &firmware});
    status.serial = firstUsable({&serials});
}

double sum(const SNMPColumn& values) {
    double total = 0;
    for (const auto& [index, value] : values) total += value.number().value_or(0);
    return total;
}

void readPoE(const SNMPTarget& client, SwitchStatus& status) {
    const auto nominal = column(client, pseNominalPower), consumption = column(client, pseConsumption);
    if (nominal.empty()) return;
    status.poeBudgetW = sum(nominal);
    status.poeUsedW = sum(consumption);
    const auto detection = column(client, pseDetection);
    std::int64_t number = 0;
    for (auto& port : status.ports) {
        ++number;
        // Many switches number their PoE ports from 1, whatever their ifIndex.
        const auto* state = valueAt(detection, port.index);
        if (state == nullptr) state = valueAt(detection, number);
        if (state != nullptr) port.poeDelivering = state->number() == deliveringPower;
    }
}

SwitchStatus::Port* portOf(std::vector<SwitchStatus::Port>& ports, long long number) {
    const auto found = std::ranges::find(ports, number, &SwitchStatus::Port::index);
    if (found != ports.end()) return &*found;
    if (number < 1 || number > std::ssize(ports)) return nullptr;
    return &ports[static_cast<std::size_t>(number - 1)];
}

void readNeighbors(const SNMPTarget& client, SwitchStatus& status) {
    const auto prefix = std::string(lldpRemSysName) + ".";
    for (const auto& [oid, name] : rowsOrNone(client, lldpRemSysName)) {
        if (!oid.starts_with(prefix)) continue;
        const auto index = base::split(std::string_view(oid).substr(prefix.size()), '.', false);
        const auto number = index.size() < 2 ? std::nullopt : base::parseInteger(index[1]);
        auto* const port = number ? portOf(status.ports, *number) : nullptr;
        if (port != nullptr) port->neighbor = name.text();
    }
}

}  // namespace

SwitchStatus read(const SNMPTarget& client, const std::vector<ExtraOID>& extra, const base::Clock& clock) {
    SwitchStatus status;
    status.time = clock.moment();
    const auto makers = readSystem(client, status);
    readPorts(client, status);
    readTemperatures(client, makers, status);
    if (makers.ciscoBusiness) readCiscoBusiness(client, status);
    readBoxServices(client, makers, status);
    if (makers.luminex) readLuminex(client, status);
    readInventory(client, status);
    readExtras(client, extra, status);
    std::ranges::sort(status.temperatures, {}, &SwitchStatus::Sensor::name);
    readPoE(client, status);
    readNeighbors(client, status);
    return status;
}

}  // namespace netcore::SwitchReader
