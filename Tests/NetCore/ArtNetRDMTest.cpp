#include "NetCore/ArtNetRDM.hpp"

#include <gtest/gtest.h>

#include "NetCore/ArtNetVectors.hpp"

namespace netcore {

using vectors::Bytes;
using vectors::copyOf;
using vectors::with;

TEST(ArtNetRDM, FramesToBytesAndBack) {
    EXPECT_EQ(ArtNet::rdmPacket(vectors::rdm.universe, vectors::rdm.packet), vectors::rdmBytes);
    EXPECT_EQ(ArtNet::parseRdm(vectors::rdmBytes), vectors::rdm);
}

TEST(ArtNetRDM, AFrameNeedsAtLeastOneByte) {
    EXPECT_EQ(ArtNet::parseRdm(vectors::cut(vectors::rdmBytes, 25))->packet, Bytes{0x01});
    EXPECT_FALSE(ArtNet::parseRdm(vectors::cut(vectors::rdmBytes, 24)));
    EXPECT_EQ(ArtNet::rdmPacket(0x0423, {}), vectors::cut(vectors::rdmBytes, 24));
}

TEST(ArtNetRDM, TableRequestsNameNetAndAddress) { EXPECT_EQ(copyOf(ArtNet::todRequest(0x1234)), vectors::todRequest); }

TEST(ArtNetRDM, UniversesBeyondFifteenBitsAreMasked) {
    EXPECT_EQ(ArtNet::todRequest(0x9234), ArtNet::todRequest(0x1234));
    EXPECT_EQ(ArtNet::rdmPacket(0x9234, {}), ArtNet::rdmPacket(0x1234, {}));
}

TEST(ArtNetRDM, TablesAreReadFromTheirBytes) { EXPECT_EQ(ArtNet::parseTodData(vectors::todBytes), vectors::tod); }

TEST(ArtNetRDM, DevicesThatDoNotFitAreSkipped) {
    EXPECT_EQ(ArtNet::parseTodData(with(vectors::todBytes, {{27, {3}}})), vectors::tod);
    EXPECT_EQ(ArtNet::parseTodData(vectors::cut(vectors::todBytes, 39))->uids.size(), 1u);
    EXPECT_EQ(ArtNet::parseTodData(vectors::cut(vectors::todBytes, 33))->uids.size(), 0u);
}

TEST(ArtNetRDM, DevicesBeyondTheCountAreNotRead) {
    EXPECT_EQ(ArtNet::parseTodData(with(vectors::todBytes, {{27, {1}}}))->uids.size(), 1u);
}

TEST(ArtNetRDM, UniversesAreReadWithAllBitsOfNet) {
    EXPECT_EQ(ArtNet::parseTodData(with(vectors::todBytes, {{21, {0xFF}}}))->universe, 0xFF23);
    EXPECT_EQ(ArtNet::parseRdm(with(vectors::rdmBytes, {{21, {0xFF}}}))->universe, 0xFF23);
}

}  // namespace netcore
