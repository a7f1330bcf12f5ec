#include "Kestrelyne/Network/ExtrasAccumulator.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Kestrelyne/Network/Datagrams.hpp"

using namespace kestrelyne;
using datagrams::at;
using datagrams::Bytes;
using netcore::vectors::packetOf;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

// An Announce of version 2 (IEEE 1588-2008, 13.5), and a Sync of version 1 (IEEE 1588-2002, 8.3).
Bytes announce(std::uint8_t domain, std::uint8_t sender, std::uint8_t grandmaster = 1) {
    return packetOf(64, {{0, {11, 2}}, {4, {domain}}, {27, {sender}}, {60, {grandmaster}}});
}
Bytes sync(std::uint8_t sender) { return packetOf(124, {{1, {1}}, {4, "_DFLT"}, {27, {sender}}}); }

void hear(ExtrasAccumulator& extras, const Bytes& bytes, double time, std::uint32_t adapter = 2) {
    extras.handlePTP(datagrams::view(bytes, {.time = time, .adapter = adapter}));
}

netcore::PacketCapture::Event arp(const char* ip) {
    return {.frame = netcore::ARPSeen{.ip = ip, .mac = "0A:0B:0C:12:34:56"}, .time = at(0)};
}

}  // namespace

TEST(ExtrasAccumulator, CountsAnnouncementsOfEachClockSinceTheLastDrain) {
    ExtrasAccumulator extras;
    hear(extras, announce(0, 1, 7), 1);
    hear(extras, announce(0, 1, 8), 2, 3);
    hear(extras, announce(0, 2), 2);
    hear(extras, announce(1, 1), 2);
    hear(extras, sync(1), 2);
    const auto entries = extras.drainPTP(at(3).steady);
    ASSERT_THAT(entries, SizeIs(4));  // by version, domain and sender
    EXPECT_EQ(entries[0].ann.version, 1);
    const auto& first = entries[1];
    EXPECT_EQ(first.ann.domain, "Domäne 0");
    EXPECT_EQ(first.ann.grandmaster, "00:00:00:00:00:00:00:08") << "the latest";
    EXPECT_EQ(first.count, 2u);
    EXPECT_EQ(first.iface, 3u);
    EXPECT_EQ(first.lastSeen.steady, at(2).steady);
    EXPECT_EQ(entries[2].count, 1u);
    EXPECT_EQ(entries[3].ann.domain, "Domäne 1");
    EXPECT_EQ(extras.drainPTP(at(4).steady)[1].count, 0u);
}

TEST(ExtrasAccumulator, WhatAnnouncesNoClockIsNotKept) {
    ExtrasAccumulator extras;
    hear(extras, packetOf(64, {{0, {0, 2}}}), 1);  // a Sync of version 2
    hear(extras, netcore::vectors::cut(announce(0, 1), 63), 1);
    EXPECT_THAT(extras.drainPTP(at(1).steady), IsEmpty());
}

TEST(ExtrasAccumulator, AClockGoesAfterAMinuteOfSilence) {
    ExtrasAccumulator extras;
    hear(extras, announce(0, 1), 0);
    hear(extras, announce(0, 2), 1);
    EXPECT_THAT(extras.drainPTP(at(60).steady), SizeIs(2));
    const auto left = extras.drainPTP(at(60.5).steady);
    ASSERT_THAT(left, SizeIs(1));
    EXPECT_EQ(left[0].ann.sender, "00:00:00:00:00:00:00:02");
}

TEST(ExtrasAccumulator, OfCapturedFramesOnlyARPAndIGMPAreKeptInTheirOrder) {
    ExtrasAccumulator extras;
    extras.handleCapture("eth0", arp("10.0.0.1"));
    extras.handleCapture("eth0",
                         {.frame = netcore::UDPSeen{.src = "10.0.0.1", .dst = "10.0.0.2", .payload = Bytes(1400)}, .time = at(1)});
    extras.handleCapture("eth1",
                         {.frame = netcore::IGMPQuery{.querier = "10.0.0.254", .group = "0.0.0.0", .version = 3}, .time = at(2)});
    extras.handleCapture("eth0", {.frame = netcore::IGMPReport{.host = "10.0.0.3"}, .time = at(3)});
    const auto events = extras.takeCaptured();
    ASSERT_THAT(events, SizeIs(3));
    EXPECT_EQ(events[0].first, "eth0");
    EXPECT_TRUE(std::holds_alternative<netcore::ARPSeen>(events[0].second.frame));
    EXPECT_EQ(events[1].first, "eth1");
    EXPECT_EQ(std::get<netcore::IGMPQuery>(events[1].second.frame).querier, "10.0.0.254");
    EXPECT_EQ(events[2].second.time.steady, at(3).steady);
    EXPECT_THAT(extras.takeCaptured(), IsEmpty());
}

