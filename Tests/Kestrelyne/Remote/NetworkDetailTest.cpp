#include "Kestrelyne/Remote/NetworkDetail.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Kestrelyne/Network/MonitorBench.hpp"
#include "Kestrelyne/Remote/MeteringRoutes.hpp"
#include "Kestrelyne/Remote/NetworkRoutes.hpp"
#include "RouteCall.hpp"

namespace kestrelyne {

using nlohmann::ordered_json;

namespace {

const std::string interfaces = "1.3.6.1.2.1.2.2.1.", names = "1.3.6.1.2.1.31.1.1.1.1.";

// A switch of two ports that is 61 °C hot, with a fan that has failed and PoE.
std::shared_ptr<netcore::FakeSNMPTarget> switchAgent() {
    auto agent = std::make_shared<netcore::FakeSNMPTarget>();
    agent->set("1.3.6.1.2.1.1.1.0", "GigaCore 26i\r\nCopyright");
    agent->set("1.3.6.1.2.1.1.3.0", netcore::SNMPValue(netcore::SNMPValue::Ticks{360000}));
    agent->set("1.3.6.1.2.1.1.5.0", "sw");
    for (int i = 1; i <= 2; ++i) {
        const auto number = std::to_string(i);
        agent->set(interfaces + "3." + number, 6);
        agent->set(interfaces + "8." + number, i);
        agent->set(names + number, i == 1 ? "P1" : "P2");
    }
    agent->set("1.3.6.1.2.1.99.1.1.1.1.5", 8);
    agent->set("1.3.6.1.2.1.99.1.1.1.4.5", 61);
    agent->set("1.3.6.1.2.1.47.1.1.1.1.7.5", "CPU");
    agent->set("1.3.6.1.2.1.47.1.1.1.1.10.1", "2.10.1");
    agent->set("1.3.6.1.2.1.47.1.1.1.1.11.1", "SN1");
    agent->set("1.3.6.1.4.1.4413.1.1.43.1.6.1.3.1", 3);
    agent->set("1.3.6.1.2.1.105.1.3.1.1.2.1", 170);
    agent->set("1.3.6.1.2.1.105.1.3.1.1.4.1", 12);
    agent->set("1.3.6.1.2.1.105.1.1.1.6.1", 3);
    agent->set("1.0.8802.1.1.2.1.4.1.1.9.0.1.1", "Pult");
    agent->set("1.3.6.1.2.1.17.7.1.2.2.1.2.1.2.0.0.0.0.1", 1);
    return agent;
}

std::shared_ptr<netcore::FakeSNMPTarget> upsAgent() {
    auto agent = std::make_shared<netcore::FakeSNMPTarget>();
    agent->set("1.3.6.1.2.1.33.1.1.1.0", "Maker");
    agent->set("1.3.6.1.2.1.33.1.1.2.0", "Model");
    agent->set("1.3.6.1.2.1.33.1.2.1.0", 2);
    agent->set("1.3.6.1.2.1.33.1.2.3.0", 31);
    agent->set("1.3.6.1.2.1.33.1.2.4.0", 77);
    agent->set("1.3.6.1.2.1.33.1.2.7.0", 25);
    agent->set("1.3.6.1.2.1.33.1.4.1.0", 5);
    agent->set("1.3.6.1.2.1.33.1.4.4.1.5.1", 20);
    agent->set("1.3.6.1.2.1.33.1.4.4.1.5.2", 23);
    return agent;
}

class NetworkDetailTest : public testing::Test, protected MonitorBench {
protected:
    ~NetworkDetailTest() override {
        if (monitor != nullptr) monitor->stop();
    }
    ordered_json detail() const { return ordered_json::parse(networkDetailResponse(monitor.get()).body); }
    ordered_json network() const { return ordered_json::parse(networkResponse(monitor.get()).body); }
    NetDevice add(const std::string& name, const std::string& ip, NetDeviceRole role) {
        NetDevice device{.name = name, .ip = ip, .role = role, .snmp = true};
        monitor->upsert(device);
        return device;
    }
    static std::vector<std::string> keys(const ordered_json& object) {
        std::vector<std::string> all;
        for (const auto& [key, value] : object.items()) all.push_back(key);
        return all;
    }
    const std::vector<std::string> allKeys = {"switches", "map", "addresses", "baseline", "ipConflicts", "igmp", "services"};
};

}  // namespace

TEST_F(NetworkDetailTest, EveryKeyIsThereWithoutAMonitorAndWithAnIdleOne) {
    const auto nothing = detail();
    EXPECT_EQ(keys(nothing), allKeys);
    EXPECT_EQ(keys(nothing["map"]), (std::vector<std::string>{"switches", "links", "levels", "unplaced"}));
    make();
    EXPECT_EQ(detail(), nothing);
    const auto routes = networkRoutes(monitor.get());
    EXPECT_EQ(routes.back().pieces, std::vector<std::string>{"netdetail"});
    EXPECT_EQ(ordered_json::parse(answerOf(time, routes.back()).body), nothing);
}

TEST_F(NetworkDetailTest, ASwitchIsShownWhole) {
    agents = {{"10.0.0.2", switchAgent()}};
    make();
    auto config = *monitor->config();
    config.tempLimit = 70;
    monitor->setConfig(config);
    const auto device = add("FOH", "10.0.0.2", NetDeviceRole::networkSwitch);
    monitor->start();
    ASSERT_TRUE(time.runUntil([&] { return monitor->snmp().topologies()->contains(device.id); }));
    const auto json = detail();
    ASSERT_EQ(json["switches"].size(), 1u);
    const auto& shown = json["switches"][0];
    EXPECT_EQ(shown["id"], device.id.text());
    EXPECT_EQ(shown["name"], "FOH");
    EXPECT_EQ(shown["ip"], "10.0.0.2");
    EXPECT_EQ(shown["error"], nullptr);
    EXPECT_EQ(shown["state"], "alarm");
    EXPECT_EQ(shown["model"], "Luminex GigaCore 26i");
    EXPECT_EQ(shown["software"], "2.10.1");
    EXPECT_EQ(shown["serial"], "SN1");
    EXPECT_EQ(shown["uptime"], 3600);
    EXPECT_EQ(shown["temps"], ordered_json::parse(R"([{"name":"CPU","c":61,"hot":false,"warm":true}])"));
    EXPECT_EQ(shown["components"][0], ordered_json::parse(R"({"name":"Lüfter 1","ok":false,"state":"ausgefallen"})"));
    EXPECT_EQ(shown["poe"], ordered_json::parse(R"({"budget":170,"used":12})"));
    EXPECT_EQ(shown["cpu"], nullptr);
    EXPECT_EQ(shown["custom"], ordered_json::array());
    ASSERT_EQ(shown["ports"].size(), 2u);
    EXPECT_EQ(shown["ports"][0],
              ordered_json::parse(R"({"name":"P1","alias":"","up":true,"admin":true,"speed":0,"errors":0,"poe":true,)"
                                  R"("neighbor":"Pult","inBps":null,"outBps":null})"));
    EXPECT_EQ(shown["ports"][1]["up"], false);
    EXPECT_EQ(shown["ports"][1]["poe"], nullptr);

    ASSERT_EQ(json["map"]["switches"].size(), 1u);
    EXPECT_EQ(json["map"]["levels"], ordered_json::parse(R"([["FOH"]])"));
    EXPECT_EQ(json["map"]["switches"][0]["ports"][0],
              ordered_json::parse(R"({"name":"P1","up":true,"uplink":false,"lldp":"Pult","macCount":1,)"
                                  R"("attached":[{"name":"02:00:00:00:00:01","ip":null,"mac":"02:00:00:00:00:01"}]})"));

    const auto picture = network();
    EXPECT_EQ(picture["devices"][0]["temp"], 61);
    EXPECT_EQ(picture["problems"],
              ordered_json::parse(R"([{"level":"warning","area":"light","text":"FOH: Lüfter 1 ausgefallen"}])"));
}

TEST_F(NetworkDetailTest, ASwitchThatDoesNotAnswerTellsWhy) {
    make();
    const auto device = add("FOH", "10.0.0.2", NetDeviceRole::networkSwitch);
    EXPECT_EQ(detail()["switches"][0]["state"], "none");
    monitor->start();
    ASSERT_TRUE(time.runUntil([&] { return monitor->snmp().reading(device.id) != nullptr; }));
    const auto shown = detail()["switches"][0];
    EXPECT_EQ(shown["error"], "Zeitüberschreitung");
    EXPECT_EQ(shown["state"], "warning");
    EXPECT_EQ(shown["uptime"], nullptr);
    EXPECT_EQ(shown["ports"], ordered_json::array());
    EXPECT_EQ(detail()["map"]["switches"], ordered_json::array());
    EXPECT_EQ(network()["devices"][0]["error"], "Zeitüberschreitung");
}

TEST_F(NetworkDetailTest, UPSsStandInBothAnswersAlike) {
    agents = {{"10.0.0.3", upsAgent()}};
    netcore::LocalUPS::Entry local{.id = "usb-1", .name = "Back-UPS", .status = {}};
    local.status.source = netcore::UPSStatus::Source::online;
    local.status.charge = 99;
    localUPS = {local};
    make();
    const auto device = add("USV", "10.0.0.3", NetDeviceRole::ups);
    add("Stumm", "10.0.0.4", NetDeviceRole::ups);
    monitor->start();
    ASSERT_TRUE(time.runUntil([&] { return monitor->snmp().readings()->size() == 2 && !monitor->snmp().localUPS()->empty(); }));
    const auto picture = network();
    ASSERT_EQ(picture["ups"].size(), 3u);
    const auto expected = ordered_json::parse(R"~({"name":"USV","source":"Batteriebetrieb","charge":77,"runtime":31,"load":23,
        "onBattery":true,"error":null,"ip":"10.0.0.3","online":null,"battery":"normal","model":"Maker Model",
        "protocol":"UPS-MIB (RFC 1628)","local":false})~");
    EXPECT_EQ(picture["ups"][0], expected);
    EXPECT_EQ(picture["ups"][1]["source"], "unbekannt");
    EXPECT_EQ(picture["ups"][1]["error"], "Zeitüberschreitung");
    EXPECT_EQ(picture["ups"][1]["charge"], nullptr);
    EXPECT_EQ(picture["ups"][2]["name"], "Back-UPS");
    EXPECT_EQ(picture["ups"][2]["local"], true);
    EXPECT_EQ(picture["problems"],
              ordered_json::parse(R"([{"level":"alarm","area":"power","text":"USV USV auf Batterie – 31 min"}])"));
    EXPECT_EQ(picture["devices"][0]["temp"], 25);

