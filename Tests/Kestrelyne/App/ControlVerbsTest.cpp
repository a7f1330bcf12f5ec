#include "Kestrelyne/App/ControlVerbs.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <future>
#include <nlohmann/json.hpp>
#include <thread>

#include "Base/SerialQueue.hpp"
#include "Kestrelyne/App/ControlClient.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

namespace kestrelyne {
namespace {

using nlohmann::json;
using namespace std::chrono_literals;

/// An application with its control socket, asked as by another process.
class ControlVerbsTest : public testing::Test {
protected:
    void SetUp() override {
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
    ExitCode codeOf(const json& request, const std::string& text) {
        try {
            ask(request);
            return ExitCode::done;
        } catch (const ControlError& error) {
            EXPECT_NE(std::string(error.what()).find(text), std::string::npos) << error.what();
            return error.code();
        }
    }
    WebConfig stored() {
        const auto value = SettingsFile(folder_ / "settings.sqlite").get("web.v1");
        return value ? WebConfig::fromStored(std::get<SettingBlob>(*value).bytes) : WebConfig();
    }

    /// Neither a program on this computer nor its absence decides the outcome. Before the application, which reads it.
    struct TailscaleHere {
        explicit TailscaleHere(const std::filesystem::path& path) { setenv("KESTRELYNE_TAILSCALE", path.c_str(), 1); }
        ~TailscaleHere() { unsetenv("KESTRELYNE_TAILSCALE"); }
    };

    TemporaryFolder folder_;
    TailscaleHere tailscale_{folder_ / "tailscale"};
    TestLoop loop_{base::SystemClock::shared()};
    base::StoreWriter writer_;
    SettingsStore settings_{std::make_unique<SettingsFile>(folder_ / "settings.sqlite"), writer_};
    KestrelyneApp app_{loop_.loop(), settings_, writer_, {.dataFolder = folder_ / "data", .webRoot = folder_ / "web"}};
    ControlServer server_;
};

TEST_F(ControlVerbsTest, StatusNamesTheMetersTheAddressesAndTheStart) {
    const auto status = ask({{"verb", "status"}});
    EXPECT_EQ(status["pid"], getpid());
    EXPECT_NEAR(status["startedAt"].get<double>(), base::secondsSince1970(app_.startedAt()), 0.001);
    EXPECT_EQ(status["activeAlarms"], 0);
    EXPECT_EQ(status["errors"], json::array());
    EXPECT_EQ(status["web"]["enabled"], false);
    EXPECT_EQ(status["web"]["running"], false);
    EXPECT_EQ(status["web"]["requests"], 0);
    EXPECT_EQ(status["web"]["urls"].back(), "http://localhost:8470");
    const auto& monitors = app_.devices().allMonitors();
    ASSERT_EQ(status["meters"].size(), monitors.size());
    ASSERT_FALSE(monitors.empty());
    EXPECT_EQ(status["meters"][0]["id"], monitors[0]->device()->id.text());
    EXPECT_EQ(status["meters"][0]["name"], monitors[0]->device()->name);
    EXPECT_EQ(status["meters"][0]["status"], "getrennt");
    EXPECT_EQ(status["meters"][0]["age"], nullptr);
    EXPECT_EQ(status["meters"][0]["alarms"], json::array());
}

TEST_F(ControlVerbsTest, StatusNamesTheAgeAndTheActiveAlarmsOfAMeter) {
    auto* monitor = app_.devices().allMonitors().at(0);
    AlarmRule rule;
    rule.address = 19050;
    rule.threshold = 50.5;
    rule.delay = 0;
    monitor->alarms().upsert(rule);
    metercore::ValueSet values;
    values.set(19050, 51);
    monitor->applyValues(values, loop_.loop().clock().moment(), 0.01);
    const auto status = ask({{"verb", "status"}});
    EXPECT_GE(status["meters"][0]["age"].get<double>(), 0);
    EXPECT_LT(status["meters"][0]["age"].get<double>(), 5);
    ASSERT_EQ(status["meters"][0]["alarms"].size(), 1u);
    EXPECT_NE(status["meters"][0]["alarms"][0]["text"].get<std::string>().find("Frequenz"), std::string::npos);
    EXPECT_EQ(status["meters"][0]["alarms"][0]["severity"], "Alarm");
    EXPECT_EQ(status["activeAlarms"], 1);
}

TEST_F(ControlVerbsTest, WebSetIsOnDiskWhenItAnswers) {
    const auto state = ask({{"verb", "web.set"}, {"field", "control"}, {"value", "full"}});
    EXPECT_EQ(state["fields"]["control"], "full");
    EXPECT_EQ(stored().control, WebConfig::Control::full);
    EXPECT_EQ(app_.web().config()->control, WebConfig::Control::full);
}

TEST_F(ControlVerbsTest, ANewPINEndsAllSessionsAndTheSameDoesNot) {
    ask({{"verb", "web.set"}, {"field", "pin"}, {"value", "1234"}});
    ASSERT_TRUE(app_.web().login("1234", "10.0.0.1"));
    ask({{"verb", "web.set"}, {"field", "pin"}, {"value", "1234"}});
    EXPECT_EQ(json::parse(*settings_.blob("web.sessions")).size(), 1u);
    ask({{"verb", "web.set"}, {"field", "pin"}, {"value", "5678"}});
    EXPECT_EQ(*settings_.blob("web.sessions"), "[]");
}

TEST_F(ControlVerbsTest, LogoutAllEndsAllSessionsOnDisk) {
    ask({{"verb", "web.set"}, {"field", "pin"}, {"value", "1234"}});
    ASSERT_TRUE(app_.web().login("1234", "10.0.0.1"));
    ask({{"verb", "web.logoutAll"}});
    EXPECT_EQ(SettingsFile(folder_ / "settings.sqlite").get("web.sessions"), SettingValue(SettingBlob{"[]"}));
}

TEST_F(ControlVerbsTest, WrongWordsChangeNothing) {
    const auto before = *app_.web().config();
    EXPECT_EQ(codeOf({{"verb", "web.set"}, {"field", "port"}, {"value", "70000"}}, "port"), ExitCode::wrongWords);
    EXPECT_EQ(codeOf({{"verb", "web.set"}, {"field", "port"}}, "value"), ExitCode::wrongWords);
    EXPECT_EQ(codeOf({{"verb", "web.set"}, {"field", "port"}, {"value", 80}}, "value"), ExitCode::wrongWords);
    EXPECT_EQ(codeOf({{"verb", "web.tailscale"}}, "on"), ExitCode::wrongWords);
    EXPECT_EQ(*app_.web().config(), before);
}

TEST_F(ControlVerbsTest, AChangeThatCannotBeStoredSaysSo) {
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open((folder_ / "settings.sqlite").c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "DROP TABLE settings", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(other);
    EXPECT_EQ(codeOf({{"verb", "web.set"}, {"field", "pin"}, {"value", "9"}}, "speichern"), ExitCode::failed);
    EXPECT_EQ(ask({{"verb", "status"}})["errors"].size(), 1u);
}

TEST_F(ControlVerbsTest, WebShowHasEveryFieldAndTheAddresses) {
    const auto state = ask({{"verb", "web.show"}});
    EXPECT_EQ(state["fields"].size(), 7u);
    EXPECT_EQ(state["httpsURL"], nullptr);
    EXPECT_EQ(state["urls"].back(), "http://localhost:8470");
    EXPECT_EQ(state["tailscale"]["serveHTTPS"], false);
}

TEST_F(ControlVerbsTest, TailscaleAbsentIsSaid) {
    if (TailscaleInfo::programPaths().size() > 1 && std::filesystem::exists("/usr/local/bin/tailscale"))
        GTEST_SKIP() << "Tailscale is installed here";
    EXPECT_EQ(codeOf({{"verb", "web.tailscale"}, {"on", true}}, "nicht installiert"), ExitCode::failed);
}

/// Stands in for Tailscale's program: remembers in a file whether it serves.
void writeTailscale(const std::filesystem::path& path, const std::string& domains, const std::string& onServe) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    fprintf(file,
            "#!/bin/sh\nflag=\"$0.on\"\ncase \"$*\" in\n"
            "'status --json') echo '{\"BackendState\":\"Running\",\"Self\":{\"DNSName\":\"pult.example.ts.net.\",\"Online\":true},"
            "\"CertDomains\":%s}';;\n"
            "'serve status --json') test -e \"$flag\" && echo 'http://127.0.0.1:8470' || echo '{}';;\n"
            "'serve --bg http://127.0.0.1:8470') %s;;\n"
            "'serve --https=443 off') rm -f \"$flag\";;\n*) exit 9;;\nesac\n",
            domains.c_str(), onServe.c_str());
    std::fclose(file);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

TEST_F(ControlVerbsTest, TailscaleServeIsSwitchedAndTheAnswerWaitsForIt) {
    writeTailscale(folder_ / "tailscale", "[\"pult.example.ts.net\"]", "touch \"$flag\"");
    auto state = ask({{"verb", "web.tailscale"}, {"on", true}});
    EXPECT_EQ(state["tailscale"]["serveHTTPS"], true);
    EXPECT_EQ(state["httpsURL"], "https://pult.example.ts.net");
    state = ask({{"verb", "web.tailscale"}, {"on", false}});
    EXPECT_EQ(state["tailscale"]["serveHTTPS"], false);
    EXPECT_EQ(state["httpsURL"], nullptr);
}

TEST_F(ControlVerbsTest, WhatStandsAgainstTailscaleServeIsSaidEachTime) {
    writeTailscale(folder_ / "tailscale", "[]", "touch \"$flag\"");
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(codeOf({{"verb", "web.tailscale"}, {"on", true}}, "HTTPS-Zertifikate sind in deinem Tailnet nicht aktiviert."),
                  ExitCode::failed)
            << i;
}

TEST_F(ControlVerbsTest, AFailureOfTailscaleServeIsSaid) {
    writeTailscale(folder_ / "tailscale", "[\"pult.example.ts.net\"]", "echo denied; exit 1");
    EXPECT_EQ(codeOf({{"verb", "web.tailscale"}, {"on", true}}, "tailscale serve: denied"), ExitCode::failed);
}

}  // namespace
}  // namespace kestrelyne
