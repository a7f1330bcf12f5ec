#include "NetCore/SACN.hpp"

#include <gtest/gtest.h>

#include "NetCore/SACNVectors.hpp"

namespace netcore {

namespace {

using vectors::Bytes;
using vectors::with;

struct Row {
    const char* name;
    Bytes bytes;
    std::size_t minimum;  // the shortest that is read
    SACN::Packet packet;
};

// One packet of each kind, as it is parsed.
const std::vector<Row> kinds = {
    {"data", vectors::sacn[0].bytes, 126, vectors::sacn[0].packet},
    {"discovery", vectors::discoveryBytes, 120, vectors::discovery},
    {"synchronisation", vectors::syncBytes, 44, SACN::Sync{}},
};

}  // namespace

TEST(SACN, EveryKindBecomesItsOwnValue) {
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        SCOPED_TRACE(kinds[i].name);
        const auto packet = SACN::parse(kinds[i].bytes);
        ASSERT_TRUE(packet);
        EXPECT_EQ(packet->index(), i);
        EXPECT_EQ(*packet, kinds[i].packet);
    }
}

TEST(SACN, APacketCutAnywhereIsReadFromItsMinimumLengthOn) {
    for (const auto& row : kinds)
        for (std::size_t size = 0; size <= row.bytes.size(); ++size) {
            const auto packet = SACN::parse(vectors::cut(row.bytes, size));
            ASSERT_EQ(packet.has_value(), size >= row.minimum) << row.name << " of " << size << " bytes";
            if (packet) ASSERT_EQ(packet->index(), row.packet.index()) << row.name << " of " << size << " bytes";
        }
}

TEST(SACN, EveryByteOfTheIdentifierCounts) {
    for (std::size_t at = 0; at < SACN::acnID.size(); ++at) {
        auto packet = vectors::sacn[0].bytes;
        packet[4 + at] ^= 0x20;
        EXPECT_FALSE(SACN::parse(packet)) << "byte " << at;
    }
}

TEST(SACN, PreambleAndLengthsAreNotLookedAt) {
    const auto packet = with(vectors::sacn[0].bytes, {{0, 4, 0xFF}, {16, 2, 0xFF}, {38, 2, 0xFF}});
    EXPECT_EQ(SACN::parse(packet), SACN::Packet(vectors::sacn[0].packet));
}

TEST(SACN, OtherVectorsAreNothing) {
    for (const std::uint8_t root : {0, 1, 3, 5, 9, 255})
        EXPECT_FALSE(SACN::parse(with(vectors::sacn[0].bytes, {{21, {root}}}))) << int{root};
    EXPECT_FALSE(SACN::parse(with(vectors::sacn[0].bytes, {{18, {1}}})));
    for (const std::uint8_t framing : {0, 1, 3})
        EXPECT_FALSE(SACN::parse(with(vectors::sacn[0].bytes, {{43, {framing}}}))) << int{framing};
    for (const std::uint8_t framing : {0, 3, 255})
        EXPECT_FALSE(SACN::parse(with(vectors::discoveryBytes, {{43, {framing}}}))) << int{framing};
    EXPECT_FALSE(SACN::parse(with(vectors::discoveryBytes, {{40, {1}}})));
}

TEST(SACN, GroupsFollowTheUniverse) {
    EXPECT_EQ(SACN::multicastGroup(1), "239.255.0.1");
    EXPECT_EQ(SACN::multicastGroup(63999), "239.255.249.255");
    EXPECT_EQ(SACN::multicastGroup(64214), "239.255.250.214");
    EXPECT_EQ(SACN::multicastGroup(0x10001), "239.255.0.1");
}

TEST(SACN, UsesPort5568) { EXPECT_EQ(SACN::port, 5568); }

}  // namespace netcore
