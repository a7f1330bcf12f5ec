#include "Kestrelyne/App/NetworkVerbs.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <future>
#include <nlohmann/json.hpp>
#include <set>

#include "Kestrelyne/App/ControlClient.hpp"
#include "Kestrelyne/App/ControlVerbs.hpp"
#include "NetCore/IPv4.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

namespace kestrelyne {
namespace {

using nlohmann::json;
using namespace std::chrono_literals;

/// An application that watches no adapter of this computer, asked as by another process.
class NetworkVerbsTest : public testing::Test {
protected:
    void SetUp() override {
        auto config = *app_.network().config();
        config.interfaces = {"kein-adapter"};
        app_.network().setConfig(config);
        addControlVerbs(server_, app_, settings_, writer_);
        server_.start({.path = folder_ / "control.sock"});
    }
    void TearDown() override {
        server_.stop();
        app_.stop();
    }
    json ask(const json& request) {
        auto answer = std::async(std::launch::async,
                                 [this, request] { return ControlClient(folder_ / "control.sock").request(request, 20s); });
        while (answer.wait_for(0s) != std::future_status::ready)
            if (loop_.runUntil([&] { return answer.wait_for(0s) == std::future_status::ready; }, 2ms)) break;
        return answer.get();
    }
    ExitCode codeOf(const json& request) {
        try {
            ask(request);
            return ExitCode::done;
        } catch (const ControlError& error) {
            return error.code();
        }
    }
    NetConfig stored() {
        const auto value = SettingsFile(folder_ / "settings.sqlite").get("network.v1");
        return value ? decodeNetConfig(std::get<SettingBlob>(*value).bytes) : NetConfig();
    }
    // One frame of a universe, as if it had come in.
    void hear(int universe, const std::string& sender) {
        std::vector<std::uint8_t> frame = {'A', 'r', 't', '-', 'N', 'e', 't', 0, 0x00, 0x50, 0, 14, 0, 0, 0, 0, 0, 2, 1, 2};
        frame[14] = static_cast<std::uint8_t>(universe);
        app_.network().intake().packets.handleArtNet(
            {.data = frame, .source = *netcore::ipToUInt32(sender), .sourcePort = 6454, .time = loop_.loop().clock().moment()});
    }

    TemporaryFolder folder_;
    TestLoop loop_{base::SystemClock::shared()};
    base::StoreWriter writer_;
    SettingsStore settings_{std::make_unique<SettingsFile>(folder_ / "settings.sqlite"), writer_};
    KestrelyneApp app_{loop_.loop(), settings_, writer_, {.dataFolder = folder_ / "data", .webRoot = folder_ / "web"}};
    ControlServer server_;
};

TEST_F(NetworkVerbsTest, TheMonitorIsStartedAndStopped) {
    EXPECT_EQ(ask({{"verb", "monitor.status"}})["running"], false);
    EXPECT_EQ(ask({{"verb", "monitor.start"}})["running"], true);
    EXPECT_TRUE(*app_.network().isRunning());
    const auto status = ask({{"verb", "status"}})["network"];
    EXPECT_EQ(status["running"], true);
    EXPECT_EQ(status["adapters"], json::array());
    EXPECT_EQ(ask({{"verb", "monitor.stop"}})["running"], false);
    EXPECT_FALSE(*app_.network().isRunning());
    EXPECT_FALSE(stored().autoStart) << "starting now is no automatic start";
}

TEST_F(NetworkVerbsTest, ASettingIsOnDiskWhenItAnswers) {
    ask({{"verb", "monitor.set"}, {"field", "autoStart"}, {"value", "true"}});
    EXPECT_TRUE(stored().autoStart);
    EXPECT_TRUE(app_.network().config()->autoStart);
    EXPECT_FALSE(*app_.network().isRunning());
    EXPECT_EQ(codeOf({{"verb", "monitor.set"}, {"field", "autoStart"}, {"value", "vielleicht"}}), ExitCode::wrongWords);
    const auto fields = ask({{"verb", "monitor.show"}})["fields"];
    EXPECT_EQ(fields.size(), netFields({}).size());
    EXPECT_THAT(fields, testing::Contains(json({{"name", "autoStart"}, {"value", "true"}})));
}

TEST_F(NetworkVerbsTest, DevicesAreAddedEditedAndRemoved) {
    const auto added = ask({{"verb", "device.add"}, {"name", "Pult"}, {"ip", "127.0.0.1"}, {"role", "console"}});
    ASSERT_EQ(stored().devices.size(), 1u);
    EXPECT_EQ(added["id"], stored().devices[0].id.text());
    auto list = ask({{"verb", "device.list"}})["devices"];
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0]["roleLabel"], "Pult");
    EXPECT_EQ(list[0]["online"], nullptr);
    EXPECT_EQ(list[0]["latency"], nullptr);
    EXPECT_EQ(list[0]["offlineFor"], nullptr);
    EXPECT_EQ(ask({{"verb", "status"}})["network"]["devices"], json({{"online", 0}, {"total", 1}}));

    ask({{"verb", "device.edit"}, {"device", "Pult"}, {"notes", "Saal"}});
    EXPECT_EQ(stored().devices[0].notes, "Saal");
    EXPECT_EQ(added["id"], stored().devices[0].id.text());
    EXPECT_EQ(codeOf({{"verb", "device.edit"}, {"device", "Pult"}, {"ip", "x"}}), ExitCode::wrongWords);
    EXPECT_EQ(codeOf({{"verb", "device.remove"}, {"device", "Node"}}), ExitCode::failed);
    EXPECT_EQ(app_.network().config()->devices, stored().devices);