    base::StoreWriter writer;
    MeteringServices metering{settings, writer, time.clock()};
    DeviceStore store(metering);
    EXPECT_EQ(ordered_json::parse(powerResponse(store, monitor.get()).body)["ups"], picture["ups"]);
    EXPECT_EQ(ordered_json::parse(powerResponse(store, nullptr).body)["ups"], ordered_json::array());
    EXPECT_EQ(detail()["switches"], ordered_json::array());
    EXPECT_EQ(detail()["map"]["switches"], ordered_json::array()) << "a UPS is no switch";
}

TEST_F(NetworkDetailTest, AddressesTellWhatIsNewSinceTheReference) {
    neighbours = {{.ip = "10.0.0.20", .mac = "02:00:00:00:00:20", .device = "none7"},
                  {.ip = "10.0.0.21", .mac = "02:00:00:00:00:21", .device = "none7"}};
    make();
    auto config = *monitor->config();
    config.knownMACs = {{"02:00:00:00:00:20", "1700000000"}, {"02:00:00:00:00:22", "1700000100"}};
    monitor->setConfig(config);
    monitor->start();
    ASSERT_TRUE(time.runUntil([&] { return monitor->addresses().arpTable()->size() == 2; }));
    const auto json = detail();
    ASSERT_EQ(json["addresses"].size(), 2u);
    EXPECT_EQ(json["addresses"][0]["new"], false);
    EXPECT_EQ(json["addresses"][1]["new"], true);
    EXPECT_EQ(keys(json["addresses"][0]), (std::vector<std::string>{"ip", "mac", "name", "interface", "new", "age"}));
    EXPECT_EQ(json["baseline"], 1700000100);
    EXPECT_EQ(json["map"]["unplaced"].size(), 2u);
    monitor->forgetKnown();
    EXPECT_EQ(detail()["baseline"], nullptr);
    EXPECT_EQ(detail()["addresses"][1]["new"], false) << "without a reference nothing is new";
}

}  // namespace kestrelyne
