#include "Kestrelyne/Remote/LightingRoutes.hpp"

#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <optional>

#include "Base/BackgroundPool.hpp"
#include "Kestrelyne/Remote/WebServer.hpp"
#include "NetCore/ArtNetRDM.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

namespace kestrelyne {

using nlohmann::ordered_json;
using namespace std::chrono_literals;
namespace RDM = netcore::RDM;
using RDM::PID;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr RDM::UID lampUID{.manufacturer = 0x1234, .device = 1};
constexpr int lampUniverse = 0;  // of Art-Net; the console's 1

Bytes text(std::string_view text) { return {text.begin(), text.end()}; }

/// One fixture behind one node, at 1.041 with 16 channels; it answers what is asked while `answers` is true.
class Fixture {
public:
    RDMLink link(const base::Clock& clock) {
        return {
            .nodes = [] { return std::vector<RDMLink::Node>{{.ip = "127.0.0.50", .name = "Node", .universes = {lampUniverse}}}; },
            .send = [this](const Bytes& packet, const std::string&) { take(packet); },
            .log = [](NetEvent::Level, const std::string&) {},
            .now = [&clock] { return clock.moment(); }};
    }

    std::shared_ptr<RDMTransport> transport;
    bool answers = true;
    bool identifying = false;
    int address = 41, personality = 1, sets = 0, temperature = 45;

private:
    void take(const Bytes& packet) {
        const auto rdm = netcore::ArtNet::parseRdm(packet);
        if (!rdm) return transport->handleTod({.universe = lampUniverse, .uids = {lampUID}}, "127.0.0.50");
        if (!answers) return;
        const auto& frame = rdm->packet;
        const auto pid = static_cast<std::uint16_t>(frame.at(20) << 8 | frame.at(21));
        const bool isSet = frame.at(19) == 0x30;
        const Bytes data(frame.begin() + 23, frame.end() - 2);
        const auto answer = isSet ? set(static_cast<PID>(pid), data) : get(static_cast<PID>(pid), data);
        if (!answer) return;
        transport->deliver(RDM::Response{.source = lampUID,
                                         .transaction = frame.at(14),
                                         .responseType = RDM::ack,
                                         .pid = pid,
                                         .data = *answer,
                                         .isSetResponse = isSet});
    }
    std::optional<Bytes> set(PID pid, const Bytes& data) {
        ++sets;
        if (pid == PID::startAddress) address = data.at(0) << 8 | data.at(1);
        if (pid == PID::personality) personality = data.at(0);
        if (pid == PID::identify) identifying = data.at(0) == 1;
        return Bytes();
    }
    std::optional<Bytes> get(PID pid, const Bytes& data) const {
        const auto low = [](int value) { return static_cast<std::uint8_t>(value); };
        switch (pid) {
            case PID::deviceInfo:
                return Bytes{1, 0, 0, 7, 5, 9, 0, 0, 0, 3, 0, 16, low(personality), 2, low(address >> 8), low(address), 0, 0, 1};
            case PID::manufacturerLabel: return text("Werk");
            case PID::modelDescription: return text("Lampe");
            case PID::deviceLabel: return text("Truss links");
            case PID::softwareVersionLabel: return text("1.4");
            case PID::sensorDefinition: {
                auto definition = Bytes{0, 0, 1, 0, 0, 0, 100, 0, 0, 0, 80, 0, 0};
                definition[10] = 0, definition[11] = 80;
                for (const auto letter : std::string("Kopf")) definition.push_back(static_cast<std::uint8_t>(letter));
                return definition;
            }
            case PID::sensorValue: return Bytes{0, 0, low(temperature), 0, 0, 0, 0, 0, 0};
            case PID::deviceHours: return Bytes{0, 0, 4, 210};
            case PID::lampHours: return Bytes{0, 0, 0, 99};
            case PID::personality: return Bytes{low(personality), 2};
            case PID::personalityDescription: {
                auto description = Bytes{data.at(0), 0, low(data.at(0) == 1 ? 16 : 32)};
                for (const auto letter : std::string(data.at(0) == 1 ? "Standard" : "Extended"))
                    description.push_back(static_cast<std::uint8_t>(letter));
                return description;
            }
            case PID::identify: return Bytes{low(identifying ? 1 : 0)};
            case PID::supportedParameters: return Bytes{0x00, 0xE0};
            case PID::factoryDefaults: return Bytes{1};
            default: return std::nullopt;
        }
    }
};

base::Co<> storeAnswer(base::Co<HTTPResponse> asked, std::optional<HTTPResponse>* answer) {
    auto given = co_await asked;
    *answer = std::move(given);
}

class LightingRoutesTest : public testing::Test {
protected:
    LightingRoutesTest() {
        fixture.transport = scanner.transport();
        PatchFixture lamp;
        lamp.fixtureID = "101";
        lamp.name = "Spot";
        lamp.manufacturer = "Werk";
        lamp.model = "Lampe";
        lamp.mode = "Standard";
        lamp.universe = 1;
        lamp.address = 41;
        lamp.footprint = 16;
        lamp.position = "Truss 1";
        lamp.distributor = "HV 1";
        lamp.breaker = "F12";
        lamp.phase = "L2";
        lamp.powerW = 750;
        id = lamp.id.text();
        PatchFixture plain;
        plain.fixtureID = "10";
        plain.name = "Blinder";
        plain.universe = 2;
        plainID = plain.id.text();
        patch.apply({lamp, plain}, true, "show.mvr");
        setControl(WebConfig::Control::full);
    }

