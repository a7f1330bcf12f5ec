#include "Kestrelyne/App/RDMVerbs.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <nlohmann/json.hpp>

#include "Kestrelyne/App/ControlClient.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"
#include "Kestrelyne/Lighting/RDMRig.hpp"
#include "Support/TemporaryFolder.hpp"

namespace kestrelyne {
namespace {

using nlohmann::json;
using namespace std::chrono_literals;

constexpr UID a{0x7FF0, 0x0000ABCD}, b{0x7FF0, 0x0000ABCE}, elsewhere{0x7FF0, 0x0000ABCF};
const std::string first = "7FF0:0000ABCD", second = "7FF0:0000ABCE", third = "7FF0:0000ABCF";

/// The verbs of a scanner with three found devices, asked as by another process; time passes while an answer is awaited.
class RDMVerbsTest : public RDMRig {
protected:
    void SetUp() override {
        nodes_[0].universes = {1, 2};
        for (const auto& uid : {a, b, elsewhere}) {
            auto& device = fake(uid, "10.0.0.1", uid == elsewhere ? 2 : 1);
            device.info(16, uid == a ? 1 : 101, 0, 1, 2);
            device.put(PID::deviceLabel, bytesOf(uid == a ? "Front 1" : uid == b ? "Front 2" : "Rück"));
            device.put(PID::supportedParameters, {0x10, 0x00});
            device.put(PID::personality, {1, 2});
            device.put(PID::personalityDescription, 1, {1, 0, 16, 'A'});
            device.put(PID::personalityDescription, 2, {2, 0, 24, 'B'});
            device.put(PID::identify, {0});
            for (const int pid : {0xF0, 0xE0, 0x82, 0x403, 0x1001, 0x1000}) device.writable.insert(static_cast<std::uint16_t>(pid));
        }
        addRDMVerbs(server_, scanner_);
        server_.start({.path = folder_ / "control.sock"});
        scan();
        sent_.clear();
    }
    void TearDown() override { server_.stop(); }

    enum class Time { passes, stands };
    json ask(const json& request, Time time = Time::passes) {
        auto answer = std::async(std::launch::async,
                                 [this, request] { return ControlClient(folder_ / "control.sock").request(request, 20s); });
        const auto there = [&] { return answer.wait_for(0s) == std::future_status::ready; };
        while (!there())
            if (!loop_.runUntilSeen(there, 20ms) && time == Time::passes) loop_.advance(0.4s);
        return answer.get();
    }
    void fails(const json& request, const std::string& text, ExitCode code = ExitCode::failed) {
        try {
            ADD_FAILURE() << ask(request).dump();
        } catch (const ControlError& error) {
            EXPECT_EQ(error.what(), text);
            EXPECT_EQ(error.code(), code);
        }
    }

