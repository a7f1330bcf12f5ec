#include "Kestrelyne/Remote/NetworkRoutes.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Kestrelyne/Network/MonitorBench.hpp"
#include "NetCore/ArtNetPoll.hpp"
#include "NetCore/ArtNetTimeCode.hpp"
#include "NetCore/PacketBytes.hpp"
#include "RouteCall.hpp"
#include "Support/TemporaryFolder.hpp"

namespace kestrelyne {

using nlohmann::ordered_json;

namespace {

constexpr const char* firstCID = "0123456789abcdef";
constexpr const char* secondCID = "fedcba9876543210";

// IEEE 1588-2008, 13.3 and 13.5: Announce of a clock that follows a grandmaster.
netcore::vectors::Bytes announce(std::uint8_t sender, std::uint8_t grandmaster) {
    return netcore::vectors::packetOf(64, {{0, {0x0B, 0x02, 0, 64}},
                                           {20, {0, 0, 0, 0xFF, 0xFE, 0, 0, sender}},
                                           {47, {128, 6}},
                                           {52, {127, 0, 0, 0, 0xFF, 0xFE, 0, 0, grandmaster}},
                                           {61, {0, 1}}});
}

class NetworkRoutesTest : public testing::Test, protected MonitorBench {
protected:
    ordered_json network() {
        const auto response = answerOf(time, networkRoutes(monitor.get(), patch ? &*patch : nullptr)[0]);
        EXPECT_EQ(response.status, 200);
        EXPECT_EQ(response.headers.at("Content-Type"), "application/json; charset=utf-8");
        EXPECT_EQ(response.headers.at("Cache-Control"), "no-store");
        return ordered_json::parse(response.body);
    }
    HTTPResponse dmxResponse(std::map<std::string, std::string> query) {
        return answerOf(time, networkRoutes(monitor.get(), patch ? &*patch : nullptr)[1], std::move(query));
    }
    ordered_json dmx(std::map<std::string, std::string> query) {
        const auto response = dmxResponse(std::move(query));
        EXPECT_EQ(response.status, 200) << response.body;
        return ordered_json::parse(response.body);
    }
    static std::vector<std::string> keys(const ordered_json& object) {
        std::vector<std::string> all;
        for (const auto& [key, value] : object.items()) all.push_back(key);
        return all;
    }
    void pollReply(const std::string& ip, std::string_view name, std::vector<int> universes) {
        const auto bytes = netcore::ArtNet::pollReplyPacket({.ip = ip, .shortName = name, .universes = universes, .bindIndex = 1});
        monitor->intake().packets.handleArtNet(view(bytes, ip));
    }
    /// The monitor's own tasks run meanwhile: a refresh falls on each whole second.
    void pass(double seconds) { time.advance(base::Seconds(seconds)); }

