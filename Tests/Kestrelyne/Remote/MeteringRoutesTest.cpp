#include "Kestrelyne/Remote/MeteringRoutes.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

using namespace kestrelyne;
using nlohmann::ordered_json;

namespace {

class MeteringRoutesTest : public testing::Test {
protected:
    MeteringRoutesTest() : routes(meteringRoutes(store, nullptr)) {}

    // The routes answer at once, so one turn of the loop is enough.
    HTTPResponse get(std::size_t route, std::vector<std::string> pieces) {
        HTTPResponse response;
        const auto body = [](APIRoute::Handler handler, APICall call, HTTPResponse& result) -> base::Co<> {
            result = co_await handler(std::move(call));
        };
        APICall call;
        call.pieces = std::move(pieces);
        const base::Task task("request", body(routes[route].handler, std::move(call), response));
        loop.runTurns();
        return response;
    }
    ordered_json power() { return ordered_json::parse(get(0, {"api", "power"}).body); }
    ordered_json device(const std::string& id) { return ordered_json::parse(get(1, {"api", "device", id}).body); }
    DeviceMonitor& meter() { return *store.allMonitors().front(); }
    static std::vector<std::string> keys(const ordered_json& object) {
        std::vector<std::string> all;
        for (const auto& [key, value] : object.items()) all.push_back(key);
        return all;
    }
    void apply(metercore::ValueSet values) { meter().applyValues(std::move(values), loop.clock().moment(), 0.25); }

    TestLoop loop;
    base::StoreWriter writer;
    SettingsStore settings;
    MeteringServices services{settings, writer, loop.clock()};
    DeviceStore store{services};
    std::vector<APIRoute> routes;
};

}  // namespace

TEST_F(MeteringRoutesTest, StandInTheirOrder) {
    ASSERT_EQ(routes.size(), 2u);
    EXPECT_EQ(routes[0].pieces, std::vector<std::string>{"power"});
    EXPECT_EQ(routes[1].pieces, (std::vector<std::string>{"device", "*"}));
    for (const auto& route : routes) EXPECT_EQ(route.method, "GET");
}

TEST_F(MeteringRoutesTest, PowerHasItsKeysInOrderAndNullForWhatIsMissing) {
    const auto json = power();
    EXPECT_EQ(keys(json), (std::vector<std::string>{"devices", "ups", "totalP", "recording"}));
    EXPECT_EQ(json["ups"], ordered_json::array());
    EXPECT_TRUE(json["totalP"].is_null());
    EXPECT_TRUE(json["recording"].is_null());
    const auto& entry = json["devices"].at(0);
    EXPECT_EQ(keys(entry),
              (std::vector<std::string>{"id",        "name", "status", "p",   "s",      "q",      "f",       "energy",
                                        "u",         "ull",  "i",      "in",  "pPhase", "star",   "starPct", "starComputed",
                                        "unbalance", "thdU", "iMax",   "min", "max",    "alarms", "meters",  "planned",
                                        "trend"}));
    EXPECT_EQ(entry["name"], "Demo UMG 96RM");
    EXPECT_EQ(entry["status"], "getrennt");
    for (const char* key : {"p", "s", "q", "f", "energy", "in", "star", "starPct", "unbalance", "iMax", "planned"})
        EXPECT_TRUE(entry[key].is_null()) << key;
    EXPECT_EQ(entry["u"], (ordered_json{nullptr, nullptr, nullptr}));
    EXPECT_EQ(entry["starComputed"], false);
    EXPECT_EQ(entry["min"]["p"], nullptr);
    EXPECT_EQ(entry["trend"], ordered_json::array());
    EXPECT_EQ(entry["meters"], ordered_json::array());
}