    TemporaryFolder folder_;
    ControlServer server_;
};

TEST_F(RDMVerbsTest, AScanIsBegunAndFollowed) {
    EXPECT_EQ(ask({{"verb", "rdm.scan"}}, Time::stands), json({{"ok", true}}));
    EXPECT_TRUE(*scanner_.isScanning());
    const auto during = ask({{"verb", "rdm.list"}}, Time::stands);
    EXPECT_EQ(during["isScanning"], true);
    EXPECT_EQ(during["progress"], "Frage Gerätelisten von 1 Nodes ab …");
    loop_.advance(30s);
    EXPECT_EQ(ask({{"verb", "rdm.list"}})["isScanning"], false);
}

TEST_F(RDMVerbsTest, TheListHasWhatATableNeeds) {
    const auto list = ask({{"verb", "rdm.list"}});
    ASSERT_EQ(list["devices"].size(), 3u);
    const auto& device = list["devices"][0];
    EXPECT_EQ(device["uid"], first);
    EXPECT_EQ(device["name"], "Front 1");
    EXPECT_EQ(device["nodeName"], "Node");
    EXPECT_EQ(device["universeLabel"], "1 (0:0:1)");
    EXPECT_EQ(device["info"]["startAddress"], 1);
    EXPECT_EQ(device["responding"], true);
    EXPECT_EQ(device["supported"], nullptr);
    EXPECT_EQ(list["writeEnabled"], false);
    EXPECT_EQ(list["lastWriteResult"], nullptr);
    EXPECT_TRUE(list["lastScan"].is_number());
    EXPECT_EQ(list["progress"], "");
}

TEST_F(RDMVerbsTest, ShowingReadsTheSettingsOnce) {
    const auto shown = ask({{"verb", "rdm.show"}, {"uid", "7ff0:0000abcd"}})["device"];
    EXPECT_EQ(shown["uid"], first);
    EXPECT_EQ(shown["personalities"],
              json::parse(R"([{"number":1,"name":"A","footprint":16},{"number":2,"name":"B","footprint":24}])"));
    EXPECT_EQ(shown["supported"], json({0x1000}));
    const auto before = sent_.size();
    EXPECT_EQ(ask({{"verb", "rdm.show"}, {"uid", first}})["device"], shown);
    EXPECT_EQ(sent_.size(), before);
    fails({{"verb", "rdm.show"}, {"uid", "0001:00000001"}}, "Gerät nicht gefunden");
    fails({{"verb", "rdm.show"}, {"uid", "Front 1"}}, "„Front 1“ ist keine RDM-Kennung wie 7FF0:0000ABCD.", ExitCode::wrongWords);
}

TEST_F(RDMVerbsTest, SensorsAreReadBeforeTheAnswer) {
    fakes_[a].info(16, 1, 1);
    fakes_[a].sensor(0, 1, 0, 80, "Kopf");
    fakes_[a].sensorValue(0, 40);
    scan();
    fakes_[a].sensorValue(0, 41);
    EXPECT_EQ(ask({{"verb", "rdm.sensors"}})["devices"][0]["sensors"][0]["value"], 41);
}

TEST_F(RDMVerbsTest, WritingIsAllowedAndLocked) {
    fails({{"verb", "rdm.identify"}, {"uid", first}, {"on", true}}, "Schreiben ist gesperrt");
    EXPECT_TRUE(sent_.empty());
    EXPECT_EQ(ask({{"verb", "rdm.write"}, {"on", true}}), json({{"writeEnabled", true}}));
    EXPECT_EQ(ask({{"verb", "rdm.identify"}, {"uid", first}, {"on", true}})["device"]["identifying"], true);
    EXPECT_EQ(ask({{"verb", "rdm.write"}, {"on", false}}), json({{"writeEnabled", false}}));
    fails({{"verb", "rdm.identify"}, {"uid", first}, {"on", false}}, "Schreiben ist gesperrt");
    EXPECT_EQ(ask({{"verb", "rdm.list"}})["lastWriteResult"], "Schreiben ist gesperrt");
}

TEST_F(RDMVerbsTest, EachWriteReachesItsDevice) {
    scanner_.setWriteEnabled(true);
    struct Row {
        json request;
        std::uint16_t pid;
        Octets data;
    };
    for (auto& [request, pid, data] :
         std::initializer_list<Row>{{{{"verb", "rdm.mode"}, {"number", 2}}, 0xE0, {2}},
                                    {{{"verb", "rdm.label"}, {"text", "Küche"}}, 0x82, bytesOf("Küche")},
                                    {{{"verb", "rdm.lamp"}, {"state", 3}}, 0x403, {3}},
                                    {{{"verb", "rdm.reset"}, {"cold", false}}, 0x1001, {1}},
                                    {{{"verb", "rdm.reset"}, {"cold", true}}, 0x1001, {0xFF}},
                                    {{{"verb", "rdm.address"}, {"address", 300}}, 0xF0, {1, 44}}}) {
        sent_.clear();
        auto whole = request;
        whole["uid"] = second;
        EXPECT_EQ(ask(whole)["device"]["uid"], second);
        ASSERT_FALSE(commands().empty());
        EXPECT_EQ(commands()[0].pid, pid);
        EXPECT_EQ(commands()[0].data, data);
        EXPECT_TRUE(commands()[0].isSet);
        EXPECT_EQ(commands()[0].to, b);
    }
}

TEST_F(RDMVerbsTest, AFailedWriteIsAnErrorWithTheScannersText) {
    scanner_.setWriteEnabled(true);
    fakes_[a].instead = [](const RDMCommand& command) {
        return command.isSet ? std::optional(RDMFake::Reply{.type = netcore::RDM::nack, .data = {0, 6}}) : std::nullopt;
    };
    fails({{"verb", "rdm.address"}, {"uid", first}, {"address", 600}}, "Wert außerhalb des gültigen Bereichs");
    fakes_[a].silent = true;
    fails({{"verb", "rdm.label"}, {"uid", first}, {"text", "x"}}, "keine Antwort");
    fails({{"verb", "rdm.lamp"}, {"uid", "0001:00000001"}, {"state", 1}}, "Gerät nicht gefunden");
}

TEST_F(RDMVerbsTest, NumbersThatNoDeviceCouldTakeAreWrongWords) {
    scanner_.setWriteEnabled(true);
    fails({{"verb", "rdm.address"}, {"uid", first}, {"address", 65536}}, "„address“ muss eine Zahl von 0 bis 65535 sein.",
          ExitCode::wrongWords);
    fails({{"verb", "rdm.mode"}, {"uid", first}, {"number", 256}}, "„number“ muss eine Zahl von 0 bis 255 sein.",
          ExitCode::wrongWords);
    fails({{"verb", "rdm.lamp"}, {"uid", first}}, "„state“ muss eine Zahl von 0 bis 255 sein.", ExitCode::wrongWords);
    fails({{"verb", "rdm.sequential"}, {"uids", {first}}, {"start", 0}}, "„start“ muss eine Zahl von 1 bis 512 sein.",
          ExitCode::wrongWords);
    fails({{"verb", "rdm.sequential"}, {"uids", {first}}, {"start", 1}, {"gap", 512}}, "„gap“ muss eine Zahl von 0 bis 511 sein.",
          ExitCode::wrongWords);
    EXPECT_TRUE(sent_.empty());
}

TEST_F(RDMVerbsTest, AnAddressTellsWhoIsInItsWay) {
    scanner_.setWriteEnabled(true);
    EXPECT_EQ(ask({{"verb", "rdm.address"}, {"uid", first}, {"address", 90}})["overlaps"], json({"Front 2"}));
    EXPECT_EQ(ask({{"verb", "rdm.address"}, {"uid", first}, {"address", 1}})["overlaps"], json::array());
}

TEST_F(RDMVerbsTest, APlanIsShownWithoutWriting) {
    const auto answer =
        ask({{"verb", "rdm.sequential"}, {"uids", {second, first, second}}, {"start", 10}, {"gap", 2}, {"dryRun", true}});
    EXPECT_EQ(answer["plan"], json::parse(R"([{"uid":"7FF0:0000ABCE","name":"Front 2","first":10,"last":25,"fits":true},)"
                                          R"({"uid":"7FF0:0000ABCD","name":"Front 1","first":28,"last":43,"fits":true}])"));
    EXPECT_EQ(answer["overlaps"], json::array());
    EXPECT_FALSE(answer.contains("report"));
    EXPECT_TRUE(sent_.empty());
    EXPECT_EQ(ask({{"verb", "rdm.sequential"}, {"uids", {second}}, {"start", 10}, {"dryRun", true}})["overlaps"],
              json({"Front 1"}));
}

TEST_F(RDMVerbsTest, ASequenceIsWrittenWhereItIsAllowed) {
    const json request = {{"verb", "rdm.sequential"}, {"uids", {first, second}}, {"start", 490}};
    fails(request, "Schreiben ist gesperrt");
    EXPECT_TRUE(sent_.empty());
    scanner_.setWriteEnabled(true);
    EXPECT_EQ(ask(request)["report"], json({"Front 2: passt nicht mehr ins Universum"}));
    EXPECT_EQ(commands()[0].data, (Octets{1, 0xEA}));
}

TEST_F(RDMVerbsTest, ASequenceStaysWithinOneUniverseAndKnownDevices) {
    fails({{"verb", "rdm.sequential"}, {"uids", {first, third}}, {"start", 1}, {"dryRun", true}},
          "Fortlaufende Adressierung nur innerhalb eines Universums.");
    fails({{"verb", "rdm.sequential"}, {"uids", {first, "0001:00000001"}}, {"start", 1}}, "Gerät nicht gefunden: 0001:00000001");
    fails({{"verb", "rdm.sequential"}, {"uids", json::array()}, {"start", 1}}, "Es ist kein Gerät genannt.", ExitCode::wrongWords);
}

}  // namespace
}  // namespace kestrelyne