    void setControl(WebConfig::Control control) {
        auto config = *web.config();
        config.control = control;
        config.pin = "1234";
        web.setConfig(config);
    }
    void scan() {
        const base::Task task("scan", scanner.scan());
        for (int i = 0; i < 100 && task.running(); ++i) loop.advance(100ms);
        ASSERT_FALSE(task.running());
        ASSERT_EQ(scanner.devices()->size(), 1u);
    }
    HTTPResponse ask(std::string method, std::vector<std::string> pieces, bool authed, std::string body,
                     std::map<std::string, std::string> query = {}) {
        const auto fits = [&](const APIRoute& route) {
            if (route.method != method || route.pieces.size() != pieces.size()) return false;
            for (std::size_t i = 0; i < pieces.size(); ++i)
                if (route.pieces[i] != "*" && route.pieces[i] != pieces[i]) return false;
            return true;
        };
        const auto route = std::ranges::find_if(routes, fits);
        if (route == routes.end()) return HTTPResponse::error("no such route", 599);
        APICall call;
        call.authed = authed;
        call.pieces = {"api"};
        call.pieces.insert(call.pieces.end(), pieces.begin(), pieces.end());
        call.request.method = method;
        call.request.query = std::move(query);
        call.request.body = std::move(body);
        std::optional<HTTPResponse> answer;
        const base::Task task("request", storeAnswer(route->handler(std::move(call)), &answer));
        for (int i = 0; i < 400 && !answer; ++i) loop.advance(100ms);
        EXPECT_TRUE(answer);
        return answer.value_or(HTTPResponse{});
    }
    HTTPResponse act(const std::string& lamp, const std::string& action, const std::string& body = "{}", bool authed = true) {
        return ask("POST", {"fixture", lamp, action}, authed, body);
    }
    ordered_json list(const std::string& query = "") {
        return ordered_json::parse(ask("GET", {"patch"}, false, "", {{"q", query}}).body);
    }
    ordered_json detail(const std::string& lamp) { return ordered_json::parse(ask("GET", {"fixture", lamp}, false, "").body); }
    static std::string errorOf(const HTTPResponse& response) {
        return std::to_string(response.status) + " " + nlohmann::json::parse(response.body).value("error", "(none)");
    }
    static std::vector<std::string> keys(const ordered_json& object) {
        std::vector<std::string> all;
        for (const auto& [key, value] : object.items()) all.push_back(key);
        return all;
    }

