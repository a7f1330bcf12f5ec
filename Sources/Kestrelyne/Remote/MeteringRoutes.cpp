#include "Kestrelyne/Remote/MeteringRoutes.hpp"

#include <array>
#include <cmath>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/Presentation/MeterTexts.hpp"
#include "Kestrelyne/Presentation/Thinning.hpp"
#include "MeterCore/JanitzaRegisterMap.hpp"
#include "MeterCore/ValueFormatter.hpp"

namespace kestrelyne {

namespace map = metercore::JanitzaRegisterMap;
using base::OrderedJSON;
using metercore::ValueSet;

namespace {

// Measurement ids of what the interface calls by short names.
constexpr std::array<int, 3> voltages = {19000, 19002, 19004}, voltagesLL = {19006, 19008, 19010}, currents = {19012, 19014, 19016},
                             phasePowers = {19020, 19022, 19024}, distortionsU = {19110, 19112, 19114};
constexpr int neutralCurrent = 19018, activePower = 19026, apparentPower = 19034, reactivePower = 19042, frequency = 19050,
              energySum = 19060, energyImportSum = 19068, starPoint = 802, computedFlag = 90010;

OrderedJSON number(const ValueSet& values, int id) { return base::numberOrNull(values.get(id)); }

template <class Read>
OrderedJSON byPhase(std::span<const int> ids, Read read) {
    auto list = OrderedJSON::array();
    for (const int id : ids) list.push_back(base::numberOrNull(read(id)));
    return list;
}

OrderedJSON phases(const ValueSet& values, std::span<const int> ids) {
    return byPhase(ids, [&values](int id) { return values.get(id); });
}

// The lowest or highest values since the last reset.
template <class Read>
OrderedJSON extremes(Read read) {
    return {{"u", byPhase(voltages, read)},
            {"i", byPhase(currents, read)},
            {"p", base::numberOrNull(read(activePower))},
            {"f", base::numberOrNull(read(frequency))}};
}

OrderedJSON trendOf(const DeviceMonitor& monitor, int id) {
    auto list = OrderedJSON::array();
    auto& points = list.get_ref<OrderedJSON::array_t&>();
    const auto values = trend(*monitor.history(), id);
    points.reserve(values.size());
    for (const double value : values) points.emplace_back(value);
    return list;
}

OrderedJSON alarmsOf(const DeviceMonitor& monitor) {
    auto list = OrderedJSON::array();
    for (const auto& alarm : activeAlarms(monitor.alarms()))
        list.push_back({{"text", alarm.text}, {"severity", alarm.severity == AlarmSeverity::alarm ? "alarm" : "warning"}});
    return list;
}

// What the patch plans for the distributors behind a meter, in watts; absent when none is assigned to it.
std::optional<double> plannedOf(const base::UUID& device, const PatchStore* patch) {
    if (patch == nullptr) return std::nullopt;
    std::set<std::string_view> distributors;
    for (const auto& [name, meter] : patch->settings().distributorDevices)
        if (meter == device) distributors.insert(name);
    if (distributors.empty()) return std::nullopt;
    double watts = 0;
    for (const auto& fixture : patch->fixtures())
        if (distributors.contains(fixture.distributor)) watts += fixture.powerW.value_or(0);
    return watts;
}

OrderedJSON powerOf(const DeviceMonitor& monitor, const PatchStore* patch) {
    const auto& values = *monitor.values();
    const auto& extreme = *monitor.extremes();
    const auto energy = values.contains(energyImportSum) ? energyImportSum : energySum;
    OrderedJSON json;
    json["id"] = monitor.device()->id.text();
    json["name"] = monitor.device()->name;
    json["status"] = statusText(*monitor.status());
    json["p"] = number(values, activePower);
    json["s"] = number(values, apparentPower);
    json["q"] = number(values, reactivePower);
    json["f"] = number(values, frequency);
    json["energy"] = number(values, energy);
    json["u"] = phases(values, voltages);
    json["ull"] = phases(values, voltagesLL);
    json["i"] = phases(values, currents);
    json["in"] = number(values, neutralCurrent);
    json["pPhase"] = phases(values, phasePowers);
    json["star"] = number(values, starPoint);
    json["starPct"] = number(values, map::starPointShift);
    json["starComputed"] = values.get(computedFlag) == 1.0;
    json["unbalance"] = number(values, map::unbalanceU);
    json["thdU"] = phases(values, distortionsU);
    json["iMax"] = base::numberOrNull(highestCurrent(values));
    json["min"] = extremes([&extreme](int id) { return extreme.min(id); });
    json["max"] = extremes([&extreme](int id) { return extreme.max(id); });
    json["alarms"] = alarmsOf(monitor);
    json["meters"] = OrderedJSON::array();
    json["planned"] = base::numberOrNull(plannedOf(monitor.device()->id, patch));
    json["trend"] = trendOf(monitor, activePower);
    return json;
}

OrderedJSON rowOf(const DeviceMonitor& monitor, const metercore::MeasuredValue& row) {
    // Without a value a row shows no unit either.
    const auto shown = [&row](std::optional<double> value) {
        if (!value || !std::isfinite(*value)) return std::string("–");
        return metercore::ValueFormatter::string(value, row.unit, row.channel);
    };
    const auto* extreme = monitor.extremes()->find(row.address);
    OrderedJSON json;
    json["label"] = row.channel.empty() ? row.name() : std::string(row.channel);
    json["value"] = shown(monitor.values()->get(row.address));
    json["min"] = shown(monitor.extremes()->min(row.address));
    json["max"] = shown(monitor.extremes()->max(row.address));
    json["maxTime"] = extreme == nullptr ? OrderedJSON(nullptr) : OrderedJSON(base::secondsSince1970(extreme->maxTime));
    return json;
}

OrderedJSON groupsOf(const DeviceMonitor& monitor) {
    auto groups = OrderedJSON::array();
    for (const auto group : metercore::allMeasureGroups) {
        auto rows = OrderedJSON::array();
        for (const auto& row : map::measurements(group)) rows.push_back(rowOf(monitor, row));
        groups.push_back({{"name", metercore::text(group)}, {"rows", std::move(rows)}});
    }
    return groups;
}

OrderedJSON dateOrNull(const std::optional<base::WallTime>& date) {
    return date ? OrderedJSON(base::secondsSince1970(*date)) : OrderedJSON(nullptr);
}

HTTPResponse device(DeviceStore& store, const APICall& call) {
    const auto id = base::UUID::parse(call.pieces[2]);
    const auto* monitor = id ? store.monitor(*id) : nullptr;
    if (monitor == nullptr) return HTTPResponse::error("Gerät nicht gefunden", 404);
    const auto& values = *monitor->values();
    auto currentTrends = OrderedJSON::array();
    for (const int current : currents) currentTrends.push_back(trendOf(*monitor, current));
    auto events = OrderedJSON::array();
    for (const auto& event : *monitor->alarms().events())
        events.push_back({{"time", base::secondsSince1970(event.date)}, {"text", event.recordText()}, {"level", levelOf(event)}});
    OrderedJSON json;
    json["name"] = monitor->device()->name;
    json["status"] = statusText(*monitor->status());
    json["connection"] = monitor->device()->connectionSummary();
    json["profile"] = monitor->profile().name;
    json["lastUpdate"] = dateOrNull(*monitor->lastUpdate());
    json["latency"] = *monitor->latency();
    json["minMaxSince"] = dateOrNull(*monitor->minMaxSince());
    json["p"] = number(values, activePower);
    json["i"] = phases(values, currents);
    json["trendP"] = trendOf(*monitor, activePower);
    json["trendI"] = std::move(currentTrends);
    json["trendSeconds"] = trendSeconds(*monitor->history(), activePower);
    json["groups"] = groupsOf(*monitor);
    json["alarms"] = alarmsOf(*monitor);
    json["events"] = std::move(events);
    json["meters"] = OrderedJSON::array();
    return HTTPResponse::json(json);
}

// As in the answer about the network.
OrderedJSON upsOf(const UPSSummary& ups) {
    OrderedJSON json;
    json["name"] = ups.name;
    json["source"] = ups.source;
    json["charge"] = base::numberOrNull(ups.charge);
    json["runtime"] = base::numberOrNull(ups.runtime);
    json["load"] = base::numberOrNull(ups.load);
    json["onBattery"] = ups.onBattery;
    json["error"] = ups.error ? OrderedJSON(*ups.error) : OrderedJSON();
    json["ip"] = ups.ip;
    json["online"] = ups.online ? OrderedJSON(*ups.online) : OrderedJSON();
    json["battery"] = ups.battery;
    json["model"] = ups.model;
    json["protocol"] = ups.protocol;
    json["local"] = ups.local;
    return json;
}

}  // namespace

const char* levelOf(const AlarmEvent& event) {
    if (!event.isRaise()) return "info";
    return event.severity == AlarmSeverity::alarm ? "alarm" : "warning";
}

HTTPResponse powerResponse(DeviceStore& store, const NetworkMonitor* network, const PatchStore* patch) {
    auto devices = OrderedJSON::array();
    std::optional<double> total;
    for (const auto* monitor : store.allMonitors()) {
        devices.push_back(powerOf(*monitor, patch));
        if (const auto p = monitor->values()->get(activePower); p && std::isfinite(*p)) total = total.value_or(0) + *p;
    }
    OrderedJSON json;
    json["devices"] = std::move(devices);
    auto ups = OrderedJSON::array();
    for (const auto& summary : upsSummaries(network)) ups.push_back(upsOf(summary));
    json["ups"] = std::move(ups);
    json["totalP"] = base::numberOrNull(total);
    json["recording"] = nullptr;
    return HTTPResponse::json(json);
}

std::vector<APIRoute> meteringRoutes(DeviceStore& store, const NetworkMonitor* network, const PatchStore* patch) {
    return {quickRoute("GET", {"power"}, [&store, network, patch](const APICall&) { return powerResponse(store, network, patch); }),
            quickRoute("GET", {"device", "*"}, [&store](const APICall& call) { return device(store, call); })};
}

}  // namespace kestrelyne
