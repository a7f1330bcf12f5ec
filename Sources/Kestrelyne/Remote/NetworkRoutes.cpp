#include "Kestrelyne/Remote/NetworkRoutes.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include "Base/JSONWriter.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/Network/NaturalOrder.hpp"
#include "Kestrelyne/Presentation/NetworkProblems.hpp"
#include "Kestrelyne/Presentation/UPSSummary.hpp"
#include "Kestrelyne/Remote/NetworkDetail.hpp"
#include "Kestrelyne/Remote/NetworkJSON.hpp"
#include "NetCore/ArtNet.hpp"

namespace kestrelyne {

using base::JSONWriter;

namespace {

// What an answer grows by, so that its text is moved seldom: a thousand universes of two sources make 330 kB.
constexpr std::size_t usualSize = 8192, sizeOfUniverse = 160, sizeOfSender = 128, sizeOfNode = 192;

std::string joined(std::vector<std::string> names) {
    std::ranges::sort(names, base::naturalLess);
    std::string text;
    for (const auto& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

/// Some node says that it puts out the universe; nodes tell of Art-Net alone.
bool isOutput(const NetworkMonitor& monitor, const UniverseKey& key) {
    return key.proto == NetProtocol::artnet && monitor.nodeOutputActive(key.number);
}

/// Writes one part of the picture after the other.
class Picture {
public:
    Picture(const NetworkMonitor& monitor, const PatchStore* patch, JSONWriter& json) : monitor_(monitor), json_(json) {
        if (patch == nullptr) return;
        for (const auto& fixture : patch->fixtures()) {
            if (!fixture.patched()) continue;
            ++fixtures_[{NetProtocol::artnet, patch->settings().artNetUniverse(fixture.universe)}];
            ++fixtures_[{NetProtocol::sacn, fixture.universe}];
        }
    }

    void write() {
        const auto& devices = monitor_.config()->devices;
        json_.key("running").boolean(*monitor_.isRunning());
        json_.key("online").integer(std::ranges::count_if(devices, [this](const NetDevice& device) {
            const auto* state = monitor_.reachability().state(device.id);
            return state != nullptr && state->online == true;
        }));
        json_.key("total").integer(std::ssize(devices));
        json_.key("nodes").integer(std::ssize(*monitor_.lighting().artNodes()));
        json_.key("universes").integer(std::ssize(*monitor_.lighting().universes()));
        writeArray(json_, "nodeList", *monitor_.lighting().artNodes(), [this](const ArtNodeState& node) { write(node); });
        writeArray(json_, "universeList", *monitor_.lighting().universes(),
                   [this](const UniverseState& universe) { write(universe); });
        writeArray(json_, "devices", devices, [this](const NetDevice& device) { write(device); });
        writeArray(json_, "ups", upsSummaries(&monitor_), [this](const UPSSummary& ups) { write(ups); });
        writeArray(json_, "maNet", *monitor_.lighting().maStations(), [this](const MANetStation& station) { write(station); });
        writeArray(json_, "ptp", *monitor_.clocks().domains(), [this](const PTPDomainState& domain) { write(domain); });
        writeArray(json_, "timecode", *monitor_.timecode().list(), [this](const TimecodeState& code) { write(code); });
        writeArray(json_, "controllers", *monitor_.consoles().controllers(),
                   [this](const ArtControllerState& console) { write(console); });
        writeArray(json_, "problems", networkProblems(monitor_, now_), [this](const NetworkProblem& problem) { write(problem); });
        writeArray(json_, "conflicts", *monitor_.addresses().ipConflicts(),
                   [this](const IPConflict& conflict) { write(conflict); });
        json_.key("errors");
        writeTexts(json_, *monitor_.errors());
        const auto active = monitor_.adapters().active(*monitor_.config());
        writeArray(json_, "interfaces", *monitor_.adapters().interfaces(), [this, &active](const netcore::NetInterface& interface) {
            write(interface, std::ranges::count(active, interface) > 0);
        });
        writeArray(json_, "igmp", *monitor_.queriers().igmp(), [this](const IGMPInterfaceState& state) { write(state); });
        const auto health = monitor_.health();
        json_.key("health").beginObject();
        json_.key("dropped").integer(static_cast<std::int64_t>(health.dropped));
        json_.key("refused").integer(static_cast<std::int64_t>(health.refused));
        json_.endObject();
    }

private:
    void age(base::Moment seen) { json_.key("age").number(ageOf(seen, now_).count()); }
    void write(const ArtNodeState& node) {
        json_.key("name").text(node.shortName);
        json_.key("ip").text(node.ip);
        std::string outputs;
        for (const int universe : node.activeOutputs) outputs += (outputs.empty() ? "" : ", ") + netcore::ArtNet::label(universe);
        json_.key("outputs").text(outputs);
        age(node.lastSeen);
        json_.key("interface").text(node.interface);
    }

    void write(const UniverseState& universe) {
        const auto active = universe.activeSources(now_);
        const auto isActive = [&active](const SourceState& source) { return std::ranges::find(active, &source) != active.end(); };
        json_.key("proto").text(text(universe.key.proto));
        json_.key("universe").integer(universe.key.number);
        json_.key("label").text(universe.key.label());
        json_.key("status").text(statusWord(universe, now_));
        json_.key("sources").integer(std::ssize(universe.sources));
        writeArray(json_, "senders", universe.sources, [&](const SourceState& source) {
            json_.key("name").text(source.name);
            json_.key("ip").text(source.ip);
            json_.key("fps").number(source.fps);
            writeOptional(json_, "priority", source.priority);
            json_.key("interface").text(source.interface);
            json_.key("active").boolean(isActive(source));
        });
        json_.key("receivers").integer(std::ssize(universe.receivers));
        const auto fixtures = fixtures_.find(universe.key);
        json_.key("fixtures").integer(fixtures != fixtures_.end() ? fixtures->second : 0);
        json_.key("nodeOutput").boolean(isOutput(monitor_, universe.key));
    }

    void write(const NetDevice& device) {
        const auto* state = monitor_.reachability().state(device.id);
        json_.key("name").text(device.name);
        json_.key("ip").text(device.ip);
        json_.key("role").text(label(device.role));
        writeOptional(json_, "online", state != nullptr ? state->online : std::nullopt);
        json_.key("latency").number(state != nullptr ? state->latency : std::nullopt);
        const auto* reading = monitor_.snmp().reading(device.id);
        json_.key("temp").number(reading != nullptr ? reading->temperature() : std::nullopt);
        json_.key("id").text(device.id.text());
        writeOptional(json_, "error", reading != nullptr ? reading->snmpError : std::nullopt);
    }

    void write(const UPSSummary& ups) {
        json_.key("name").text(ups.name);
        json_.key("source").text(ups.source);
        json_.key("charge").number(ups.charge);
        json_.key("runtime").number(ups.runtime);
        json_.key("load").number(ups.load);
        json_.key("onBattery").boolean(ups.onBattery);
        writeOptional(json_, "error", ups.error);
        json_.key("ip").text(ups.ip);
        writeOptional(json_, "online", ups.online);
        json_.key("battery").text(ups.battery);
        json_.key("model").text(ups.model);
        json_.key("protocol").text(ups.protocol);
        json_.key("local").boolean(ups.local);
    }

    void write(const MANetStation& station) {
        json_.key("ip").text(station.ip);
        json_.key("name").text(monitor_.displayName(station.ip));
        json_.key("version").text(netcore::MANet::text(station.version));
        json_.key("rate").number(station.packetsPerSecond);
        json_.key("channels");
        writeTexts(json_, station.channels);
        json_.key("versions");
        writeTexts(json_, station.versions);
    }

    void write(const PTPDomainState& domain) {
        auto grandmasters = domain.grandmasters();
        const bool conflict = grandmasters.size() > 1;
        for (auto& identity : grandmasters) identity = monitor_.ptpClockName(identity);
        json_.key("label").text(domain.label());
        json_.key("version").integer(domain.version);
        json_.key("grandmaster").text(joined(std::move(grandmasters)));
        json_.key("conflict").boolean(conflict);
        writeArray(json_, "clocks", domain.clocks, [this](const PTPClock& clock) {
            json_.key("sender").text(clock.sender);
            json_.key("name").text(monitor_.ptpClockName(clock.sender));
            json_.key("grandmaster").text(clock.grandmaster);
            writeOptional(json_, "priority1", clock.priority1);
            writeOptional(json_, "priority2", clock.priority2);
            writeOptional(json_, "clockClass", clock.clockClass);
            writeOptional(json_, "stratum", clock.stratum);
            writeOptional(json_, "stepsRemoved", clock.stepsRemoved);
            json_.key("rate").number(clock.packetsPerSecond);
            json_.key("interface").text(clock.interface);
            age(clock.lastSeen);
        });
    }

    void write(const TimecodeState& code) {
        json_.key("name").text(code.name);
        json_.key("ip").text(code.ip);
        json_.key("tc").text(code.code.text());
        json_.key("fps").text(code.code.fpsLabel());
        json_.key("running").boolean(code.running(now_));
    }

    void write(const ArtControllerState& console) {
        json_.key("name").text(console.name);
        json_.key("ip").text(console.ip);
        json_.key("interface").text(console.interface);
        age(console.lastSeen);
        json_.key("subscribed").boolean(monitor_.config()->artnetSubscribe);
    }

    void write(const NetworkProblem& problem) {
        json_.key("level").text(word(problem.level));
        json_.key("area").text(word(problem.area));
        json_.key("text").text(problem.text);
    }

    void write(const IPConflict& conflict) {
        json_.key("ip").text(conflict.ip);
        json_.key("macs");
        writeTexts(json_, conflict.macs);
        json_.key("since").number(base::secondsSince1970(conflict.since.wall));
    }

    void write(const netcore::NetInterface& interface, bool active) {
        json_.key("device").text(interface.name);
        json_.key("name").text(Adapters::labelOf(interface, *monitor_.config()));
        json_.key("subnet").text(interface.subnet());
        json_.key("role").text(text(Adapters::roleOf(interface, *monitor_.config())));
        json_.key("active").boolean(active);
    }

    void write(const IGMPInterfaceState& state) {
        json_.key("interface").text(state.interface);
        json_.key("name").text(state.displayName);
        writeOptional(json_, "error", state.error);
        const std::map<std::string, IGMPInterfaceState::Querier, NaturalOrder> queriers(state.queriers.begin(),
                                                                                        state.queriers.end());
        writeArray(json_, "queriers", queriers, [this](const auto& entry) {
            const auto& [ip, querier] = entry;
            json_.key("ip").text(ip);
            json_.key("name").text(monitor_.displayName(ip));
            json_.key("version").integer(querier.version);
            age(querier.last);
        });
    }

    const NetworkMonitor& monitor_;
    JSONWriter& json_;
    std::unordered_map<UniverseKey, int> fixtures_;  // of the patch
    const base::SteadyTime now_ = monitor_.clock().steadyNow();
};

// All keys of the picture, of nothing.
constexpr const char* noPicture =
    R"({"running":false,"online":0,"total":0,"nodes":0,"universes":0,"nodeList":[],"universeList":[],"devices":[],"ups":[],"maNet":[],)"
    R"("ptp":[],"timecode":[],"controllers":[],"problems":[],"conflicts":[],"errors":[],"interfaces":[],"igmp":[],)"
    R"("health":{"dropped":0,"refused":0}})";

std::size_t expectedSize(const LightingPicture& lighting) {
    auto size = usualSize + sizeOfNode * lighting.artNodes()->size();
    for (const auto& universe : *lighting.universes()) size += sizeOfUniverse + sizeOfSender * universe.sources.size();
    return size;
}

/// "<proto>:<universe>"; every word but "sACN" stands for Art-Net.
std::optional<UniverseKey> universeKey(const APICall& call) {
    const auto wanted = call.request.query.find("u");
    if (wanted == call.request.query.end()) return std::nullopt;
    const auto parts = base::split(wanted->second, ':', true);
    if (parts.size() != 2) return std::nullopt;
    const auto number = base::parseInteger(parts[1]);
    if (!number || !std::in_range<int>(*number)) return std::nullopt;
    return UniverseKey{.proto = parts[0] == text(NetProtocol::sacn) ? NetProtocol::sacn : NetProtocol::artnet,
                       .number = static_cast<int>(*number)};
}

// The patch's fixtures on a universe, each with its part of the values that are shown.
void writeFixtures(JSONWriter& json, const UniverseKey& key, const PatchStore* patch, const DMXSourceView* shown) {
    std::vector<const PatchFixture*> fixtures;
    if (patch != nullptr)
        for (const auto& fixture : patch->fixtures()) {
            const auto universe =
                key.proto == NetProtocol::artnet ? patch->settings().artNetUniverse(fixture.universe) : fixture.universe;
            if (fixture.patched() && universe == key.number) fixtures.push_back(&fixture);
        }
    std::ranges::sort(fixtures, {}, [](const PatchFixture* fixture) { return std::pair(fixture->address, fixture->id); });
    writeArray(json, "fixtures", fixtures, [&](const PatchFixture* fixture) {
        json.key("fid").text(fixture->fixtureID);
        json.key("name").text(fixture->name);
        json.key("type").text(fixture->typeText());
        json.key("start").integer(fixture->address);
        json.key("footprint").integer(fixture->channels());
        json.key("data").beginArray();
        const auto first = static_cast<std::size_t>(fixture->address) - 1;
        for (std::size_t i = first;
             shown != nullptr && i < shown->data.size() && i < first + static_cast<std::size_t>(fixture->channels()); ++i)
            json.integer(shown->data[i]);
        json.endArray();
    });
}

HTTPResponse dmx(const NetworkMonitor* monitor, const PatchStore* patch, const APICall& call) {
    const auto key = universeKey(call);
    if (!key) return HTTPResponse::error("Universum fehlt", 400);
    if (monitor == nullptr) return HTTPResponse::error("Netzwerk nicht bereit", 503);
    const auto now = monitor->clock().steadyNow();
    const auto isActive = [now](const DMXSourceView& source) {
        return !source.terminated && now - source.lastSeen.steady < UniverseState::lostAfter;
    };
    const auto sources = monitor->dmxSources(*key);
    auto shown = sources.end();
    if (const auto wanted = call.request.query.find("src"); wanted != call.request.query.end())
        shown = std::ranges::find(sources, wanted->second, &DMXSourceView::id);
    if (shown == sources.end()) shown = std::ranges::find_if(sources, isActive);

    JSONWriter json(usualSize);
    json.beginObject();
    json.key("label").text(std::string(text(key->proto)) + " " + key->label());
    writeArray(json, "sources", sources, [&](const DMXSourceView& source) {
        json.key("id").text(source.id);
        json.key("name").text(source.name);
        json.key("ip").text(source.ip);
        writeOptional(json, "priority", source.priority);
        json.key("active").boolean(isActive(source));
    });
    writeOptional(json, "source", shown != sources.end() ? std::optional(shown->id) : std::nullopt);
    json.key("data").beginArray();
    if (shown != sources.end())
        for (const auto value : shown->data) json.integer(value);
    json.endArray();
    writeFixtures(json, *key, patch, shown != sources.end() ? &*shown : nullptr);
    json.key("nodeOutput").boolean(isOutput(*monitor, *key));
    json.endObject();
    return HTTPResponse::jsonText(json.take());
}

}  // namespace

HTTPResponse networkResponse(const NetworkMonitor* monitor, const PatchStore* patch) {
    if (monitor == nullptr) return HTTPResponse::jsonText(noPicture);
    JSONWriter json(expectedSize(monitor->lighting()));
    json.beginObject();
    Picture(*monitor, patch, json).write();
    json.endObject();
    return HTTPResponse::jsonText(json.take());
}

std::vector<APIRoute> networkRoutes(const NetworkMonitor* monitor, const PatchStore* patch) {
    return {quickRoute("GET", {"network"}, [monitor, patch](const APICall&) { return networkResponse(monitor, patch); }),
            quickRoute("GET", {"dmx"}, [monitor, patch](const APICall& call) { return dmx(monitor, patch, call); }),
            quickRoute("GET", {"netdetail"}, [monitor](const APICall&) { return networkDetailResponse(monitor); })};
}

}  // namespace kestrelyne
