#include "Kestrelyne/Remote/NetworkDetail.hpp"

#include <algorithm>
#include <map>
#include <tuple>

#include "Base/Text.hpp"
#include "Kestrelyne/Network/NaturalOrder.hpp"
#include "Kestrelyne/Network/NetworkMap.hpp"
#include "Kestrelyne/Remote/NetworkJSON.hpp"

namespace kestrelyne {

using base::JSONWriter;

namespace {

constexpr std::size_t usualSize = 32768;
constexpr double warmBelowLimit = 10;  // °C

// The first line tells the model; what follows are copyrights and compilers.
std::string modelOf(const netcore::SwitchStatus& status) {
    const auto lines = base::split(status.description, '\n', false);
    const auto first = lines.empty() ? std::string() : std::string(base::trimmed(lines.front()));
    return std::string(base::trimmed(status.vendor + " " + first));
}

class Detail {
public:
    Detail(const NetworkMonitor& monitor, JSONWriter& json) : monitor_(monitor), json_(json) {}

    void write() {
        const auto& devices = monitor_.config()->devices;
        json_.key("switches").beginArray();
        for (const auto& device : devices) {
            if (device.role != NetDeviceRole::networkSwitch) continue;
            json_.beginObject();
            write(device);
            json_.endObject();
        }
        json_.endArray();
        json_.key("map").beginObject();
        write(NetworkMap(monitor_));
        json_.endObject();
        writeArray(json_, "addresses", *monitor_.addresses().arpTable(), [this](const ARPEntry& entry) { write(entry); });
        json_.key("baseline").number(baseline());
        writeArray(json_, "ipConflicts", *monitor_.addresses().ipConflicts(), [this](const IPConflict& conflict) {
            json_.key("ip").text(conflict.ip);
            json_.key("macs");
            writeTexts(json_, conflict.macs);
        });
        writeArray(json_, "igmp", *monitor_.queriers().igmp(), [this](const IGMPInterfaceState& state) { write(state); });
        writeServices();
    }

private:
    bool isHot(const NetDevice& device, const netcore::SwitchStatus::Sensor& sensor) const {
        return sensor.celsius >= monitor_.config()->tempLimit || monitor_.snmp().switches().isHot(device.id, sensor.name);
    }
    bool isWarm(const netcore::SwitchStatus::Sensor& sensor) const {
        const double limit = monitor_.config()->tempLimit;
        return sensor.celsius < limit && sensor.celsius >= limit - warmBelowLimit;
    }

    // The worst of all: what stands as an alarm, what is not as it should be, nothing wrong, nothing known.
    std::string_view stateOf(const NetDevice& device, const DeviceState* state, const DeviceReading* reading) const {
        if (state != nullptr && state->online == false) return "alarm";
        const auto* status = reading != nullptr ? reading->snmp.get() : nullptr;
        if (status != nullptr && !monitor_.snmp().switches().standing(device.id, *status).empty()) return "alarm";
        if (reading != nullptr && reading->snmpError) return "warning";
        if (status == nullptr) return "none";
        return std::ranges::any_of(status->temperatures, [this](const auto& sensor) { return isWarm(sensor); }) ? "warning" : "ok";
    }

    void write(const NetDevice& device) {
        const auto* state = monitor_.reachability().state(device.id);
        const auto* reading = monitor_.snmp().reading(device.id);
        const netcore::SwitchStatus unread;
        const auto& status = reading != nullptr && reading->snmp != nullptr ? *reading->snmp : unread;
        json_.key("id").text(device.id.text());
        json_.key("name").text(device.name);
        json_.key("ip").text(device.ip);
        writeOptional(json_, "online", state != nullptr ? state->online : std::nullopt);
        writeOptional(json_, "error", reading != nullptr ? reading->snmpError : std::nullopt);
        json_.key("state").text(stateOf(device, state, reading));
        json_.key("model").text(modelOf(status));
        json_.key("software").text(status.software);
        json_.key("serial").text(status.serial);
        json_.key("uptime").number(&status == &unread ? std::nullopt : std::optional(status.uptime));
        writeArray(json_, "temps", status.temperatures, [&](const netcore::SwitchStatus::Sensor& sensor) {
            json_.key("name").text(sensor.name);
            json_.key("c").number(sensor.celsius);
            json_.key("hot").boolean(isHot(device, sensor));
            json_.key("warm").boolean(isWarm(sensor) && !isHot(device, sensor));
        });
        json_.key("components").beginArray();
        for (const auto* list : {&status.fans, &status.powerSupplies})
            for (const auto& component : *list) {
                json_.beginObject();
                json_.key("name").text(component.name);
                json_.key("ok").boolean(component.ok);
                json_.key("state").text(component.state);
                json_.endObject();
            }
        json_.endArray();
        json_.key("cpu").number(status.cpuPercent);
        json_.key("poe");
        if (status.poeBudgetW) {
            json_.beginObject();
            json_.key("budget").number(status.poeBudgetW);
            json_.key("used").number(status.poeUsedW);
            json_.endObject();
        } else {
            json_.null();
        }
        const PortRates none;
        const auto& rates = reading != nullptr ? reading->portRates : none;
        writeArray(json_, "ports", status.ports, [&](const netcore::SwitchStatus::Port& port) { write(port, rates); });
        writeArray(json_, "custom", status.custom, [this](const netcore::SwitchStatus::CustomValue& custom) {
            json_.key("name").text(custom.name);
            json_.key("value").text(custom.value);
        });
    }