    TestLoop loop;
    TemporaryFolder folder;
    base::StoreWriter writer;
    SettingsStore settings;
    base::BackgroundPool pool{"test.pool", 1};
    WebServer web{{.settings = settings,
                   .pool = pool,
                   .hostAddresses = [] { return std::vector<base::HostAddress>(); },
                   .webRoot = "/nowhere",
                   .tailscalePaths = {}}};
    PatchStore patch{folder.path(), writer};
    Fixture fixture;
    RDMScanner scanner{fixture.link(loop.clock())};
    bool networkRuns = true;
    std::vector<std::string> nodes{"127.0.0.50"};
    std::vector<DMXSourceView> senders;
    DMXOutput output{patch,
                     {.running = [this] { return networkRuns; },
                      .sources = [this](const UniverseKey&) { return senders; },
                      .nodes = [this](int) { return nodes; },
                      .adapters = [] { return std::vector<std::uint32_t>(); },
                      .loopbackOnly = true,
                      .log = [](NetEvent::Level, const std::string&) {},
                      .now = [this] { return loop.clock().steadyNow(); }},
                     {.artnet = 1, .sacn = 1}};
    std::vector<std::string> logged;
    std::vector<APIRoute> routes =
        lightingRoutes({.web = web, .patch = patch, .dmx = output, .rdm = &scanner, .log = [this](std::string text) {
                            logged.push_back(std::move(text));
                        }});
    std::string id, plainID;
};

}  // namespace

TEST_F(LightingRoutesTest, TheListTellsOfThePatchTheScanAndTheTestLight) {
    const auto all = list();
    EXPECT_EQ(keys(all), (std::vector<std::string>{"fixtures", "total", "rdmScan", "scanning", "scanProgress", "writeEnabled",
                                                   "overlaps", "source", "dmx"}));
    EXPECT_EQ(all["total"], 2);
    EXPECT_TRUE(all["rdmScan"].is_null());
    EXPECT_EQ(all["source"], "show.mvr");
    EXPECT_EQ(all["dmx"]["mode"], "off");
    ASSERT_EQ(all["fixtures"].size(), 2u);
    const auto& spot = all["fixtures"][1];
    EXPECT_EQ(keys(spot), (std::vector<std::string>{"id", "fid", "name", "type", "mode", "universe", "address", "footprint",
                                                    "addressText", "position", "distributor", "plugbox", "socket", "breaker",
                                                    "phase", "power", "notes", "lit", "rdm"}));
    EXPECT_EQ(spot["id"], id);
    EXPECT_EQ(spot["type"], "Werk Lampe");
    EXPECT_EQ(spot["addressText"], "1.041");
    EXPECT_EQ(spot["power"], 750.0);
    EXPECT_TRUE(spot["rdm"].is_null());
    EXPECT_TRUE(all["fixtures"][0]["power"].is_null());
}

TEST_F(LightingRoutesTest, ASearchPutsTheVeryNumberFirst) {
    std::vector<PatchFixture> lamps(3);
    lamps[0].fixtureID = "100";
    lamps[1].fixtureID = "A10";
    lamps[2].fixtureID = "a1";
    patch.apply(lamps, true, "");
    const auto fids = [](const ordered_json& answer) {
        std::vector<std::string> all;
        for (const auto& entry : answer["fixtures"]) all.push_back(entry["fid"]);
        return all;
    };
    EXPECT_EQ(fids(list(" A1 ")), (std::vector<std::string>{"a1", "A10"}));
    EXPECT_EQ(fids(list("10")), std::vector<std::string>{"100"});
    EXPECT_EQ(list("10")["total"], 1);
    EXPECT_EQ(list("nirgends")["fixtures"], ordered_json::array());
}

