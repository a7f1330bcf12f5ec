#include "NetCore/ArtNet.hpp"

#include <gtest/gtest.h>

#include "NetCore/ArtNetVectors.hpp"

namespace netcore {

namespace {

using vectors::Bytes;

struct Row {
    const char* name;
    Bytes bytes;
    std::size_t minimum;  // the shortest that is read
    ArtNet::Packet packet;
};

// One packet of each kind, as it is parsed.
const std::vector<Row> kinds = {
    {"ArtPollReply", vectors::pollReplies[0].bytes, 207, vectors::pollReplies[0].reply},
    {"ArtDmx", vectors::dmx[0].bytes, 18,
     ArtNet::DmxInfo{.universe = 0x1234, .sequence = 7, .length = 512, .data = vectors::rampOf512}},
    {"ArtTimeCode", vectors::timeCodeBytes, 19, vectors::timeCode},
    {"ArtTodData", vectors::todBytes, 28, vectors::tod},
    {"ArtRdm", vectors::rdmBytes, 25, vectors::rdm},
    {"ArtTodRequest, not read", vectors::todRequest, 10, ArtNet::Other{0x8000}},
    {"ArtPoll", vectors::poll, 10, ArtNet::Poll{}},
};

}  // namespace

TEST(ArtNet, EveryKindBecomesItsOwnValue) {
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        SCOPED_TRACE(kinds[i].name);
        const auto packet = ArtNet::parse(kinds[i].bytes);
        ASSERT_TRUE(packet);
        EXPECT_EQ(packet->index(), i);
        EXPECT_EQ(*packet, kinds[i].packet);
    }
}

TEST(ArtNet, APacketCutAnywhereIsReadFromItsMinimumLengthOn) {
    for (const auto& row : kinds)
        for (std::size_t size = 0; size <= row.bytes.size(); ++size) {
            const auto packet = ArtNet::parse(vectors::cut(row.bytes, size));
            ASSERT_EQ(packet.has_value(), size >= row.minimum) << row.name << " of " << size << " bytes";
            if (packet) ASSERT_EQ(packet->index(), row.packet.index()) << row.name << " of " << size << " bytes";
        }
}

TEST(ArtNet, NineBytesAreNothing) {
    EXPECT_FALSE(ArtNet::parse(vectors::cut(vectors::poll, 9)));
    EXPECT_EQ(ArtNet::parse(vectors::cut(vectors::poll, 10)), ArtNet::Packet(ArtNet::Poll{}));
}

TEST(ArtNet, EveryByteOfTheHeaderCounts) {
    for (std::size_t at = 0; at < ArtNet::header.size(); ++at) {
        auto packet = vectors::poll;
        packet[at] ^= 0x20;
        EXPECT_FALSE(ArtNet::parse(packet)) << "byte " << at;
    }
}

TEST(ArtNet, TheProtocolVersionDoesNotMatter) {
    EXPECT_EQ(ArtNet::parse(vectors::with(vectors::poll, {{10, {0xFF, 0xFF}}})), ArtNet::Packet(ArtNet::Poll{}));
}

TEST(ArtNet, AnUnknownOperationCodeIsPassedOn) {
    EXPECT_EQ(ArtNet::parse(vectors::packetOf(10, {vectors::artNet(0xABCD)})), ArtNet::Packet(ArtNet::Other{0xABCD}));
}

TEST(ArtNet, LabelsNameNetSubNetAndUniverse) {
    EXPECT_EQ(ArtNet::label(0), "0:0:0");
    EXPECT_EQ(ArtNet::label(273), "1:1:1");
    EXPECT_EQ(ArtNet::label(0x1234), "18:3:4");
    EXPECT_EQ(ArtNet::label(0x7FFF), "127:15:15");
}

TEST(ArtNet, UsesPort6454) { EXPECT_EQ(ArtNet::port, 6454); }

}  // namespace netcore