    EXPECT_EQ(ask({{"verb", "device.remove"}, {"device", "127.0.0.1"}})["name"], "Pult");
    EXPECT_TRUE(stored().devices.empty());
    EXPECT_TRUE(app_.network().config()->devices.empty());
}

TEST_F(NetworkVerbsTest, AdaptersAreChosenAndNamed) {
    ask({{"verb", "adapter.use"}, {"names", {"eth9"}}});
    ask({{"verb", "adapter.role"}, {"name", "eth9"}, {"role", "management"}});
    ask({{"verb", "adapter.label"}, {"name", "eth9"}, {"label", "Büro"}});
    const auto config = stored();
    EXPECT_EQ(config.interfaces, std::vector<std::string>{"eth9"});
    EXPECT_EQ(config.interfaceRoles.at("eth9"), "Switche / Management");
    EXPECT_EQ(config.interfaceLabels.at("eth9"), "Büro");
    EXPECT_TRUE(ask({{"verb", "adapter.list"}})["adapters"].is_array());
}

TEST_F(NetworkVerbsTest, UniversesTellWhoSendsAndWhatConflicts) {
    hear(1, "10.0.0.1");
    hear(1, "10.0.0.2");
    hear(2, "10.0.0.1");
    app_.network().refreshPackets();
    const auto answer = ask({{"verb", "universes"}});
    EXPECT_EQ(answer["running"], false);
    const auto& universes = answer["universes"];
    ASSERT_EQ(universes.size(), 2u);
    EXPECT_EQ(universes[0]["proto"], "Art-Net");
    EXPECT_EQ(universes[0]["universe"], 1);
    EXPECT_EQ(universes[0]["label"], "1 (0:0:1)");
    EXPECT_EQ(universes[0]["status"], "conflict");
    ASSERT_EQ(universes[0]["senders"].size(), 2u);
    const auto senders = std::set<std::string>{universes[0]["senders"][0]["ip"], universes[0]["senders"][1]["ip"]};
    EXPECT_EQ(senders, (std::set<std::string>{"10.0.0.1", "10.0.0.2"}));
    for (const auto& sender : universes[0]["senders"]) {
        EXPECT_EQ(sender["active"], true);
        EXPECT_EQ(sender["priority"], nullptr);
    }
    EXPECT_EQ(universes[1]["status"], "ok");
    const auto status = ask({{"verb", "monitor.status"}});
    EXPECT_EQ(status["universes"], 2);
    EXPECT_EQ(status["conflicts"], 1);

    ask({{"verb", "monitor.clearLight"}});
    EXPECT_EQ(ask({{"verb", "universes"}})["universes"], json::array());
}

TEST_F(NetworkVerbsTest, TheStatusListsWhatIsWrong) {
    ask({{"verb", "monitor.start"}});
    hear(77, "10.0.0.1");
    hear(77, "10.0.0.2");
    app_.network().refreshPackets();
    // Other programs may be heard as well.
    const auto status = ask({{"verb", "monitor.status"}});
    const auto found = std::ranges::find_if(status["problems"], [](const json& problem) {
        return problem["text"].get<std::string>().starts_with("Art-Net 77 (0:4:13): Konflikt ");
    });
    ASSERT_NE(found, status["problems"].end());
    EXPECT_EQ((*found)["level"], "alarm");
    EXPECT_EQ((*found)["area"], "light");
}

TEST_F(NetworkVerbsTest, TheNetworkSideIsCleared) {
    app_.network().log(NetEvent::Level::info, "Text", networkSource);
    ask({{"verb", "monitor.clearNetwork"}});
    EXPECT_TRUE(app_.network().events()->empty());
}

TEST_F(NetworkVerbsTest, TheReferenceIsForgottenOnDisk) {
    auto config = *app_.network().config();
    config.knownMACs = {{"AA:BB:CC:DD:EE:FF", "1795258830"}};
    app_.network().setConfig(config);
    EXPECT_EQ(ask({{"verb", "monitor.known"}})["known"], json::array({{{"mac", "AA:BB:CC:DD:EE:FF"}, {"since", "1795258830"}}}));
    // Nothing has been seen yet: nothing is added.
    EXPECT_EQ(ask({{"verb", "monitor.takeKnown"}})["known"].size(), 1u);
    ask({{"verb", "monitor.forgetKnown"}});
    EXPECT_TRUE(stored().knownMACs.empty());
    EXPECT_EQ(ask({{"verb", "monitor.known"}})["known"], json::array());
}

TEST_F(NetworkVerbsTest, AChangeThatCannotBeStoredSaysSo) {
    ask({{"verb", "device.add"}, {"name", "Pult"}, {"ip", "127.0.0.1"}});
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open((folder_ / "settings.sqlite").c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "DROP TABLE settings", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(other);
    for (const auto& request : std::initializer_list<json>{{{"verb", "monitor.set"}, {"field", "notify"}, {"value", "off"}},
                                                           {{"verb", "device.add"}, {"ip", "127.0.0.2"}},
                                                           {{"verb", "device.remove"}, {"device", "Pult"}},
                                                           {{"verb", "monitor.takeKnown"}}})
        EXPECT_EQ(codeOf(request), ExitCode::failed) << request;
}

}  // namespace
}  // namespace kestrelyne