TEST_F(LightingRoutesTest, TheListEndsAt300Lamps) {
    std::vector<PatchFixture> lamps(350);
    for (std::size_t i = 0; i < lamps.size(); ++i) lamps[i].fixtureID = std::to_string(i + 1);
    patch.apply(lamps, true, "");
    const auto all = list();
    EXPECT_EQ(all["fixtures"].size(), 300u);
    EXPECT_EQ(all["total"], 350);
    const auto ones = list("1");
    EXPECT_EQ(ones["fixtures"][0]["fid"], "1");
    EXPECT_EQ(ones["total"], 111);
}

TEST_F(LightingRoutesTest, OverlapsFollowThePatch) {
    EXPECT_EQ(list()["overlaps"], 0);
    PatchFixture second;
    second.universe = 1;
    second.address = 56;
    patch.update(second);
    EXPECT_EQ(list()["overlaps"], 1);
}

TEST_F(LightingRoutesTest, ALampIsJoinedWithItsDevice) {
    fixture.temperature = 80;
    scan();
    const auto lamp = detail(id);
    const auto& rdm = lamp["rdm"];
    EXPECT_EQ(rdm["uid"], "1234:00000001");
    EXPECT_EQ(rdm["online"], true);
    EXPECT_EQ(rdm["identify"], false);
    EXPECT_EQ(rdm["lit"], false);
    EXPECT_EQ(rdm["temp"], 80.0);
    EXPECT_EQ(rdm["hot"], true) << "at its limit";
    EXPECT_EQ(rdm["firmware"], "1.4");
    EXPECT_EQ(rdm["hours"], 1234);
    EXPECT_EQ(rdm["lampHours"], 99);
    EXPECT_EQ(rdm["manufacturer"], "Werk");
    EXPECT_EQ(rdm["label"], "Truss links");
    EXPECT_EQ(rdm["startAddress"], 41);
    EXPECT_EQ(rdm["footprint"], 16);
    EXPECT_EQ(rdm["personality"], 1);
    EXPECT_EQ(rdm["personalities"], ordered_json::parse(R"([{"number":1,"name":"Standard","footprint":16},
                                                            {"number":2,"name":"Extended","footprint":32}])"));
    EXPECT_EQ(rdm["sensors"], ordered_json::parse(R"([{"name":"Kopf","value":80.0,"unit":"°C","max":80.0,"hot":true}])"));
    EXPECT_EQ(rdm["factory"], true);
    EXPECT_EQ(rdm["writeEnabled"], false);
    EXPECT_TRUE(lamp["failure"].is_null());
    EXPECT_EQ(list("101")["fixtures"][0]["rdm"]["temp"], 80.0);
    EXPECT_FALSE(list()["rdmScan"].is_null());
    EXPECT_TRUE(detail(plainID)["rdm"].is_null());
}

TEST_F(LightingRoutesTest, AnUnknownLampComesBeforeEveryOtherRefusal) {
    for (const auto& lamp : {base::UUID::random().text(), std::string("x")}) {
        EXPECT_EQ(errorOf(ask("GET", {"fixture", lamp}, false, "")), "404 Lampe nicht gefunden");
        EXPECT_EQ(errorOf(act(lamp, "identify", "{}", false)), "404 Lampe nicht gefunden");
    }
}

