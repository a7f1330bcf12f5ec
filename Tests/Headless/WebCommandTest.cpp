#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <nlohmann/json.hpp>

#include "Headless/Binary.hpp"

namespace {

using nlohmann::json;
using testing::HasSubstr;

/// Each with the stores alone, and with a running program.
class WebCommand : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (!GetParam()) return;
        program_ = std::make_unique<BinaryRun>(home_, std::vector<std::string>{});
        ASSERT_TRUE(program_->prints(" läuft."));
    }
    Outcome web(std::vector<std::string> words, const std::string& input = "") {
        words.insert(words.begin(), "web");
        return runBinary(home_, std::move(words), input);
    }
    json stored(const std::string& key) { return json::parse(runBinary(home_, {"settings", "get", key}).output); }

    Home home_;
    std::unique_ptr<BinaryRun> program_;
};

TEST_P(WebCommand, SetsEveryFieldAndShowsIt) {
    const std::vector<std::pair<std::string, std::string>> fields = {
        {"port", "8471"},    {"allowLAN", "false"}, {"publicURL", "https://show.example"},
        {"control", "full"}, {"pin", "0815"},       {"pushSubject", "mailto:a@b.example"}};
    for (const auto& [field, value] : fields) {
        const auto outcome = web({"set", field, value});
        EXPECT_EQ(outcome.code, 0) << outcome.errors;
        EXPECT_THAT(outcome.errors,
                    HasSubstr(GetParam() ? "Laufendes Programm (Prozess " + std::to_string(program_->pid())
                                         : "Es läuft kein Programm; Einstellungen in „" + home_.settings().string()));
    }
    const auto show = web({"show"});
    EXPECT_EQ(show.code, 0);
    for (const auto& [field, value] : fields) EXPECT_THAT(show.output, testing::ContainsRegex(field + " +" + value + "\n"));
    EXPECT_THAT(show.output, HasSubstr("Adressen       https://show.example\n"));
    EXPECT_THAT(show.output, HasSubstr("http://localhost:8471\n"));
    EXPECT_EQ(stored("web.v1"), json({{"enabled", false},
                                      {"port", 8471},
                                      {"allowLAN", false},
                                      {"publicURL", "https://show.example"},
                                      {"control", "Voller RDM-Zugriff"},
                                      {"pin", "0815"},
                                      {"pushSubject", "mailto:a@b.example"}}));
}

TEST_P(WebCommand, RefusesWrongWordsWithCode2) {
    EXPECT_EQ(web({"set", "port", "x"}).code, 2);
    EXPECT_EQ(web({"set", "control", "admin"}).code, 2);
    EXPECT_EQ(web({"set", "nonsense", "x"}).code, 2);
}

TEST_P(WebCommand, APINMayComeFromStandardInputAndEndsTheSessions) {
    ASSERT_EQ(web({"set", "pin", "-"}, "1234\n").code, 0);
    EXPECT_EQ(stored("web.v1")["pin"], "1234");
    EXPECT_EQ(stored("web.sessions"), json::array());
}

TEST_P(WebCommand, LogoutAllEmptiesTheSessions) {
    ASSERT_EQ(runBinary(home_, {"settings", "set", "web.sessions", "[\"a\"]"}).code, 0);
    ASSERT_EQ(web({"logout-all"}).code, 0);
    EXPECT_EQ(stored("web.sessions"), json::array());
}

TEST_P(WebCommand, DrawsTheAddressAsQRCode) {
    ASSERT_EQ(web({"set", "publicURL", "https://show.example"}).code, 0);
    const auto qr = web({"qr"});
    EXPECT_EQ(qr.code, 0);
    EXPECT_TRUE(qr.output.starts_with("Mit iPhone-Kamera scannen (HTTPS)\n███")) << qr.output;
    EXPECT_TRUE(qr.output.ends_with("\nhttps://show.example\n")) << qr.output;
}

TEST_P(WebCommand, SwitchesTailscaleServe) {
    const auto program = home_ / "tailscale";
    std::FILE* file = std::fopen(program.c_str(), "w");
    std::fputs(
        "#!/bin/sh\ncase \"$*\" in\n'status --json') echo "
        "'{\"BackendState\":\"Running\",\"CertDomains\":[\"a\"],\"Self\":{\"DNSName\":\"a.ts.net.\",\"Online\":true}}';;\n"
        "'serve status --json') cat \"$0.on\" 2>/dev/null;;\n*--bg*) echo \"$*\" > \"$0.on\";;\n*off) rm -f \"$0.on\";;\nesac\n",
        file);
    std::fclose(file);
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    if (!GetParam() || !program_) home_.environment["KESTRELYNE_TAILSCALE"] = program;
    if (GetParam()) {
        program_->signal(SIGTERM);
        ASSERT_EQ(program_->wait(), 0);
        home_.environment["KESTRELYNE_TAILSCALE"] = program;
        SetUp();
    }
    EXPECT_EQ(web({"tailscale", "on"}).code, 0);
    EXPECT_TRUE(std::filesystem::exists(program.string() + ".on"));
    EXPECT_THAT(web({"show"}).output, HasSubstr("Tailscale      verbunden, a.ts.net, HTTPS ein\n"));
    EXPECT_EQ(web({"tailscale", "off"}).code, 0);
    EXPECT_FALSE(std::filesystem::exists(program.string() + ".on"));
}

