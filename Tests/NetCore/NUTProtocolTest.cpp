#include "NetCore/NUTProtocol.hpp"

#include <gtest/gtest.h>

namespace netcore {

namespace {

using State = NUTConversation::State;

const std::string oneDevice = "BEGIN LIST UPS\nUPS rack \"Rack links\"\nEND LIST UPS\n";
const std::string noDevice = "BEGIN LIST UPS\nEND LIST UPS\n";

std::string variables(const std::string& lines, const std::string& name = "rack") {
    return "BEGIN LIST VAR " + name + "\n" + lines + "END LIST VAR " + name + "\n";
}

State stateAfter(const std::string& bytes) {
    NUTConversation conversation;
    return conversation.receive(bytes);
}

}  // namespace

TEST(NUTConversation, AsksForTheDevicesAndThenForTheVariablesOfEach) {
    NUTConversation talk;
    EXPECT_EQ(talk.takeRequest(), "LIST UPS\n");
    EXPECT_EQ(talk.takeRequest(), "") << "once";
    EXPECT_EQ(talk.receive("BEGIN LIST UPS\nUPS rack \"Rack links\"\nUPS pult \"\"\nEND LIST UPS\n"), State::talking);
    EXPECT_EQ(talk.takeRequest(), "LIST VAR rack\n");
    EXPECT_EQ(talk.receive(variables("VAR rack battery.charge \"88\"\nVAR rack ups.status \"OL CHRG\"\n")), State::talking);
    EXPECT_EQ(talk.takeRequest(), "LIST VAR pult\n");
    EXPECT_EQ(talk.receive(variables("", "pult")), State::done);
    EXPECT_EQ(talk.takeRequest(), "LOGOUT\n");
    ASSERT_EQ(talk.devices().size(), 2U);
    EXPECT_EQ(talk.devices()[0].name, "rack");
    EXPECT_EQ(talk.devices()[0].variables,
              (std::map<std::string, std::string>{{"battery.charge", "88"}, {"ups.status", "OL CHRG"}}));
    EXPECT_TRUE(talk.devices()[1].variables.empty());
}

TEST(NUTConversation, PiecesOfAnySizeAreTheSame) {
    const auto whole = oneDevice + variables("VAR rack ups.status \"OB LB\"\n");
    NUTConversation talk;
    for (const char byte : whole) talk.receive({&byte, 1});
    EXPECT_EQ(talk.state(), State::done);
    ASSERT_EQ(talk.devices().size(), 1U);
    EXPECT_EQ(talk.devices()[0].variables.at("ups.status"), "OB LB");
}

TEST(NUTConversation, WithoutDevicesItIsDone) { EXPECT_EQ(stateAfter(noDevice), State::done); }

TEST(NUTConversation, ADeviceWhoseDriverIsGoneIsLeftOut) {
    for (const char* error : {"ERR DRIVER-NOT-CONNECTED\n", "ERR DATA-STALE\n", "ERR UNKNOWN-UPS\n"}) {
        NUTConversation talk;
        talk.receive("BEGIN LIST UPS\nUPS rack \"\"\nUPS pult \"\"\nEND LIST UPS\n");
        talk.receive(error);
        EXPECT_EQ(talk.receive(variables("VAR pult ups.status \"OL\"\n", "pult")), State::done) << error;
        ASSERT_EQ(talk.devices().size(), 1U);
        EXPECT_EQ(talk.devices()[0].name, "pult");
    }
}

TEST(NUTConversation, QuotationsAndEscapesAreTakenApart) {
    NUTConversation talk;
    talk.receive(oneDevice + variables("VAR rack ups.model \"Eins \\\"Zwei\\\" \\\\ Drei\"\nVAR rack ups.mfr Firma\\ 7\n"));
    ASSERT_EQ(talk.state(), State::done);
    EXPECT_EQ(talk.devices()[0].variables.at("ups.model"), "Eins \"Zwei\" \\ Drei");
    EXPECT_EQ(talk.devices()[0].variables.at("ups.mfr"), "Firma 7");
}

TEST(NUTConversation, ANameThatCannotBeSentBackIsNotAskedFor) {
    NUTConversation talk;
    talk.receive(
        "BEGIN LIST UPS\nUPS \"zwei Worte\" \"\"\nUPS r\xC3\xA4"
        "ck \"\"\nUPS \"\" \"\"\nEND LIST UPS\n");
    EXPECT_EQ(talk.state(), State::done);
    EXPECT_TRUE(talk.devices().empty());
}

TEST(NUTConversation, AnythingElseEndsIt) {
    for (const std::string& bytes : {std::string("HTTP/1.1 200 OK\r\n"),
                                     std::string("\n"),
                                     std::string("ERR ACCESS-DENIED\n"),
                                     std::string("BEGIN LIST VAR rack\n"),
                                     std::string("BEGIN LIST UPS extra\n"),
                                     std::string("BEGIN LIST UPS\nUPS rack\n"),
                                     std::string("BEGIN LIST UPS\nUPS rack \"a\" b\n"),
                                     std::string("BEGIN LIST UPS\nVAR rack a \"b\"\n"),
                                     std::string("BEGIN LIST UPS\nUPS rack \"offen\n"),
                                     std::string("BEGIN LIST UPS\nUPS rack \"a\"b\n"),
                                     std::string("BEGIN LIST UPS\nUPS rack \"a\\\n"),
                                     std::string("BEGIN LIST UPS\nUPS r\tck \"a\"\n"),
                                     std::string("BEGIN LIST UPS\nUPS rack \"") + '\0' + "\"\n",
                                     std::string("BEGIN LIST UPS\n1 2 3 4 5 6 7 8 9\n"),
                                     oneDevice + "BEGIN LIST VAR pult\n",
                                     oneDevice + "BEGIN LIST VAR rack\nVAR pult a \"b\"\n",
                                     oneDevice + "BEGIN LIST VAR rack\nVAR rack a\n",
                                     oneDevice + "BEGIN LIST VAR rack\nEND LIST VAR pult\n",
                                     oneDevice + "BEGIN LIST VAR rack\nERR DATA-STALE\n",
                                     oneDevice + "ERR\n"})
        EXPECT_EQ(stateAfter(bytes), State::failed) << bytes;
}

TEST(NUTConversation, SpeaksNoMoreOnceItHasEnded) {
    NUTConversation failed;
    failed.receive("nonsense\n");
    EXPECT_EQ(failed.receive(noDevice), State::failed);
    NUTConversation done;
    EXPECT_EQ(done.receive(noDevice + "OK Goodbye\n"), State::done);
    EXPECT_EQ(done.receive("nonsense\n"), State::done);
}

TEST(NUTConversation, LinesHaveALimit) {
    const std::string begin = "BEGIN LIST UPS\n", front = "UPS rack \"", back = "\"\n";
    const auto line = [&](std::size_t length) { return begin + front + std::string(length - front.size() - 1, 'x') + back; };
    EXPECT_EQ(stateAfter(line(NUTConversation::longestLine)), State::talking);
    EXPECT_EQ(stateAfter(line(NUTConversation::longestLine + 1)), State::failed);
    EXPECT_EQ(stateAfter(begin + std::string(NUTConversation::longestLine + 1, 'x')), State::failed) << "without its end";
}

TEST(NUTConversation, DevicesHaveALimit) {
    std::string list = "BEGIN LIST UPS\n";
    for (std::size_t i = 0; i < NUTConversation::mostDevices; ++i) list += "UPS u" + std::to_string(i) + " \"\"\n";
    EXPECT_EQ(stateAfter(list), State::talking);
    EXPECT_EQ(stateAfter(list + "UPS more \"\"\n"), State::failed);
}

TEST(NUTConversation, VariablesHaveALimit) {
    std::string list = oneDevice + "BEGIN LIST VAR rack\n";
    for (std::size_t i = 0; i < NUTConversation::mostVariables; ++i) list += "VAR rack v" + std::to_string(i) + " \"\"\n";
    EXPECT_EQ(stateAfter(list), State::talking);
    EXPECT_EQ(stateAfter(list + "VAR rack more \"\"\n"), State::failed);
}

TEST(NUTConversation, TheWholeHasALimit) {
    // One variable again and again.
    std::string list = oneDevice + "BEGIN LIST VAR rack\n";
    const auto line = "VAR rack a \"" + std::string(1000, 'x') + "\"\n";
    while (list.size() + line.size() <= NUTConversation::mostBytes) list += line;
    EXPECT_EQ(stateAfter(list), State::talking);
    EXPECT_EQ(stateAfter(list + line), State::failed);
}

}  // namespace netcore
