#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "Base/ChildProcess.hpp"
#include "Base/File.hpp"
#include "Headless/Binary.hpp"

namespace {

using testing::HasSubstr;

class SettingsCommand : public testing::Test {
protected:
    Outcome settings(std::vector<std::string> words, const std::string& input = "") {
        words.insert(words.begin(), "settings");
        return runBinary(home_, std::move(words), input);
    }
    Home home_;
};

TEST_F(SettingsCommand, AValueOfEachKindComesBack) {
    const std::vector<std::vector<std::string>> sets = {{"set", "devices.v1", "[ ]"},
                                                        {"set", "reset.focus", "5"},
                                                        {"set", "dmx.universe", "5"},
                                                        {"set", "update.auto", "false"},
                                                        {"set", "x.text", "Bühne „1“", "--type", "text"},
                                                        {"set", "x.negative", "-0.5"},
                                                        {"set", "x.json", "{}"},
                                                        {"set", "x.empty", ""}};
    for (const auto& words : sets) EXPECT_EQ(settings(words).code, 0) << words[1];
    for (const auto& words : sets) EXPECT_EQ(settings({"get", words[1]}).output, words[2] + "\n");
    const auto list = settings({"list"});
    EXPECT_EQ(list.code, 0);
    EXPECT_EQ(list.output,
              "devices.v1    json    3 Byte\n"
              "dmx.universe  number  5\n"
              "reset.focus   text    5\n"
              "update.auto   bool    false\n"
              "x.empty       text\n"
              "x.json        json    2 Byte\n"
              "x.negative    number  -0.5\n"
              "x.text        text    Bühne „1“\n");
    EXPECT_THAT(list.errors, HasSubstr((home_.settings() / "settings.sqlite").string()));
}

TEST_F(SettingsCommand, AKeyKeepsItsKindUntilATypeSaysOtherwise) {
    ASSERT_EQ(settings({"set", "x", "5", "--type", "text"}).code, 0);
    ASSERT_EQ(settings({"set", "x", "6"}).code, 0);
    EXPECT_THAT(settings({"list"}).output, HasSubstr("text  6"));
    ASSERT_EQ(settings({"set", "x", "7", "--type", "number"}).code, 0);
    const auto refused = settings({"set", "x", "seven"});
    EXPECT_EQ(refused.code, 2);
    EXPECT_THAT(refused.errors, HasSubstr("keine Zahl"));
    EXPECT_EQ(settings({"get", "x"}).output, "7\n");
}

TEST_F(SettingsCommand, WhatDoesNotFitItsTypeIsRefusedWithCode2) {
    const std::vector<std::vector<std::string>> rows = {{"set", "devices.v1", "[{"},
                                                        {"set", "x", "text", "--type", "json"},
                                                        {"set", "x", "1,5", "--type", "number"},
                                                        {"set", "x", "yes", "--type", "bool"},
                                                        {"set", "x", "\xFF", "--type", "text"},
                                                        {"set", "x", "1", "--type", "blob"},
                                                        {"set", "", "1"},
                                                        {"set", "x"},
                                                        {"get"},
                                                        {"rename", "x"},
                                                        {}};
    for (const auto& words : rows) {
        const auto outcome = settings(words);
        EXPECT_EQ(outcome.code, 2);
        EXPECT_EQ(linesOf(outcome.errors), 1) << outcome.errors;
    }
    EXPECT_EQ(settings({"list"}).output, "");
}

TEST_F(SettingsCommand, ADashReadsStandardInput) {
    ASSERT_EQ(settings({"set", "devices.v1", "-"}, "[\n  1\n]\n").code, 0);
    EXPECT_EQ(settings({"get", "devices.v1"}).output, "[\n  1\n]\n");
    ASSERT_EQ(settings({"set", "x", "-", "--type", "text"}, "two\nlines\n").code, 0);
    EXPECT_EQ(settings({"get", "x"}).output, "two\nlines\n");
    EXPECT_EQ(settings({"set", "devices.v1", "-"}, "").code, 2);
}

TEST_F(SettingsCommand, AMissingKeyIsOneLineAndCode1) {
    for (const auto* verb : {"get", "delete"}) {
        const auto outcome = settings({verb, "none"});
        EXPECT_EQ(outcome.code, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.errors, "kestrelyne: „none“ ist nicht gesetzt.\n");
    }
}

TEST_F(SettingsCommand, DeleteTakesOneKeyOrWithoutAskingAll) {
    for (const auto* key : {"a", "b", "c"}) ASSERT_EQ(settings({"set", key, "1"}).code, 0);
    EXPECT_EQ(settings({"delete", "a"}).code, 0);
    EXPECT_EQ(settings({"list"}).output, "b  number  1\nc  number  1\n");
    EXPECT_EQ(settings({"delete"}).code, 0);
    EXPECT_EQ(settings({"list"}).output, "");
}

TEST_F(SettingsCommand, ExportAndImportCarryEverythingOver) {
    settings({"set", "devices.v1", "[1]"});
    settings({"set", "x.text", "<a> & „b“"});
    settings({"set", "x.number", "0.1"});
    settings({"set", "x.true", "true"});
    const auto before = settings({"list"}).output;
    const auto file = home_ / "Einstellungen.plist";
    ASSERT_EQ(settings({"export", file}).code, 0);
    struct stat status {};
    stat(file.c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0600u) << "it may hold a PIN";
    EXPECT_EQ(settings({"export", "-"}).output, base::readFile(file));

    ASSERT_EQ(settings({"delete"}).code, 0);
    settings({"set", "kept", "1"});
    settings({"set", "x.number", "9"});
    ASSERT_EQ(settings({"import", file}).code, 0);
    EXPECT_EQ(settings({"get", "x.number"}).output, "0.1\n");
    EXPECT_EQ(settings({"get", "kept"}).output, "1\n") << "what the file does not name stays";
    settings({"delete", "kept"});
    EXPECT_EQ(settings({"list"}).output, before);

    ASSERT_EQ(settings({"delete"}).code, 0);
    ASSERT_EQ(settings({"import", "-"}, *base::readFile(file)).code, 0);
    EXPECT_EQ(settings({"list"}).output, before);
}

TEST_F(SettingsCommand, AnotherToolReadsTheExport) {
    settings({"set", "devices.v1", "[1]"});
    settings({"set", "text", "<ä>"});
    settings({"set", "whole", "8470"});
    settings({"set", "part", "0.1"});
    settings({"set", "yes", "true"});
    const auto file = home_ / "x.plist";
    ASSERT_EQ(settings({"export", file}).code, 0);
    const auto python = base::runChild("/usr/bin/env",
                                       {"/usr/bin/python3", "-c",
                                        "import plistlib,sys; d=plistlib.load(open(sys.argv[1],'rb')); "
                                        "print(sorted(d.items(), key=lambda i: i[0]))",
                                        file},
                                       std::chrono::seconds(20));
    if (!python || python->exitCode != 0) GTEST_SKIP() << "no Python here";
    EXPECT_EQ(python->output, "[('devices.v1', b'[1]'), ('part', 0.1), ('text', '<ä>'), ('whole', 8470), ('yes', True)]\n");
}

TEST_F(SettingsCommand, AnImportThatDoesNotFitChangesNothing) {
    settings({"set", "a", "1"});
    const auto head = std::string("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key><integer>2</integer>");
    for (const auto& text : {std::string("rubbish"), head, head + "<key>b</key><array/></dict></plist>"}) {
        base::replaceFile(home_ / "x.plist", text);
        const auto outcome = settings({"import", home_ / "x.plist"});
        EXPECT_EQ(outcome.code, 1) << text;
        EXPECT_EQ(settings({"list"}).output, "a  number  1\n") << text;
    }
    EXPECT_EQ(settings({"import", home_ / "none.plist"}).code, 1);
    EXPECT_EQ(settings({"export", home_ / "none/x.plist"}).code, 1);
}

TEST_F(SettingsCommand, ADamagedStoreIsToldOnceAndMovedAside) {
    settings({"set", "a", "1"});
    base::replaceFile(home_.settings() / "settings.sqlite", std::string(9000, 'x'));
    const auto first = settings({"list"});
    EXPECT_EQ(first.code, 0);
    EXPECT_THAT(first.errors, HasSubstr("beschädigt"));
    EXPECT_EQ(first.output, "");
    EXPECT_THAT(settings({"list"}).errors, testing::Not(HasSubstr("beschädigt")));
}

TEST_F(SettingsCommand, AStoreThatCannotBeOpenedIsOneLineAndCode1) {
    std::filesystem::create_directories(home_.settings().parent_path());
    base::replaceFile(home_.settings(), "in the way");
    const auto outcome = settings({"set", "a", "1"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(linesOf(outcome.errors), 1) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr("settings.sqlite"));
}

TEST_F(SettingsCommand, FollowsXDGAndDataAndTheStateDirectory) {
    auto& environment = home_.environment;
    settings({"set", "where", "home"});
    environment["XDG_CONFIG_HOME"] = home_ / "c";
    settings({"set", "where", "xdg"});
    environment["STATE_DIRECTORY"] = home_ / "s";
    settings({"set", "where", "state"});
    settings({"set", "where", "data", "--data", home_ / "d"});
    for (const auto& [name, path] :
         std::initializer_list<std::pair<const char*, std::filesystem::path>>{{"home", home_.settings()},
                                                                              {"xdg", home_ / "c/Kestrelyne"},
                                                                              {"state", home_ / "s/config"},
                                                                              {"data", home_ / "d/config"}})
        EXPECT_TRUE(std::filesystem::exists(path / "settings.sqlite")) << name;
    EXPECT_EQ(settings({"get", "where"}).output, "state\n");
    EXPECT_EQ(settings({"get", "where", "--data", home_ / "d"}).output, "data\n");
    EXPECT_FALSE(std::filesystem::exists(home_.data())) << "a tool makes no data folder";
}

TEST_F(SettingsCommand, AClosedStandardOutputIsNoSuccess) {
    settings({"set", "a", "1"});
    const auto shell =
        base::runChild("/bin/sh", {"-c", "HOME=" + home_.environment["HOME"] + " \"$KESTRELYNE_BINARY\" settings list >/dev/full"},
                       std::chrono::seconds(20));
    ASSERT_TRUE(shell);
    EXPECT_EQ(shell->exitCode, 1);
}

TEST(CommandLine, WrongWordsAreOneGermanLineAndCode2) {
    const Home home;
    const std::vector<std::vector<std::string>> rows = {{"nonsense"},
                                                        {"--nonsense"},
                                                        {"--port"},
                                                        {"--port", "x"},
                                                        {"--port", "65536"},
                                                        {"run", "--port", "-1"},
                                                        {"--web", "--no-web"},
                                                        {"--lan", "--no-lan"},
                                                        {"web"},
                                                        {"web", "show", "x"},
                                                        {"web", "set", "pin"},
                                                        {"web", "tailscale", "maybe"},
                                                        {"status", "--demo"},
                                                        {"status", "--data", "a", "--system"},
                                                        {"settings", "list", "--socket", "x"},
                                                        {"run", "--system"},
                                                        {"run", "--demo", "--data", "x"},
                                                        {"run", "status"},
                                                        {"web", "set", "nonsense", "1"},
                                                        {"web", "set", "port", "x"}};
    for (const auto& words : rows) {
        const auto outcome = runBinary(home, words);
        EXPECT_EQ(outcome.code, 2) << words[0];
        EXPECT_THAT(outcome.errors, HasSubstr("kestrelyne: "));
        EXPECT_EQ(outcome.output, "");
    }
}

TEST(CommandLine, HelpAndVersionSucceed) {
    const Home home;
    for (const auto& words :
         std::vector<std::vector<std::string>>{{"--help"}, {"settings", "--help"}, {"settings", "set", "--help"}, {"web", "-h"}}) {
        const auto outcome = runBinary(home, words);
        EXPECT_EQ(outcome.code, 0);
        EXPECT_THAT(outcome.output, HasSubstr("Aufruf"));
        EXPECT_THAT(outcome.output,
                    testing::Not(testing::AnyOf(HasSubstr("Usage"), HasSubstr("Options:"), HasSubstr("Subcommands"))));
    }
    const auto version = runBinary(home, {"--version"});
    EXPECT_EQ(version.code, 0);
    EXPECT_TRUE(version.output.starts_with("Brantholme 0.")) << version.output;
    EXPECT_TRUE(std::filesystem::is_empty(home / "home"));
}

}  // namespace