TEST(ExtrasAccumulator, KeepsTheLatestTimecodeOfEachSenderForAMinute) {
    ExtrasAccumulator extras;
    extras.handleTimecode("10.0.0.2", {.frames = 1}, at(0));
    extras.handleTimecode("10.0.0.1", {.frames = 5}, at(1));
    extras.handleTimecode("10.0.0.2", {.frames = 2}, at(2));
    const auto codes = extras.currentTimecodes(at(61).steady);
    ASSERT_THAT(codes, SizeIs(2));
    EXPECT_EQ(codes[0].ip, "10.0.0.1");
    EXPECT_EQ(codes[1].ip, "10.0.0.2");
    EXPECT_EQ(codes[1].code.frames, 2);
    EXPECT_EQ(codes[1].time.steady, at(2).steady);
    EXPECT_THAT(extras.currentTimecodes(at(61.5).steady), SizeIs(1)) << "taking them does not empty them, time does";
}

TEST(ExtrasAccumulator, RefusesAndCountsWhatIsTooMuchButGoesOnWithWhatIsKnown) {
    ExtrasAccumulator extras({.clocks = 2, .frames = 4, .timecodes = 1});
    for (std::uint8_t sender = 1; sender <= 4; ++sender) hear(extras, announce(0, sender), 1);
    hear(extras, announce(0, 2), 2);
    EXPECT_EQ(extras.refused(), 2u);
    const auto entries = extras.drainPTP(at(2).steady);
    ASSERT_THAT(entries, SizeIs(2));
    EXPECT_EQ(entries[1].count, 2u);

    extras.handleTimecode("10.0.0.1", {.frames = 1}, at(1));
    extras.handleTimecode("10.0.0.2", {.frames = 1}, at(1));
    extras.handleTimecode("10.0.0.1", {.frames = 2}, at(1));
    EXPECT_EQ(extras.refused(), 3u);
    ASSERT_THAT(extras.currentTimecodes(at(1).steady), SizeIs(1));
    EXPECT_EQ(extras.currentTimecodes(at(1).steady)[0].code.frames, 2);

    // A report counts as its groups.
    extras.handleCapture("eth0", {.frame = netcore::IGMPReport{.host = "10.0.0.3", .groups = {"a", "b", "c"}}, .time = at(1)});
    extras.handleCapture("eth0", {.frame = netcore::IGMPReport{.host = "10.0.0.3", .groups = {"a", "b"}}, .time = at(1)});
    extras.handleCapture("eth0", arp("10.0.0.1"));
    extras.handleCapture("eth0", arp("10.0.0.2"));
    EXPECT_EQ(extras.refused(), 5u);
    EXPECT_THAT(extras.takeCaptured(), SizeIs(2));
    extras.handleCapture("eth0", arp("10.0.0.3"));
    EXPECT_THAT(extras.takeCaptured(), SizeIs(1)) << "after a drain there is room again";
}

TEST(ExtrasAccumulator, ForgetsTimecodeAndNetworkApart) {
    ExtrasAccumulator extras;
    hear(extras, announce(0, 1), 0);
    extras.handleCapture("eth0", arp("10.0.0.1"));
    extras.handleTimecode("10.0.0.1", {}, at(0));
    extras.resetTimecodes();
    EXPECT_THAT(extras.currentTimecodes(at(0).steady), IsEmpty());
    EXPECT_THAT(extras.drainPTP(at(0).steady), SizeIs(1));
    extras.handleTimecode("10.0.0.1", {}, at(0));
    extras.resetNetwork();
    EXPECT_THAT(extras.drainPTP(at(0).steady), IsEmpty());
    EXPECT_THAT(extras.takeCaptured(), IsEmpty());
    EXPECT_THAT(extras.currentTimecodes(at(0).steady), SizeIs(1));
}