TEST_F(MeteringRoutesTest, PowerCarriesTheReadingAndItsExtremes) {
    apply({{19000, 229.0},
           {19002, 230.0},
           {19004, NAN},
           {19012, 5.0},
           {19014, 7.5},
           {19016, 6.0},
           {19018, 0.5},
           {19026, 4000.0},
           {19034, 4100.0},
           {19042, 500.0},
           {19050, 50.0},
           {19060, 11.0},
           {19068, 12.0},
           {19110, 1.5},
           {802, 2.5},
           {90000, 0.4},
           {90004, 1.1},
           {90010, 1.0}});
    apply({{19000, 231.0}, {19026, 3000.0}, {19050, 49.9}});
    const auto json = power();
    const auto& entry = json["devices"].at(0);
    EXPECT_EQ(entry["status"], "verbunden");
    EXPECT_EQ(entry["p"], 3000);
    EXPECT_EQ(json["totalP"], 3000);
    EXPECT_EQ(entry["min"]["u"], (ordered_json{229.0, 230.0, nullptr}));
    EXPECT_EQ(entry["max"]["u"], (ordered_json{231.0, 230.0, nullptr}));
    EXPECT_EQ(entry["max"]["i"], (ordered_json{5.0, 7.5, 6.0}));
    EXPECT_EQ(entry["min"]["p"], 3000);
    EXPECT_EQ(entry["max"]["p"], 4000);
    EXPECT_EQ(entry["min"]["f"], 49.9);
    EXPECT_EQ(entry["trend"], (ordered_json{4000.0, 3000.0}));
    apply({{19068, 12.0}, {19060, 11.0}, {19012, 5.0}, {19014, 7.5}, {802, 2.5}, {90004, 1.1}, {90010, 1.0}, {90000, 0.4}});
    const auto again = power()["devices"].at(0);
    EXPECT_EQ(again["energy"], 12);
    EXPECT_EQ(again["iMax"], 7.5);
    EXPECT_EQ(again["star"], 2.5);
    EXPECT_EQ(again["starPct"], 1.1);
    EXPECT_EQ(again["starComputed"], true);
    EXPECT_EQ(again["unbalance"], 0.4);
    apply({{19060, 11.0}});
    EXPECT_EQ(power()["devices"].at(0)["energy"], 11);
}

TEST_F(MeteringRoutesTest, TotalPowerAddsWhatIsFinite) {
    Device second;
    store.add(second);
    store.monitor(second.id)->applyValues({{19026, 500.0}}, loop.clock().moment(), 0);
    apply({{19026, INFINITY}});
    const auto json = power();
    EXPECT_EQ(json["totalP"], 500);
    EXPECT_EQ(json["devices"].at(0)["p"], nullptr);
}

TEST_F(MeteringRoutesTest, PlannedIsTheLoadOfTheDistributorsBehindTheMeter) {
    TemporaryFolder folder;
    PatchStore patch(folder.path(), writer);
    const auto planned = [&] { return ordered_json::parse(powerResponse(store, nullptr, &patch).body)["devices"][0]["planned"]; };
    EXPECT_TRUE(planned().is_null()) << "no distributor is assigned";
    PatchSettings settings;
    settings.distributorDevices = {{"HV1", meter().device()->id}, {"HV2", meter().device()->id}, {"HV3", base::UUID::random()}};
    patch.setSettings(settings);
    EXPECT_EQ(planned(), 0.0);
    std::vector<PatchFixture> lamps(5);
    const char* const distributors[] = {"HV1", "HV1", "HV2", "HV3", "HV1"};
    for (std::size_t i = 0; i < lamps.size(); ++i) {
        lamps[i].distributor = distributors[i];
        if (i != 4) lamps[i].powerW = 100 * static_cast<double>(i + 1);
    }
    patch.apply(lamps, true, "");
    EXPECT_EQ(planned(), 600.0) << "one of unknown power adds nothing";
}

TEST_F(MeteringRoutesTest, AlarmsAreTextAndSeverity) {
    AlarmRule rule;
    rule.address = 19050;
    rule.threshold = 50.5;
    rule.delay = 0;
    rule.severity = AlarmSeverity::warning;
    meter().alarms().upsert(rule);
    AlarmRule unknown;
    unknown.address = 777;
    unknown.delay = 0;
    meter().alarms().upsert(unknown);
    meter().alarms().setCommLoss(true, 0);
    apply({{19050, 51.0}, {777, 1.0}});
    meter().alarms().communicationFailed(loop.clock().moment());
    const ordered_json expected = {{{"text", "Kommunikationsausfall"}, {"severity", "alarm"}},
                                   {{"text", "Netz Frequenz > 50,500 Hz"}, {"severity", "warning"}},
                                   {{"text", "Register 777"}, {"severity", "alarm"}}};
    EXPECT_EQ(power()["devices"].at(0)["alarms"], expected);
    EXPECT_EQ(device(meter().device()->id.text())["alarms"], expected);
}