TEST_F(LightingRoutesTest, ActionsNeedASessionAndThePermission) {
    scan();
    scanner.setWriteEnabled(true);
    for (const auto* action : {"highlight", "identify", "address", "mode", "refresh", "nothing"})
        EXPECT_EQ(errorOf(act(id, action, "{}", false)), "401 Anmeldung nötig") << action;
    setControl(WebConfig::Control::view);
    EXPECT_EQ(errorOf(act(id, "identify")), "401 Anmeldung nötig") << "phones may only look";
    setControl(WebConfig::Control::find);
    EXPECT_EQ(errorOf(act(id, "address", R"({"address":513})")),
              "403 Adressänderung ist in den Web-App-Einstellungen nicht freigegeben");
    EXPECT_EQ(errorOf(act(id, "mode", R"({"number":2})")), "403 Modusänderung ist in den Web-App-Einstellungen nicht freigegeben");
    EXPECT_EQ(errorOf(act(id, "nothing")), "404 unbekannte Aktion");
    EXPECT_EQ(fixture.sets, 0);
    EXPECT_EQ(act(id, "identify").status, 200);
    EXPECT_TRUE(fixture.identifying);
    setControl(WebConfig::Control::full);
    for (const auto* body : {R"({"address":513})", R"({"address":0})", R"({"address":"7"})", R"({"address":1.5})", "{}", "x"})
        EXPECT_EQ(errorOf(act(id, "address", body)), "400 ungültig") << body;
    for (const auto* body : {R"({"number":3})", R"({"number":0})", R"({"number":257})", "{}"})
        EXPECT_EQ(errorOf(act(id, "mode", body)), "400 ungültig") << body;
}

TEST_F(LightingRoutesTest, IdentifyIsSwitchedOnAndOff) {
    scan();
    scanner.setWriteEnabled(true);
    EXPECT_EQ(ordered_json::parse(act(id, "identify").body)["rdm"]["identify"], true);
    EXPECT_EQ(ordered_json::parse(act(id, "identify", R"({"on":false})").body)["rdm"]["identify"], false);
    EXPECT_FALSE(fixture.identifying);
}

TEST_F(LightingRoutesTest, AChangeAnswersWhatTheLampNowReports) {
    scan();
    scanner.setWriteEnabled(true);
    const auto moved = ordered_json::parse(act(id, "address", R"({"address":100})").body);
    EXPECT_EQ(fixture.address, 100);
    EXPECT_EQ(moved["rdm"]["startAddress"], 100);
    EXPECT_TRUE(moved["failure"].is_null());
    EXPECT_EQ(moved["address"], 41) << "the patch is the console's";
    EXPECT_TRUE(detail(id)["rdm"].is_null()) << "from now on nobody answers where the patch looks";
    // By its link it is found at any address.
    auto linked = *patch.patch()->fixture(base::UUID::parse(id).value());
    linked.rdmUID = lampUID.text();
    patch.update(linked);
    EXPECT_EQ(ordered_json::parse(act(id, "mode", R"({"number":2})").body)["rdm"]["personality"], 2);
}

TEST_F(LightingRoutesTest, AWriteThatFailsSaysWhy) {
    scan();
    const auto locked = ordered_json::parse(act(id, "address", R"({"address":100})").body);
    EXPECT_EQ(locked["failure"], "Schreiben ist gesperrt");
    EXPECT_EQ(locked["rdm"]["startAddress"], 41);
    EXPECT_EQ(fixture.sets, 0);
    scanner.setWriteEnabled(true);
    fixture.answers = false;
    EXPECT_EQ(ordered_json::parse(act(id, "identify").body)["failure"], "keine Antwort");
}

TEST_F(LightingRoutesTest, WithoutADeviceNothingIsDone) {
    const auto* const missing = "404 Kein RDM-Gerät an dieser Adresse gefunden – RDM-Scan starten";
    EXPECT_EQ(errorOf(act(id, "identify")), missing);
    EXPECT_EQ(errorOf(act(id, "address", R"({"address":1})")), missing);
    EXPECT_EQ(errorOf(act(id, "mode", R"({"number":1})")), missing);
    EXPECT_EQ(errorOf(act(id, "refresh")), "404 kein RDM-Gerät");
}

TEST_F(LightingRoutesTest, RefreshReadsTheSettingsAgain) {
    scan();
    detail(id);
    fixture.personality = 2;
    const auto fresh = ordered_json::parse(act(id, "refresh").body);
    EXPECT_EQ(fresh["rdm"]["personality"], 2);
}