    TemporaryFolder folder;
    base::StoreWriter writer;
    std::optional<PatchStore> patch;
    const std::vector<std::string> allKeys = {
        "running", "online",   "total",       "nodes",    "universes", "nodeList", "universeList", "devices", "ups",   "maNet",
        "ptp",     "timecode", "controllers", "problems", "conflicts", "errors",   "interfaces",   "igmp",    "health"};
};

}  // namespace

TEST_F(NetworkRoutesTest, StandInTheirOrder) {
    const auto routes = networkRoutes(nullptr);
    ASSERT_EQ(routes.size(), 3u);
    EXPECT_EQ(routes[0].pieces, std::vector<std::string>{"network"});
    EXPECT_EQ(routes[1].pieces, std::vector<std::string>{"dmx"});
    EXPECT_EQ(routes[2].pieces, std::vector<std::string>{"netdetail"});
    for (const auto& route : routes) EXPECT_EQ(route.method, "GET");
}

TEST_F(NetworkRoutesTest, EveryKeyIsThereWithoutAMonitorAndWithAnIdleOne) {
    const auto nothing = network();
    EXPECT_EQ(keys(nothing), allKeys);
    make();
    const auto idle = network();
    EXPECT_EQ(keys(idle), allKeys);
    EXPECT_EQ(idle, nothing);
    monitor->start();
    const auto running = network();
    EXPECT_EQ(keys(running), allKeys);
    EXPECT_EQ(running["running"], true);
    EXPECT_EQ(running["universeList"], ordered_json::array());
}

TEST_F(NetworkRoutesTest, AUniverseHasItsSenders) {
    make().start();
    time.runTurns();
    for (int n = 0; n < 40; ++n) sacn(7, firstCID, "Pult", 120);
    sacn(7, secondCID, "Backup", 100);
    pass(1);
    const auto json = network();
    EXPECT_EQ(json["universes"], 1);
    ASSERT_EQ(json["universeList"].size(), 1u);
    const auto& universe = json["universeList"][0];
    EXPECT_EQ(keys(universe), (std::vector<std::string>{"proto", "universe", "label", "status", "sources", "senders", "receivers",
                                                        "fixtures", "nodeOutput"}));
    EXPECT_EQ(universe["proto"], "sACN");
    EXPECT_EQ(universe["universe"], 7);
    EXPECT_EQ(universe["label"], "7");
    EXPECT_EQ(universe["status"], "ok");
    EXPECT_EQ(universe["sources"], 2);
    EXPECT_EQ(universe["receivers"], 0);
    EXPECT_EQ(universe["fixtures"], 0);
    EXPECT_EQ(universe["nodeOutput"], false);
    ASSERT_EQ(universe["senders"].size(), 2u);
    EXPECT_EQ(universe["senders"][0], (ordered_json{{"name", "Pult"},
                                                    {"ip", "10.0.0.9"},
                                                    {"fps", 40},
                                                    {"priority", 120},
                                                    {"interface", monitor->adapters().nameOf(7)},
                                                    {"active", true}}));
    EXPECT_EQ(json["problems"], ordered_json::array());
}

TEST_F(NetworkRoutesTest, TheStatusFollowsTheSources) {
    make().start();
    pollReply("10.0.0.50", "Node", {5});
    artDmx(1, "10.0.0.5");
    artDmx(2, "10.0.0.5");
    artDmx(2, "10.0.0.6");
    sacn(3, firstCID, "Pult", 100, true);
    pass(1);
    monitor->refreshPackets();
    const auto statuses = [this] {
        std::map<std::string, std::string> all;
        const auto json = network();
        for (const auto& universe : json["universeList"])
            all[universe["proto"].get<std::string>() + ":" + std::to_string(universe["universe"].get<int>())] = universe["status"];
        return all;
    };
    EXPECT_EQ(statuses(), (std::map<std::string, std::string>{
                              {"Art-Net:1", "ok"}, {"Art-Net:2", "conflict"}, {"Art-Net:5", "none"}, {"sACN:3", "lost"}}));
    const auto json = network();
    EXPECT_EQ(json["problems"],
              ordered_json::array(
                  {{{"level", "alarm"}, {"area", "light"}, {"text", "Art-Net 2 (0:0:2): Konflikt 10.0.0.6 ↔ 10.0.0.5"}}}));
    EXPECT_TRUE(json["universeList"][0]["senders"][0]["priority"].is_null());
    EXPECT_EQ(json["universeList"][2]["nodeOutput"], true);
    EXPECT_EQ(json["universeList"][2]["receivers"], 1);
    pass(3);
    EXPECT_EQ(statuses()["Art-Net:1"], "lost") << "by age, without a refresh";
    EXPECT_EQ(statuses()["Art-Net:2"], "lost");
    EXPECT_EQ(network()["universeList"][0]["senders"][0]["active"], false);
}

TEST_F(NetworkRoutesTest, NodesTellTheirActiveOutputs) {
    make().start();
    pollReply("10.0.0.50", "Node", {1, 2});
    pass(2);
    monitor->refreshPackets();
    const auto json = network();
    EXPECT_EQ(json["nodes"], 1);
    EXPECT_EQ(json["nodeList"][0], (ordered_json{{"name", "Node"},
                                                 {"ip", "10.0.0.50"},
                                                 {"outputs", "0:0:1, 0:0:2"},
                                                 {"age", 2},
                                                 {"interface", monitor->adapters().nameOf(7)}}));
}

TEST_F(NetworkRoutesTest, DevicesAreUnknownUntilTheFirstVerdict) {
    make();
    NetDevice device;
    device.name = "Pult \"A\"";
    device.ip = "10.0.0.10";
    device.role = NetDeviceRole::console;
    monitor->upsert(device);
    const ordered_json unknown = {{"name", "Pult \"A\""}, {"ip", "10.0.0.10"}, {"role", "Pult"},         {"online", nullptr},
                                  {"latency", nullptr},   {"temp", nullptr},   {"id", device.id.text()}, {"error", nullptr}};
    EXPECT_EQ(network()["devices"], ordered_json::array({unknown}));
    EXPECT_EQ(network()["total"], 1);
    EXPECT_EQ(network()["online"], 0);
    answers = netcore::Ping::Answers{{"10.0.0.10", 0.004}};
    monitor->start();
    ASSERT_TRUE(time.runUntil([this] { return !monitor->reachability().states()->empty(); }));
    const auto json = network();
    EXPECT_EQ(json["online"], 1);
    EXPECT_EQ(json["devices"][0]["online"], true);
    EXPECT_EQ(json["devices"][0]["latency"], 0.004);
}

TEST_F(NetworkRoutesTest, ClocksOfADomainWithTheirGrandmasters) {
    make().start();
    time.runTurns();
    for (const auto& [sender, grandmaster] : {std::pair<std::uint8_t, std::uint8_t>{1, 1}, {2, 1}, {3, 3}}) {
        const auto bytes = announce(sender, grandmaster);
        monitor->intake().extras.handlePTP(view(bytes, "10.0.0.20", 320));
    }
    pass(1);
    const auto json = network();
    ASSERT_EQ(json["ptp"].size(), 1u);
    const auto& domain = json["ptp"][0];
    EXPECT_EQ(keys(domain), (std::vector<std::string>{"label", "version", "grandmaster", "conflict", "clocks"}));
    EXPECT_EQ(domain["label"], "PTPv2 · Domäne 0");
    EXPECT_EQ(domain["version"], 2);
    EXPECT_EQ(domain["grandmaster"], "00:00:00:ff:fe:00:00:01, 00:00:00:ff:fe:00:00:03");
    EXPECT_EQ(domain["conflict"], true);
    ASSERT_EQ(domain["clocks"].size(), 3u);
    EXPECT_EQ(domain["clocks"][1], (ordered_json{{"sender", "00:00:00:ff:fe:00:00:02"},
                                                 {"name", "00:00:00:ff:fe:00:00:02"},
                                                 {"grandmaster", "00:00:00:ff:fe:00:00:01"},
                                                 {"priority1", 128},
                                                 {"priority2", 127},
                                                 {"clockClass", 6},
                                                 {"stratum", nullptr},
                                                 {"stepsRemoved", 1},
                                                 {"rate", 1},
                                                 {"interface", monitor->adapters().nameOf(7)},
                                                 {"age", 1}}));
    EXPECT_EQ(json["problems"][0]["text"], "PTPv2 · Domäne 0: mehrere Grandmaster");
}

TEST_F(NetworkRoutesTest, TimecodeConsolesAndStations) {
    make().start();
    time.runTurns();
    const auto timecode = netcore::ArtNet::timeCodePacket({.hours = 1, .minutes = 2, .seconds = 3, .frames = 4, .type = 1});
    monitor->intake().packets.handleArtNet(view(timecode, "10.0.0.30"));
    const auto poll = netcore::ArtNet::pollPacket();
    monitor->intake().packets.handleArtNet(view(poll, "10.0.0.31"));
    const std::string texts = "onPC 1.9.2 Session";
    const std::vector<std::uint8_t> payload(texts.begin(), texts.end());
    auto packet = view(payload, "10.0.0.32", 30020);
    packet.destination = 0xEC040101;
    monitor->intake().packets.handleMANet(packet, netcore::MANet::Version::ma3);
    time.advance(base::Seconds(0.5));
    monitor->refreshPackets();
    const auto json = network();
    EXPECT_EQ(
        json["timecode"],
        ordered_json::array(
            {{{"name", "10.0.0.30"}, {"ip", "10.0.0.30"}, {"tc", "01:02:03:04"}, {"fps", "25 fps (EBU)"}, {"running", true}}}));
    EXPECT_EQ(json["controllers"], ordered_json::array({{{"name", "10.0.0.31"},
                                                         {"ip", "10.0.0.31"},
                                                         {"interface", monitor->adapters().nameOf(7)},
                                                         {"age", 0.5},
                                                         {"subscribed", false}}}));
    EXPECT_EQ(json["maNet"], ordered_json::array({{{"ip", "10.0.0.32"},
                                                   {"name", "10.0.0.32"},
                                                   {"version", "MA-Net3"},
                                                   {"rate", 2},
                                                   {"channels", {"236.4.1.1"}},
                                                   {"versions", {"1.9.2"}}}}));
    auto config = *monitor->config();
    config.artnetSubscribe = true;
    monitor->setConfig(config);
    EXPECT_EQ(network()["controllers"][0]["subscribed"], true);
    time.advance(base::Seconds(1));
    EXPECT_EQ(network()["timecode"][0]["running"], false) << "the frame has stood for a second";
}

TEST_F(NetworkRoutesTest, ConflictsAdaptersQueriersAndErrors) {
    settings.setText("debug.captureFile", "/nonexistent/file");
    make().start();
    const auto begun = base::secondsSince1970(now().wall);
    time.runTurns();
    const auto captured = [this](netcore::CapturedFrame frame) {
        monitor->intake().extras.handleCapture("/nonexistent/file", {.frame = std::move(frame), .time = now()});
    };
    captured(netcore::ARPSeen{.ip = "10.0.0.77", .mac = "0A:00:00:00:00:02"});
    captured(netcore::ARPSeen{.ip = "10.0.0.77", .mac = "0A:00:00:00:00:01"});
    captured(netcore::IGMPQuery{.querier = "10.0.0.10", .group = "0.0.0.0", .version = 3});
    captured(netcore::IGMPQuery{.querier = "10.0.0.9", .group = "0.0.0.0", .version = 2});
    monitor->refreshPackets();
    auto config = *monitor->config();
    config.interfaceLabels["none7"] = "Licht";
    config.interfaceRoles["none7"] = std::string(text(AdapterRole::lighting));
    monitor->setConfig(config);
    pass(5);
    const auto json = network();
    EXPECT_EQ(json["conflicts"],
              ordered_json::array({{{"ip", "10.0.0.77"}, {"macs", {"0A:00:00:00:00:01", "0A:00:00:00:00:02"}}, {"since", begun}}}));
    EXPECT_EQ(json["interfaces"], ordered_json::array({{{"device", "none7"},
                                                        {"name", "Licht"},
                                                        {"subnet", "10.0.0.0/24"},
                                                        {"role", text(AdapterRole::lighting)},
                                                        {"active", true}}}));
    ASSERT_EQ(json["igmp"].size(), 1u);
    EXPECT_EQ(keys(json["igmp"][0]), (std::vector<std::string>{"interface", "name", "error", "queriers"}));
    EXPECT_TRUE(json["igmp"][0]["error"].is_string());
    EXPECT_EQ(json["igmp"][0]["queriers"],
              ordered_json::array({{{"ip", "10.0.0.9"}, {"name", "10.0.0.9"}, {"version", 2}, {"age", 5}},
                                   {{"ip", "10.0.0.10"}, {"name", "10.0.0.10"}, {"version", 3}, {"age", 5}}}));
    EXPECT_EQ(json["errors"].size(), monitor->errors()->size());
    EXPECT_EQ(json["health"], (ordered_json{{"dropped", 0}, {"refused", 0}}));
}

TEST_F(NetworkRoutesTest, HostileNamesAreValidJSON) {
    make().start();
    const std::vector<std::string> names = {R"("><script>alert(1)</script>)", "\x1B[31mrot\a", "kaputt \xC3\x28 \xFF", "\\\"\\",
                                            "\xE2\x80\xAE rückwärts"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        sacn(static_cast<int>(i) + 1, firstCID, names[i], 100);
        pollReply("10.0.0." + std::to_string(50 + i), names[i], {1});
    }
    monitor->refreshPackets();
    const auto json = network();
    EXPECT_EQ(json["nodes"], names.size());
    ASSERT_EQ(json["universeList"].size(), names.size() + 1) << "and the idle output";
    EXPECT_EQ(json["universeList"][1]["senders"][0]["name"], names[0]);
    EXPECT_EQ(json["universeList"][2]["senders"][0]["name"], names[1]);
    EXPECT_EQ(json["universeList"][3]["senders"][0]["name"], "kaputt \uFFFD( \uFFFD");
    EXPECT_EQ(dmx({{"u", "sACN:1"}})["sources"][0]["name"], names[0]);
}

TEST_F(NetworkRoutesTest, DMXShowsTheFirstActiveSourceOrTheOneAskedFor) {
    make().start();
    artDmx(0x123, "10.0.0.5", 9);
    artDmx(0x123, "10.0.0.6", 200);
    const auto json = dmx({{"u", "Art-Net:291"}});
    EXPECT_EQ(keys(json), (std::vector<std::string>{"label", "sources", "source", "data", "fixtures", "nodeOutput"}));
    EXPECT_EQ(json["label"], "Art-Net 291 (1:2:3)");
    ASSERT_EQ(json["sources"].size(), 2u);
    EXPECT_EQ(keys(json["sources"][0]), (std::vector<std::string>{"id", "name", "ip", "priority", "active"}));
    EXPECT_TRUE(json["sources"][0]["priority"].is_null());
    EXPECT_EQ(json["source"], json["sources"][0]["id"]);
    EXPECT_EQ(json["data"].size(), 512u);
    EXPECT_EQ(json["fixtures"], ordered_json::array());
    EXPECT_EQ(json["nodeOutput"], false);
    for (const auto& [id, value] : {std::pair{"10.0.0.5", 9}, {"10.0.0.6", 200}}) {
        const auto chosen = dmx({{"u", "Art-Net:291"}, {"src", id}});
        EXPECT_EQ(chosen["source"], id);
        EXPECT_EQ(chosen["data"][511], value);
    }
    EXPECT_EQ(dmx({{"u", "Art-Net:291"}, {"src", "niemand"}})["source"], json["source"]);
    pollReply("10.0.0.50", "Node", {3});
    monitor->refreshPackets();
    EXPECT_EQ(dmx({{"u", "Art-Net:3"}})["nodeOutput"], true);
    EXPECT_EQ(dmx({{"u", "sACN:3"}})["nodeOutput"], false) << "a node tells of Art-Net alone";
}

TEST_F(NetworkRoutesTest, DMXOfALostSourceIsShownOnlyWhenAskedFor) {
    make().start();
    sacn(5, firstCID, "Pult", 100);
    const auto active = dmx({{"u", "sACN:5"}});
    const std::string id = active["source"];
    EXPECT_EQ(id, "30313233343536373839616263646566");
    EXPECT_EQ(active["label"], "sACN 5");
    EXPECT_EQ(active["sources"][0]["priority"], 100);
    pass(3);
    const auto lost = dmx({{"u", "sACN:5"}});
    EXPECT_EQ(lost["sources"][0]["active"], false);
    EXPECT_TRUE(lost["source"].is_null());
    EXPECT_EQ(lost["data"], ordered_json::array());
    EXPECT_EQ(dmx({{"u", "sACN:5"}, {"src", id}})["data"].size(), 512u);
}

TEST_F(NetworkRoutesTest, DMXOfAnUnknownUniverseIsEmpty) {
    make();
    const auto json = dmx({{"u", "sACN:63999"}});
    EXPECT_EQ(json["label"], "sACN 63999");
    EXPECT_EQ(json["sources"], ordered_json::array());
    EXPECT_TRUE(json["source"].is_null());
    EXPECT_EQ(json["data"], ordered_json::array());
}

TEST_F(NetworkRoutesTest, AUniverseKnowsItsLampsWithTheirValues) {
    make().start();
    time.runTurns();
    patch.emplace(folder.path(), writer);
    const auto lamp = [](const char* number, int universe, int address, int footprint) {
        PatchFixture fixture;
        fixture.fixtureID = number;
        fixture.name = "Spot";
        fixture.manufacturer = "Werk";
        fixture.model = "Lampe";
        fixture.universe = universe;
        fixture.address = address;
        fixture.footprint = footprint;
        return fixture;
    };
    patch->apply({lamp("1", 2, 511, 4), lamp("2", 2, 10, 2), lamp("3", 3, 10, 2), lamp("4", 2, 0, 2)}, true, "");
    artDmx(1, "10.0.0.5", 7);
    artDmx(2, "10.0.0.5", 7);
    pass(1);
    const auto universes = network()["universeList"];
    EXPECT_EQ(universes[0]["fixtures"], 2) << "universe 2 of the console; a lamp without an address is on none";
    EXPECT_EQ(universes[1]["fixtures"], 1);
    EXPECT_EQ(dmx({{"u", "Art-Net:1"}})["fixtures"], ordered_json::parse(R"([
        {"fid":"2","name":"Spot","type":"Werk Lampe","start":10,"footprint":2,"data":[7,7]},
        {"fid":"1","name":"Spot","type":"Werk Lampe","start":511,"footprint":4,"data":[7,7]}])"));
    EXPECT_EQ(dmx({{"u", "sACN:3"}})["fixtures"],
              ordered_json::parse(R"([{"fid":"3","name":"Spot","type":"Werk Lampe","start":10,"footprint":2,"data":[]}])"))
        << "sACN has the console's number; nobody sends";
}

TEST_F(NetworkRoutesTest, DMXNeedsAUniverse) {
    make();
    for (const char* u : {"", "5", "sACN", "sACN:", "sACN:x", "sACN:5:6", "sACN:5 ", "sACN:5.0", "sACN:0x5", "sACN:99999999999",
                          "sACN:99999999999999999999999"}) {
        const auto response = dmxResponse({{"u", u}});
        EXPECT_EQ(response.status, 400) << u;
        EXPECT_EQ(response.body, R"({"error":"Universum fehlt"})") << u;
    }
    EXPECT_EQ(dmxResponse({}).status, 400);
    EXPECT_EQ(dmx({{"u", "Quatsch:5"}})["label"], "Art-Net 5 (0:0:5)") << "what is not sACN is Art-Net";
}

TEST_F(NetworkRoutesTest, DMXWithoutAMonitorIsNotReady) {
    const auto response = dmxResponse({{"u", "sACN:5"}});
    EXPECT_EQ(response.status, 503);
    EXPECT_EQ(response.body, R"({"error":"Netzwerk nicht bereit"})");
    EXPECT_EQ(dmxResponse({{"u", "5"}}).status, 400);
}

}  // namespace kestrelyne