TEST_F(MeteringRoutesTest, ATrendHasAbout180Points) {
    for (int n = 0; n < 3600; ++n) apply({{19026, static_cast<double>(n)}});
    const auto trend = power()["devices"].at(0)["trend"];
    ASSERT_EQ(trend.size(), 180u);
    EXPECT_EQ(trend[0], 0);
    EXPECT_EQ(trend[1], 20);
}

TEST_F(MeteringRoutesTest, DeviceHasItsKeysInOrder) {
    apply({{19000, 230.1}, {19012, 5.0}, {19014, 6.0}, {19016, 7.0}, {19026, 1500.0}, {19052, 1.0}});
    loop.clock().advance(base::Seconds(2));
    apply({{19000, 229.0}, {19012, 5.0}, {19014, 6.0}, {19016, 7.0}, {19026, 1400.0}, {19052, 1.0}});
    const auto now = base::secondsSince1970(loop.clock().now());
    const auto json = device(meter().device()->id.text());
    EXPECT_EQ(keys(json),
              (std::vector<std::string>{"name", "status", "connection", "profile", "lastUpdate", "latency", "minMaxSince", "p", "i",
                                        "trendP", "trendI", "trendSeconds", "groups", "alarms", "events", "meters"}));
    EXPECT_EQ(json["connection"], "Simulation");
    EXPECT_EQ(json["profile"], "UMG (Messwerttabelle 19000)");
    EXPECT_EQ(json["lastUpdate"], now);
    EXPECT_EQ(json["minMaxSince"], now - 2);
    EXPECT_EQ(json["latency"], 0.25);
    EXPECT_EQ(json["p"], 1400);
    EXPECT_EQ(json["i"], (ordered_json{5.0, 6.0, 7.0}));
    EXPECT_EQ(json["trendP"], (ordered_json{1500.0, 1400.0}));
    ASSERT_EQ(json["trendI"].size(), 3u);
    EXPECT_EQ(json["trendI"][2], (ordered_json{7.0, 7.0}));
    EXPECT_EQ(json["trendSeconds"], 2);
    ASSERT_EQ(json["groups"].size(), 21u);
    const auto& voltage = json["groups"][0];
    EXPECT_EQ(voltage["name"], "Spannung L-N");
    EXPECT_EQ(voltage["rows"][0],
              (ordered_json{{"label", "L1"}, {"value", "229,0 V"}, {"min", "229,0 V"}, {"max", "230,1 V"}, {"maxTime", now - 2}}));
    EXPECT_EQ(voltage["rows"][1],
              (ordered_json{{"label", "L2"}, {"value", "–"}, {"min", "–"}, {"max", "–"}, {"maxTime", nullptr}}));
    EXPECT_EQ(json["groups"][7]["rows"][1]["value"], "rechts");
}

TEST_F(MeteringRoutesTest, AnUnknownMeterIs404) {
    for (const char* id : {"nonsense", "00000000-0000-0000-0000-000000000000"}) {
        const auto response = get(1, {"api", "device", id});
        EXPECT_EQ(response.status, 404);
        EXPECT_EQ(response.body, R"({"error":"Gerät nicht gefunden"})");
    }
}

TEST_F(MeteringRoutesTest, AMeterIsFoundByItsIdInAnyCase) {
    auto id = meter().device()->id.text();
    for (auto& character : id) character = static_cast<char>(std::tolower(character));
    EXPECT_EQ(get(1, {"api", "device", id}).status, 200);
}

TEST_F(MeteringRoutesTest, EventsOfADeviceAreItsOwn) {
    Device second;
    store.add(second);
    store.monitor(second.id)->alarms().setCommLoss(true, 0);
    store.monitor(second.id)->alarms().communicationFailed(loop.clock().moment());
    const auto events = device(second.id.text())["events"];
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0]["text"], "Kommunikationsausfall – keine Antwort seit 0 s");
    EXPECT_EQ(events[0]["level"], "alarm");
    EXPECT_EQ(device(meter().device()->id.text())["events"], ordered_json::array());
}