TEST_F(LightingRoutesTest, ALampIsMadeBrightAndDarkAgain) {
    EXPECT_EQ(act(id, "highlight").status, 200);
    EXPECT_EQ(std::get<DMXOutput::Fixtures>(*output.mode()).ids, std::set{base::UUID::parse(id).value()});
    EXPECT_EQ(list("101")["fixtures"][0]["lit"], true);
    EXPECT_EQ(list()["dmx"]["text"], "1 Lampe hell – Art-Net, Universum 1");
    EXPECT_EQ(act(id, "highlight", R"({"on":false})").status, 200);
    EXPECT_FALSE(output.sending());
    EXPECT_EQ(logged, (std::vector<std::string>{"Web-App: 101 · Spot hell (DMX)", "Web-App: 101 · Spot DMX aus"}));
}

TEST_F(LightingRoutesTest, ARefusedLightIs409WithTheReason) {
    networkRuns = false;
    EXPECT_EQ(errorOf(act(id, "highlight")),
              "409 Zum Senden bitte zuerst die Netzwerküberwachung starten (für Konfliktprüfung und Ziel-Nodes).");
    EXPECT_TRUE(logged.empty());
}

TEST_F(LightingRoutesTest, AScanIsStartedForASession) {
    EXPECT_EQ(errorOf(ask("POST", {"rdm", "scan"}, false, "{}")), "401 Anmeldung nötig");
    EXPECT_EQ(ask("POST", {"rdm", "scan"}, true, "{}").status, 200);
    EXPECT_EQ(list()["scanning"], true);
    loop.advance(10s);
    EXPECT_EQ(scanner.devices()->size(), 1u);
    const auto without = lightingRoutes({.web = web, .patch = patch, .dmx = output});
    routes = without;
    EXPECT_EQ(errorOf(ask("POST", {"rdm", "scan"}, true, "{}")), "503 Netzwerk nicht bereit");
    EXPECT_TRUE(detail(id)["rdm"].is_null());
}

TEST_F(LightingRoutesTest, TheTestLightIsStartedWithItsOptions) {
    const auto start = [this](const std::string& body, bool authed = true) {
        return errorOf(ask("POST", {"dmx", "start"}, authed, body));
    };
    EXPECT_EQ(start(R"({"mode":"all"})", false), "401 Anmeldung nötig");
    setControl(WebConfig::Control::view);
    EXPECT_EQ(start(R"({"mode":"all"})"), "401 Anmeldung nötig");
    setControl(WebConfig::Control::find);
    EXPECT_EQ(start("{}"), "400 Die Art muss fixtures, all, chase oder raw sein.");
    EXPECT_FALSE(output.sending());
    EXPECT_EQ(start(R"({"mode":"fixtures","fixtures":[")" + id + R"("],"level":0.5,"proto":"sacn","priority":90})"), "200 (none)");
    EXPECT_EQ(std::get<DMXOutput::Fixtures>(*output.mode()).ids, std::set{base::UUID::parse(id).value()});
    const auto light = list()["dmx"];
    EXPECT_EQ(light["level"], 0.5);
    EXPECT_EQ(light["proto"], "sacn");
    EXPECT_EQ(light["priority"], 90.0);
    networkRuns = false;
    EXPECT_EQ(start(R"({"mode":"all"})").substr(0, 3), "409");
}

TEST_F(LightingRoutesTest, TheTestLightIsEndedByASession) {
    ASSERT_TRUE(output.start(DMXOutput::All{}));
    EXPECT_EQ(errorOf(ask("POST", {"dmx", "stop"}, false, "{}")), "401 Anmeldung nötig");
    EXPECT_TRUE(output.sending());
    EXPECT_EQ(ask("POST", {"dmx", "stop"}, true, "{}").status, 200);
    EXPECT_FALSE(output.sending());
}

}  // namespace kestrelyne