    void write(const netcore::SwitchStatus::Port& port, const PortRates& rates) {
        const auto rate = rates.find(port.index);
        json_.key("name").text(port.name);
        json_.key("alias").text(port.alias);
        json_.key("up").boolean(port.up);
        json_.key("admin").boolean(port.adminUp);
        json_.key("speed").integer(port.speedMbit);
        json_.key("errors").integer(static_cast<std::int64_t>(port.errors));
        writeOptional(json_, "poe", port.poeDelivering);
        writeOptional(json_, "neighbor", port.neighbor);
        json_.key("inBps").number(rate == rates.end() ? std::nullopt : std::optional(rate->second.inBps));
        json_.key("outBps").number(rate == rates.end() ? std::nullopt : std::optional(rate->second.outBps));
    }

    void write(const NetworkMap& map) {
        std::map<base::UUID, std::string> names;
        for (const auto& each : map.switches) names[each.id] = each.name;
        writeArray(json_, "switches", map.switches, [this](const NetworkMap::Switch& each) {
            json_.key("name").text(each.name);
            json_.key("ip").text(each.ip);
            json_.key("online").boolean(each.online);
            writeArray(json_, "ports", each.ports, [this](const NetworkMap::Port& port) {
                json_.key("name").text(port.name);
                json_.key("up").boolean(port.up);
                json_.key("uplink").boolean(port.uplink);
                writeOptional(json_, "lldp", port.lldp);
                json_.key("macCount").integer(port.macCount);
                writeArray(json_, "attached", port.attached, [this](const NetworkMap::Attached& device) { write(device); });
            });
        });
        auto links = map.links;
        std::ranges::sort(links, [&names](const NetworkMap::Link& a, const NetworkMap::Link& b) {
            if (names[a.a] != names[b.a]) return base::naturalLess(names[a.a], names[b.a]);
            return base::naturalLess(a.aPort, b.aPort);
        });
        writeArray(json_, "links", links, [&](const NetworkMap::Link& link) {
            json_.key("a").text(names[link.a]);
            json_.key("aPort").text(link.aPort);
            json_.key("b").text(names[link.b]);
            json_.key("bPort").text(link.bPort);
        });
        json_.key("levels").beginArray();
        for (const auto& level : NetworkMap::levels(map.switches, map.links)) {
            json_.beginArray();
            for (const auto& id : level) json_.text(names[id]);
            json_.endArray();
        }
        json_.endArray();
        writeArray(json_, "unplaced", map.unplaced, [this](const NetworkMap::Attached& device) { write(device); });
    }

    void write(const NetworkMap::Attached& device) {
        json_.key("name").text(device.name);
        writeOptional(json_, "ip", device.ip);
        json_.key("mac").text(device.mac);
    }

    void write(const ARPEntry& entry) {
        json_.key("ip").text(entry.ip);
        json_.key("mac").text(entry.mac);
        json_.key("name").text(monitor_.displayName(entry.ip));
        json_.key("interface").text(entry.interface);
        json_.key("new").boolean(monitor_.addresses().isUnknown(entry.mac, *monitor_.config()));
        json_.key("age").number(ageOf(entry.lastSeen, now_).count());
    }

    // When the reference was last taken: each approved address keeps its date.
    std::optional<double> baseline() const {
        std::optional<double> latest;
        for (const auto& [mac, date] : monitor_.config()->knownMACs)
            if (const auto seconds = base::parseDouble(date)) latest = std::max(latest.value_or(*seconds), *seconds);
        return latest;
    }

    void write(const IGMPInterfaceState& state) {
        std::vector<std::string> queriers;
        const IGMPInterfaceState::Querier* latest = nullptr;
        for (const auto& [ip, querier] : state.queriers) {
            queriers.push_back(ip);
            if (latest == nullptr || latest->last.steady < querier.last.steady) latest = &querier;
        }
        std::ranges::sort(queriers, NaturalOrder{});
        std::size_t members = 0;
        for (const auto& [group, hosts] : state.groups) members += hosts.size();
        json_.key("interface").text(state.interface);
        json_.key("name").text(state.displayName);
        json_.key("page").text("igmp/" + state.interface);
        json_.key("queriers");
        writeTexts(json_, queriers);
        writeOptional(json_, "version", latest != nullptr ? std::optional(latest->version) : std::nullopt);
        json_.key("age").number(latest != nullptr ? std::optional(ageOf(latest->last, now_).count()) : std::nullopt);
        json_.key("groups").integer(std::ssize(state.groups));
        json_.key("members").integer(static_cast<std::int64_t>(members));
        json_.key("missing").boolean(state.missing);
    }

    void writeServices() {
        auto services = *monitor_.bonjour().services();
        std::ranges::sort(services, {},
                          [](const BonjourBrowser::Service& service) { return std::tie(service.type, service.name); });
        writeArray(json_, "services", services, [this](const BonjourBrowser::Service& service) {
            json_.key("type").text(service.type);
            json_.key("name").text(service.name);
            writeOptional(json_, "host", service.host);
            json_.key("ips");
            writeTexts(json_, service.ips);
        });
    }

    const NetworkMonitor& monitor_;
    JSONWriter& json_;
    const base::SteadyTime now_ = monitor_.clock().steadyNow();
};

// All keys, of nothing.
constexpr const char* nothing =
    R"({"switches":[],"map":{"switches":[],"links":[],"levels":[],"unplaced":[]},"addresses":[],"baseline":null,"ipConflicts":[],)"
    R"("igmp":[],"services":[]})";

}  // namespace

HTTPResponse networkDetailResponse(const NetworkMonitor* monitor) {
    if (monitor == nullptr) return HTTPResponse::jsonText(nothing);
    JSONWriter json(usualSize);
    json.beginObject();
    Detail(*monitor, json).write();
    json.endObject();
    return HTTPResponse::jsonText(json.take());
}

}  // namespace kestrelyne
