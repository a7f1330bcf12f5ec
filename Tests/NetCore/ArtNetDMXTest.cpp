#include "NetCore/ArtNetDMX.hpp"

#include <gtest/gtest.h>

#include "NetCore/ArtNetVectors.hpp"

namespace netcore {

using vectors::Bytes;
using vectors::copyOf;
using vectors::with;

TEST(ArtNetDMX, FramesToBytesAndBack) {
    for (const auto& vector : vectors::dmx) {
        SCOPED_TRACE(vector.name);
        EXPECT_EQ(copyOf(DMXPackets::artDmx(vector.universe, vector.sequence, vector.data)), vector.bytes);

        auto sent = vector.data;
        sent.resize(512);
        const auto view = ArtNet::viewDmx(vector.bytes);
        ASSERT_TRUE(view);
        EXPECT_EQ(view->info(),
                  (ArtNet::DmxInfo{.universe = vector.universe, .sequence = vector.sequence, .length = 512, .data = sent}));
    }
}

TEST(ArtNetDMX, AViewPointsIntoTheDatagram) {
    const auto& bytes = vectors::dmx[0].bytes;
    EXPECT_EQ(ArtNet::viewDmx(bytes)->data.data(), bytes.data() + 18);
}

TEST(ArtNetDMX, SlotsBeyond512AreDeclaredButNotRead) {
    const auto packet = with(Bytes(700, 0x55), {vectors::artNet(0x5000), {16, {0x02, 0x58}}});
    const auto view = ArtNet::viewDmx(packet);
    ASSERT_TRUE(view);
    EXPECT_EQ(view->length, 600);
    EXPECT_EQ(copyOf(view->data), Bytes(512, 0x55));
}

TEST(ArtNetDMX, SlotsThatWereNotSentAreDeclaredButMissing) {
    for (const std::size_t sent : {100u, 1u, 0u}) {
        const auto view = ArtNet::viewDmx(vectors::cut(vectors::dmx[0].bytes, 18 + sent));
        ASSERT_TRUE(view);
        EXPECT_EQ(view->length, 512);
        EXPECT_EQ(view->data.size(), sent);
    }
}

TEST(ArtNetDMX, BytesBehindTheDeclaredSlotsAreNoSlots) {
    const auto packet = with(vectors::dmx[0].bytes, {{16, {0, 2}}});
    const auto view = ArtNet::viewDmx(packet);
    ASSERT_TRUE(view);
    EXPECT_EQ(view->length, 2);
    EXPECT_EQ(copyOf(view->data), (Bytes{0, 1}));
}

TEST(ArtNetDMX, AllSixteenBitsOfTheUniverseAreKept) {
    const auto packet = with(vectors::dmx[0].bytes, {{14, {0x34, 0xF2}}});
    EXPECT_EQ(ArtNet::viewDmx(packet)->universe, 0xF234);
}

TEST(ArtNetDMX, OtherPacketsGiveNoView) {
    EXPECT_FALSE(ArtNet::viewDmx(vectors::nodeReplyBytes));
    EXPECT_FALSE(ArtNet::viewDmx(with(vectors::dmx[0].bytes, {{7, {1}}})));
    EXPECT_FALSE(ArtNet::viewDmx(vectors::cut(vectors::dmx[0].bytes, 17)));
    EXPECT_FALSE(ArtNet::viewDmx({}));
}

TEST(ArtNetDMX, UniversesBeyondFifteenBitsAreMasked) {
    EXPECT_EQ(DMXPackets::artDmx(0xFFFF, 1, {}), DMXPackets::artDmx(0x7FFF, 1, {}));
    EXPECT_EQ(DMXPackets::artDmx(-1, 1, {}), DMXPackets::artDmx(0x7FFF, 1, {}));
}

}  // namespace netcore
