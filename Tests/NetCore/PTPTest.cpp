#include "NetCore/PTP.hpp"

#include <gtest/gtest.h>

#include "NetCore/CaptureVectors.hpp"

namespace netcore {

using vectors::with;

TEST(PTP, AnAnnounceOfVersion2IsRead) {
    EXPECT_EQ(PTP::parse(vectors::announceV2), (PTP::Announcement{.version = 2,
                                                                  .domain = "Domäne 3",
                                                                  .grandmaster = "00:1d:c1:ff:fe:0a:0b:0c",
                                                                  .sender = "00:80:f0:ff:fe:12:34:56",
                                                                  .priority1 = 127,
                                                                  .priority2 = 129,
                                                                  .clockClass = 6,
                                                                  .stepsRemoved = 0x0102}));
}

TEST(PTP, ASyncOfVersion1IsRead) {
    EXPECT_EQ(
        PTP::parse(vectors::syncV1),
        (PTP::Announcement{
            .version = 1, .domain = "_ALT1", .grandmaster = "00:1d:c1:0a:0b:0c", .sender = "00:1d:c1:12:34:56", .stratum = 4}));
}

TEST(PTP, DomainNumberZeroReadsAsSuch) { EXPECT_EQ(PTP::parse(with(vectors::announceV2, {{4, {0}}}))->domain, "Domäne 0"); }

TEST(PTP, OtherMessagesOfVersion2GiveNothing) {
    for (std::uint8_t type = 0; type < 16; ++type)
        EXPECT_EQ(PTP::parse(with(vectors::announceV2, {{0, {type}}})).has_value(), type == 11) << int{type};
}

TEST(PTP, OnlyTheLowHalvesOfTheFirstBytesCountInVersion2) {
    EXPECT_TRUE(PTP::parse(with(vectors::announceV2, {{0, {0x1B, 0x12}}})));
}

TEST(PTP, AnEmptySubdomainIsTheDefaultOne) { EXPECT_EQ(PTP::parse(with(vectors::syncV1, {{4, 16, 0}}))->domain, "_DFLT"); }

TEST(PTP, ASubdomainOfFullWidthIsReadAndRepaired) {
    EXPECT_EQ(PTP::parse(with(vectors::syncV1, {{4, "0123456789ABCDEF"}}))->domain, "0123456789ABCDEF");
    EXPECT_EQ(PTP::parse(with(vectors::syncV1, {{4, {'_', 0xFF, 'A', 0}}}))->domain, "_\uFFFDA");
}

TEST(PTP, OnlyTheSyncOfVersion1IsRead) {
    EXPECT_FALSE(PTP::parse(with(vectors::syncV1, {{32, {1}}}))) << "a Delay_Req";
    EXPECT_FALSE(PTP::parse(with(vectors::syncV1, {{0, {1}}})));
    EXPECT_FALSE(PTP::parse(with(vectors::syncV1, {{1, {3}}})));
    EXPECT_FALSE(PTP::parse(with(vectors::syncV1, {{1, {0x11}}}))) << "version 1 has no halves";
}

TEST(PTP, WhatIsCutShortGivesNothing) {
    for (std::size_t size = 0; size < vectors::announceV2.size(); ++size)
        EXPECT_FALSE(PTP::parse(vectors::cut(vectors::announceV2, size))) << size;
    for (std::size_t size = 0; size < vectors::syncV1.size(); ++size)
        EXPECT_FALSE(PTP::parse(vectors::cut(vectors::syncV1, size))) << size;
}

TEST(PTP, WhatFollowsIsIgnored) {
    auto longer = vectors::announceV2;
    longer.resize(200, 0xFF);
    EXPECT_EQ(PTP::parse(longer), PTP::parse(vectors::announceV2));
}

}  // namespace netcore
