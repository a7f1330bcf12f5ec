#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Headless/Binary.hpp"

namespace {

using nlohmann::json;
using testing::HasSubstr;

const std::string uid = "7FF0:0000ABCD";

/// Beside a running program that watches no adapter: it knows no device.
class RDMCommand : public testing::Test {
protected:
    void start(const std::vector<std::string>& words) {
        ASSERT_EQ(runBinary(home_, {"adapter", "use", "kein-adapter"}).code, 0);
        program_ = std::make_unique<BinaryRun>(home_, words);
        ASSERT_TRUE(program_->prints(" läuft.")) << program_->errors();
    }
    Outcome rdm(std::vector<std::string> words) {
        words.insert(words.begin(), "rdm");
        return runBinary(home_, std::move(words));
    }
    json list() { return json::parse(rdm({"list", "--json"}).output); }

    Home home_;
    std::unique_ptr<BinaryRun> program_;
};

TEST_F(RDMCommand, NeedsARunningProgram) {
    for (const auto& words : std::initializer_list<std::vector<std::string>>{{"scan"},
                                                                             {"list"},
                                                                             {"sensors"},
                                                                             {"show", uid},
                                                                             {"write", "on"},
                                                                             {"identify", uid, "on"},
                                                                             {"address", uid, "5"},
                                                                             {"mode", uid, "2"},
                                                                             {"label", uid, "Front"},
                                                                             {"lamp", uid, "1"},
                                                                             {"reset", uid, "--cold"},
                                                                             {"sequential", uid, "--start", "1"}})
        EXPECT_EQ(rdm(words).code, 4) << words[0];
}

TEST_F(RDMCommand, WrongWordsAreSaid) {
    struct Row {
        std::vector<std::string> words;
        const char* said;
    };
    for (const auto& [words, said] :
         std::initializer_list<Row>{{{}, "es fehlt ein Befehl"},
                                    {{"show"}, "es fehlt UID"},
                                    {{"write", "vielleicht"}, "„vielleicht“ ist weder on noch off"},
                                    {{"identify", uid}, "es fehlt on|off"},
                                    {{"address", uid, "65536"}, "„65536“ ist keine Zahl von 0 bis 65535"},
                                    {{"mode", uid, "x"}, "„x“ ist keine Zahl von 0 bis 255"},
                                    {{"sequential", uid}, "es fehlt --start"},
                                    {{"sequential", uid, "--start", "513"}, "„513“ ist keine Zahl von 1 bis 512"},
                                    {{"sequential", uid, "--start", "1", "--gap", "-1"}, "„-1“ ist keine Zahl von 0 bis 511"},
                                    {{"list", "--rdm-write"}, "gehören zu run"}}) {
        const auto outcome = rdm(words);
        EXPECT_EQ(outcome.code, 2);
        EXPECT_THAT(outcome.errors, HasSubstr(said));
    }
}

TEST_F(RDMCommand, WritingIsLockedUntilItIsAllowed) {
    start({});
    EXPECT_EQ(list()["writeEnabled"], false);
    auto outcome = rdm({"identify", uid, "on"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("kestrelyne: Schreiben ist gesperrt\n"));
    outcome = rdm({"write", "on"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.errors, HasSubstr("RDM: Schreiben ist erlaubt, bis das Programm endet.\n"));
    EXPECT_EQ(list()["writeEnabled"], true);
    EXPECT_THAT(rdm({"label", uid, ""}).errors, HasSubstr("kestrelyne: Gerät nicht gefunden\n"));
    EXPECT_THAT(rdm({"write", "off"}).errors, HasSubstr("RDM: Schreiben ist gesperrt.\n"));
    EXPECT_EQ(list()["writeEnabled"], false);
}

TEST_F(RDMCommand, ARunCanAllowWritingForItself) {
    start({"--rdm-write"});
    EXPECT_EQ(list()["writeEnabled"], true);
    program_->signal(SIGTERM);
    EXPECT_EQ(program_->wait(), 0);
    start({});
    EXPECT_EQ(list()["writeEnabled"], false);
}

TEST_F(RDMCommand, AScanWithoutANodeSaysSo) {
    start({});
    const auto outcome = rdm({"scan"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("kestrelyne: Keine Art-Net-Nodes gefunden – läuft die Netzwerküberwachung?\n"));
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(rdm({"list"}).output, HasSubstr("Keine RDM-Geräte.\n"));
    EXPECT_EQ(rdm({"sensors"}).output, "Keine Sensoren.\n");
}

}  // namespace