INSTANTIATE_TEST_SUITE_P(Where, WebCommand, testing::Bool(),
                         [](const auto& info) { return info.param ? "BesideARunningProgram" : "OnTheStores"; });

TEST(WebCommandOnTheStores, AChangeThatCannotBeStoredSaysSo) {
    const Home home;
    ASSERT_EQ(runBinary(home, {"web", "set", "pin", "1"}).code, 0);
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open((home.settings() / "settings.sqlite").c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "CREATE TRIGGER full BEFORE INSERT ON settings BEGIN SELECT RAISE(ABORT, 'full'); END", nullptr,
                           nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(other);
    for (const auto& words : std::vector<std::vector<std::string>>{{"web", "set", "pin", "2"}, {"web", "logout-all"}}) {
        const auto outcome = runBinary(home, words);
        EXPECT_EQ(outcome.code, 1);
        EXPECT_THAT(outcome.errors, HasSubstr("Die Änderung ließ sich nicht speichern."));
        EXPECT_THAT(outcome.errors, testing::Not(HasSubstr("Erledigt")));
    }
}

TEST(StatusCommand, NeedsARunningProgram) {
    const Home home;
    const auto outcome = runBinary(home, {"status"});
    EXPECT_EQ(outcome.code, 4);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.errors, HasSubstr(home.settings().string()));
    EXPECT_FALSE(std::filesystem::exists(home.settings())) << "asking makes nothing";
    EXPECT_EQ(runBinary(home, {"status", "--socket", home / "x.sock"}).code, 4);
    EXPECT_EQ(runBinary(home, {"web", "show", "--socket", home / "x.sock"}).code, 4);
}

TEST(StatusCommand, TellsInGermanOrAsJSON) {
    const Home home;
    BinaryRun program(home, {});
    ASSERT_TRUE(program.prints(" läuft."));
    const auto text = runBinary(home, {"status"});
    EXPECT_EQ(text.code, 0);
    EXPECT_THAT(text.output, HasSubstr("Prozess " + std::to_string(program.pid()) + ", läuft seit"));
    EXPECT_THAT(text.output, HasSubstr("Demo UMG 96RM"));
    EXPECT_THAT(text.errors, HasSubstr("Laufendes Programm (Prozess " + std::to_string(program.pid())));
    const auto status = json::parse(runBinary(home, {"status", "--json"}).output);
    EXPECT_EQ(status["pid"], program.pid());
    EXPECT_EQ(status["meters"][0]["name"], "Demo UMG 96RM");
}

TEST(StatusCommand, APeerThatWasKilledIsNotRunning) {
    const Home home;
    BinaryRun program(home, {});
    ASSERT_TRUE(program.prints(" läuft."));
    program.signal(SIGKILL);
    ASSERT_EQ(program.wait(), 128 + SIGKILL);
    EXPECT_EQ(runBinary(home, {"status"}).code, 4);
    // What it left does not stand in the way of the next.
    BinaryRun next(home, {});
    ASSERT_TRUE(next.prints(" läuft."));
    EXPECT_EQ(runBinary(home, {"status"}).code, 0);
}

TEST(SettingsBesideAProgram, SayWhatTheyMeanForIt) {
    const Home home;
    BinaryRun program(home, {});
    ASSERT_TRUE(program.prints(" läuft."));
    const auto sentence =
        "Das Programm läuft (Prozess " + std::to_string(program.pid()) +
        "): Die Änderung zählt ab seinem nächsten Start, und speichert es selbst unter diesem Schlüssel, ersetzt es sie.\n";
    for (const auto& words : std::vector<std::vector<std::string>>{
             {"settings", "set", "reg.count", "5"}, {"settings", "delete", "reg.count"}, {"settings", "delete"}}) {
        const auto outcome = runBinary(home, words);
        EXPECT_EQ(outcome.code, 0);
        EXPECT_THAT(outcome.errors, HasSubstr(sentence));
    }
    for (const auto& words : std::vector<std::vector<std::string>>{{"settings", "list"}, {"settings", "export", "-"}})
        EXPECT_THAT(runBinary(home, words).errors, testing::Not(HasSubstr("Das Programm läuft")));
}

}  // namespace
