#include "Kestrelyne/Network/ArtNetResponder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Kestrelyne/Network/Datagrams.hpp"

using namespace kestrelyne;
using datagrams::at;
using netcore::ArtNet::PollReply;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr std::array<std::uint8_t, 6> mac = {0x0A, 0x0B, 0x0C, 0x12, 0x34, 0x56};

ArtNetResponder::Iface interface(const char* address, const char* mask, std::array<std::uint8_t, 6> bytes = mac) {
    const auto bits = netcore::ipToUInt32(mask).value();
    return {.name = "eth0", .address = address, .mask = bits, .network = netcore::ipToUInt32(address).value() & bits, .mac = bytes};
}

const std::vector<ArtNetResponder::Iface> twoAdapters = {interface("192.168.1.2", "255.255.255.0", {1, 1, 1, 1, 1, 1}),
                                                         interface("10.0.0.2", "255.0.0.0")};

// A responder with two adapters that keeps what it would send.
class Responding : public testing::Test {
protected:
    Responding() {
        responder.setSend([this](base::Bytes packet, const std::string& to) {
            sent.emplace_back(to, netcore::ArtNet::parsePollReply(packet).value());
        });
    }
    void configure(std::set<int> universes) {
        responder.configure(true, std::move(universes), twoAdapters, {"10.0.0.2", "192.168.1.2"});
    }
    void poll(const std::string& sender, double time) { responder.handlePoll(sender, at(time).steady); }

    ArtNetResponder responder;
    std::vector<std::pair<std::string, PollReply>> sent;
};

std::vector<int> universesOf(const PollReply& reply) {
    std::vector<int> universes;
    for (const auto& port : reply.ports) {
        EXPECT_TRUE(port.isOutput && port.active);
        universes.push_back(port.universe);
    }
    return universes;
}

}  // namespace

TEST_F(Responding, AnswersAPollWithTheAdapterThatSharesTheNetwork) {
    configure({1});
    poll("10.9.8.7", 0);
    ASSERT_THAT(sent, SizeIs(1));
    const auto& [to, reply] = sent[0];
    EXPECT_EQ(to, "10.9.8.7");
    EXPECT_EQ(reply.ip, "10.0.0.2");
    EXPECT_EQ(reply.mac, "0A:0B:0C:12:34:56");
    EXPECT_EQ(reply.shortName, "Brantholme");
    EXPECT_EQ(reply.longName, "Brantholme – Überwachung (nur Empfang)");
    EXPECT_EQ(reply.bindIndex, 1);
    EXPECT_THAT(universesOf(reply), ElementsAre(1));
}

TEST_F(Responding, AnswersWithTheFirstAdapterWhenNoneSharesTheNetwork) {
    configure({1});
    poll("172.16.0.1", 0);
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(sent[0].second.ip, "192.168.1.2");
    EXPECT_EQ(sent[0].second.mac, "01:01:01:01:01:01");
}

TEST_F(Responding, TellsFourUniversesOfOneSubNetInEachReplyAndCountsTheRepliesThrough) {
    configure({0, 1, 2, 3, 4, 0x0F, 0x10, 0x1234, 0x1235, 0x7FFF});
    poll("10.0.0.9", 0);
    std::vector<std::vector<int>> told;
    std::vector<int> bindIndexes;
    for (const auto& [to, reply] : sent) {
        told.push_back(universesOf(reply));
        bindIndexes.push_back(reply.bindIndex);
    }
    EXPECT_THAT(told, ElementsAre(ElementsAre(0, 1, 2, 3), ElementsAre(4, 0x0F), ElementsAre(0x10), ElementsAre(0x1234, 0x1235),
                                  ElementsAre(0x7FFF)));
    EXPECT_THAT(bindIndexes, ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(Responding, AnswersAConsoleAtMostOnceASecond) {
    configure({1});
    poll("10.0.0.9", 0);
    poll("10.0.0.9", 0.5);
    EXPECT_THAT(sent, SizeIs(1));
    poll("10.0.0.8", 0.5);
    EXPECT_THAT(sent, SizeIs(2)) << "another console has its own pause";
    poll("10.0.0.9", 0.999);
    EXPECT_THAT(sent, SizeIs(2));
    poll("10.0.0.9", 1.0);
    EXPECT_THAT(sent, SizeIs(3)) << "the pause counts from the answer, not from the poll that had none";
    poll("10.0.0.8", 1.25);
    EXPECT_THAT(sent, SizeIs(3));
}

TEST_F(Responding, NeverAnswersThisComputer) {
    configure({1});
    poll("10.0.0.2", 0);
    poll("192.168.1.2", 0);
    EXPECT_THAT(sent, IsEmpty());
}

TEST_F(Responding, SaysNothingWithoutUniversesAdaptersSwitchAddressOrSocket) {
    poll("10.0.0.9", 0);  // not configured
    responder.configure(true, {}, twoAdapters, {});
    poll("10.0.0.9", 0);
    responder.configure(true, {1}, {}, {});
    poll("10.0.0.9", 0);
    responder.configure(false, {1}, twoAdapters, {});
    poll("10.0.0.9", 0);
    responder.configure(true, {1}, twoAdapters, {});
    for (const auto* sender : {"", "10.0.0", "10.0.0.300", "console"}) poll(sender, 0);
    EXPECT_THAT(sent, IsEmpty());
    poll("10.0.0.9", 0);
    EXPECT_THAT(sent, SizeIs(1)) << "what was not answered begins no pause";
    responder.setSend({});
    poll("10.0.0.9", 5);
    EXPECT_THAT(sent, SizeIs(1));
}

TEST_F(Responding, InventedConsolesGetOnlySoManyAnswers) {
    configure({1});
    for (std::uint32_t n = 0; n < 100'000; ++n) poll(netcore::uint32ToIP(0x0B000000 + n), 0.5);
    EXPECT_THAT(sent, SizeIs(ArtNetResponder::mostConsoles));
    poll("10.0.0.9", 1.5);
    EXPECT_THAT(sent, SizeIs(ArtNetResponder::mostConsoles + 1)) << "a second later there is room again";
}

TEST_F(Responding, SendsWithoutItsLock) {
    configure({1, 0x21});
    int packets = 0;
    responder.setSend([&](base::Bytes, const std::string&) {
        ++packets;
        responder.configure(true, {}, {}, {});
    });
    poll("10.0.0.9", 0);
    EXPECT_EQ(packets, 2) << "and goes on with what held when the poll came";
}
