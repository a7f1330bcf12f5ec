#include "NetCore/ArtNetPoll.hpp"

#include <gtest/gtest.h>

#include <unordered_set>

#include "NetCore/ArtNetVectors.hpp"

namespace netcore {

namespace {

using vectors::Bytes;
using vectors::copyOf;
using vectors::with;

constexpr std::string_view replacement = "\xEF\xBF\xBD";

// What a field of a reply of our own holds.
std::string textAt(const std::array<std::uint8_t, 239>& packet, std::size_t at, std::size_t size) {
    return {packet.begin() + static_cast<std::ptrdiff_t>(at), packet.begin() + static_cast<std::ptrdiff_t>(at + size)};
}

}  // namespace

TEST(ArtNetPoll, AsksForRepliesOnEveryChange) { EXPECT_EQ(copyOf(ArtNet::pollPacket()), vectors::poll); }

TEST(ArtNetPoll, RepliesToBytesAndBack) {
    for (const auto& vector : vectors::pollReplies) {
        SCOPED_TRACE(vector.name);
        EXPECT_EQ(copyOf(ArtNet::pollReplyPacket(vector.fields)), vector.bytes);
        EXPECT_EQ(ArtNet::parsePollReply(vector.bytes), vector.reply);
    }
}

TEST(ArtNetPoll, AReplyThatEndsWithTheMACHasNoBindIndex) {
    EXPECT_EQ(vectors::nodeReplyBytes.size(), ArtNet::pollReplyMinimumLength);
    EXPECT_EQ(ArtNet::parsePollReply(vectors::nodeReplyBytes), vectors::nodeReply);
}

TEST(ArtNetPoll, TheBindIndexIsReadFrom212BytesOn) {
    const auto packet = with(vectors::nodeReplyBytes, {{211, {9}}});
    EXPECT_EQ(ArtNet::parsePollReply(packet)->bindIndex, 9);
    EXPECT_EQ(ArtNet::parsePollReply(vectors::cut(packet, 211))->bindIndex, 0);
}

TEST(ArtNetPoll, AtMostFourPhysicalPortsAreRead) {
    // What stands behind the four port types is no port, even where it looks like one.
    const auto packet = with(vectors::nodeReplyBytes, {{173, {8}}, {178, {0xC0, 0xC0, 0xC0, 0xC0}}});
    EXPECT_EQ(ArtNet::parsePollReply(packet)->ports.size(), vectors::nodeReply.ports.size());
    EXPECT_EQ(ArtNet::parsePollReply(with(packet, {{173, {255}}}))->ports.size(), vectors::nodeReply.ports.size());
}

TEST(ArtNetPoll, TheHighByteOfTheNumberOfPortsIsIgnored) {
    EXPECT_TRUE(ArtNet::parsePollReply(with(vectors::nodeReplyBytes, {{172, {1, 0}}}))->ports.empty());
}

TEST(ArtNetPoll, APortOfBothDirectionsGivesItsOutputFirst) {
    const auto packet = with(vectors::nodeReplyBytes, {{172, {0, 1, 0xC0}}});
    EXPECT_EQ(ArtNet::parsePollReply(packet)->ports,
              (std::vector<ArtNet::PortInfo>{{.universe = 0x0421, .isOutput = true, .active = true},
                                             {.universe = 0x0425, .isOutput = false, .active = false}}));
}

TEST(ArtNetPoll, APortOfNoDirectionGivesNothing) {
    EXPECT_TRUE(ArtNet::parsePollReply(with(vectors::nodeReplyBytes, {{172, {0, 1, 0x3F}}}))->ports.empty());
}

TEST(ArtNetPoll, AShortNameWithoutAZeroIsReadWhole) {
    const auto name = ArtNet::parsePollReply(vectors::nodeReplyBytes)->shortName;
    EXPECT_EQ(name, "Eighteen bytes all");
    EXPECT_EQ(name.size(), 18u);
}

TEST(ArtNetPoll, ALongNameAndAReportWithoutAZeroAreReadWhole) {
    const auto reply = ArtNet::parsePollReply(with(vectors::nodeReplyBytes, {{44, 64, 'l'}, {108, 64, 'r'}}));
    EXPECT_EQ(reply->longName, std::string(64, 'l'));
    EXPECT_EQ(reply->nodeReport, std::string(64, 'r'));
}

TEST(ArtNetPoll, NamesEndAtTheFirstZero) {
    const auto packet = with(vectors::nodeReplyBytes, {{26, {'a', 0, 'b'}}, {44, {0, 'c'}}});
    EXPECT_EQ(ArtNet::parsePollReply(packet)->shortName, "a");
    EXPECT_EQ(ArtNet::parsePollReply(packet)->longName, "");
}

TEST(ArtNetPoll, NamesThatAreNoUTF8AreRepaired) {
    const auto packet = with(vectors::nodeReplyBytes, {{26, {'B', 0xFC, 'h', 'n', 'e', 0}}});
    EXPECT_EQ(ArtNet::parsePollReply(packet)->shortName, "B" + std::string(replacement) + "hne");
}

TEST(ArtNetPoll, AnAddressThatIsNoneIsSentAsZero) {
    for (const char* ip : {"x", "", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.-1", "1.2.3.4x"}) {
        const auto packet = ArtNet::pollReplyPacket({.ip = ip});
        EXPECT_EQ(textAt(packet, 10, 4), std::string(4, '\0')) << ip;
        EXPECT_EQ(textAt(packet, 207, 4), std::string(4, '\0')) << ip;
    }
}

TEST(ArtNetPoll, PiecesOfAnAddressThatAreNoBytesAreDropped) {
    const auto packet = ArtNet::pollReplyPacket({.ip = "1.2.x.3.4"});
    EXPECT_EQ(textAt(packet, 10, 4), "\x01\x02\x03\x04");
    EXPECT_EQ(textAt(packet, 207, 4), "\x01\x02\x03\x04");
}

TEST(ArtNetPoll, AMACOfAnotherSizeIsSentAsZero) {
    for (const std::size_t size : {0u, 5u, 7u}) {
        const Bytes mac(size, 0xAA);
        EXPECT_EQ(textAt(ArtNet::pollReplyPacket({.mac = mac}), 201, 6), std::string(6, '\0')) << size;
    }
}

TEST(ArtNetPoll, OfSixUniversesFourAreTold) {
    const std::vector<int> universes = {1, 2, 3, 4, 5, 6};
    const auto packet = ArtNet::pollReplyPacket({.universes = universes});
    EXPECT_EQ(copyOf(std::span(packet).subspan(172, 28)),
              (Bytes{0, 4, 0x80, 0x80, 0x80, 0x80, 0, 0, 0, 0, 0x80, 0x80, 0x80, 0x80, 0, 0, 0, 0, 1, 2, 3, 4, 0, 0, 0, 0, 0, 0}));
}

TEST(ArtNetPoll, NumbersAreMaskedOrClamped) {
    const std::vector<int> universes = {0x7FF7};
    const auto packet = ArtNet::pollReplyPacket({.net = 0xFF, .subNet = 0xFF, .universes = universes, .bindIndex = 256});
    EXPECT_EQ(packet[18], 0x7F);
    EXPECT_EQ(packet[19], 0x0F);
    EXPECT_EQ(packet[190], 0x07);
    EXPECT_EQ(packet[211], 255);
    EXPECT_EQ(ArtNet::pollReplyPacket({.bindIndex = -1})[211], 0);
}

TEST(ArtNetPoll, OwnNamesLeaveRoomForAZero) {
    const std::string text(100, 'n');
    const auto packet = ArtNet::pollReplyPacket({.shortName = text, .longName = text});
    EXPECT_EQ(textAt(packet, 26, 18), std::string(17, 'n') + '\0');
    EXPECT_EQ(textAt(packet, 44, 64), std::string(63, 'n') + '\0');
}

TEST(ArtNetPoll, OwnNamesAreCutBetweenCharacters) {
    EXPECT_EQ(textAt(ArtNet::pollReplyPacket({.shortName = "sechzehn Zeichenü"}), 26, 18),
              "sechzehn Zeichen" + std::string(2, '\0'));
    EXPECT_EQ(textAt(ArtNet::pollReplyPacket({.shortName = "fuenfzehn Zeichü"}), 26, 18),
              "fuenfzehn Zeichü" + std::string(1, '\0'));
}

TEST(ArtNetPoll, PortsCanBeKeptInSets) {
    const std::unordered_set<ArtNet::PortInfo> ports(vectors::nodeReply.ports.begin(), vectors::nodeReply.ports.end());
    EXPECT_EQ(ports.size(), vectors::nodeReply.ports.size());
    EXPECT_TRUE(ports.contains({.universe = 0x0421, .isOutput = true, .active = true}));
    EXPECT_FALSE(ports.contains({.universe = 0x0421, .isOutput = true, .active = false}));
}

}  // namespace netcore
