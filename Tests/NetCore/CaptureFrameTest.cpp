#include "NetCore/CaptureFrame.hpp"

#include <gtest/gtest.h>

#include "NetCore/CaptureVectors.hpp"

namespace netcore {

using namespace vectors;

namespace {

using Frame = std::optional<CapturedFrame>;
const ARPSeen answer{.ip = "10.0.0.7", .mac = "02:AB:CD:00:12:EF", .isRequest = false};
const ARPSeen request{.ip = "10.0.0.7", .mac = "02:AB:CD:00:12:EF", .isRequest = true};

IGMPReport report(std::vector<std::string> groups, bool leave) {
    return {.host = "10.0.0.7", .groups = std::move(groups), .leave = leave};
}
IGMPQuery query(int version) { return {.querier = "10.0.0.7", .group = "239.1.2.3", .version = version}; }
Frame parseEthernet(const Bytes& frame) { return parseFrame(frame, linkEthernet); }

}  // namespace

TEST(CaptureFrame, ARPTellsWhoHasWhichAddress) {
    EXPECT_EQ(parseEthernet(ethernet(0x0806, arp(1))), Frame(request));
    EXPECT_EQ(parseEthernet(ethernet(0x0806, arp(2))), Frame(answer));
    EXPECT_EQ(parseEthernet(ethernet(0x0806, arp(0x0101))), Frame(answer)) << "the opcode has two bytes";
}

TEST(CaptureFrame, AnARPProbeHasNoAddressYet) { EXPECT_FALSE(parseEthernet(ethernet(0x0806, with(arp(1), {{14, {0, 0, 0, 0}}})))); }

TEST(CaptureFrame, BehindAVLANTagTheFrameIsReadTheSame) {
    EXPECT_EQ(parseEthernet(tagged(0x0806, arp(1))), Frame(request));
    EXPECT_EQ(parseEthernet(tagged(0x0800, ipv4(2, igmp(0x16, 0)))), Frame(report({"239.1.2.3"}, false)));
    EXPECT_FALSE(parseEthernet(cut(tagged(0x0806, arp(1)), 17)));
    EXPECT_FALSE(parseEthernet(tagged(0x8100, packetOf(4, {big16At(2, 0x0806)}) + arp(1)))) << "one tag is read";
}

TEST(CaptureFrame, LoopbackFramesAreAlwaysReadAsIPv4) {
    const auto packet = Bytes{2, 0, 0, 0} + ipv4(2, igmp(0x17, 0));
    EXPECT_EQ(parseFrame(packet, linkNull), Frame(report({"239.1.2.3"}, true)));
    EXPECT_EQ(parseFrame(packet, linkLoop), Frame(report({"239.1.2.3"}, true)));
    EXPECT_FALSE(parseFrame(cut(packet, 3), linkNull));
    EXPECT_FALSE(parseFrame(Bytes{30, 0, 0, 0} + with(ipv4(2, igmp(0x17, 0)), {{0, {0x65}}}), linkNull)) << "IPv6";
}

TEST(CaptureFrame, OtherLinkTypesAndEtherTypesGiveNothing) {
    EXPECT_FALSE(parseFrame(ethernet(0x0806, arp(1)), 113));
    EXPECT_FALSE(parseEthernet(ethernet(0x86DD, ipv4(2, igmp(0x17, 0)))));
    EXPECT_FALSE(parseEthernet(ethernet(0x0800, ipv4(6, Bytes(20)))));
}

// RFC 3376, 7.1: versions 1 and 2 have 8 bytes, version 3 at least 12.
TEST(CaptureFrame, TheVersionOfAQueryFollowsFromItsLengthAndResponseTime) {
    EXPECT_EQ(parseEthernet(igmpFrame(igmp(0x11, 0))), Frame(query(1)));
    EXPECT_EQ(parseEthernet(igmpFrame(igmp(0x11, 100))), Frame(query(2)));
    EXPECT_EQ(parseEthernet(igmpFrame(igmp(0x11, 0, 11))), Frame(query(1)));
    EXPECT_EQ(parseEthernet(igmpFrame(igmp(0x11, 0, 12))), Frame(query(3)));
    EXPECT_EQ(parseEthernet(igmpFrame(igmp(0x11, 100, 12))), Frame(query(3)));
}

TEST(CaptureFrame, TheLengthOfAQueryIsTheDeclaredOneAlsoWhereTheCaptureEndsOrPadding) {
    const auto third = igmpFrame(igmp(0x11, 100, 12));
    EXPECT_EQ(parseEthernet(cut(third, third.size() - 4)), Frame(query(3)));
    EXPECT_EQ(parseEthernet(igmpFrame(igmp(0x11, 100)) + Bytes(14)), Frame(query(2)));
}

TEST(CaptureFrame, AGeneralQueryIsAboutNoGroup) {
    EXPECT_EQ(parseEthernet(igmpFrame(with(igmp(0x11, 100), {{4, {0, 0, 0, 0}}}))),
              Frame(IGMPQuery{.querier = "10.0.0.7", .group = "0.0.0.0", .version = 2}));
}

TEST(CaptureFrame, ReportsAndLeavesNameTheirGroup) {
    EXPECT_EQ(parseEthernet(igmpFrame(igmp(0x12, 0))), Frame(report({"239.1.2.3"}, false)));
    EXPECT_EQ(parseEthernet(igmpFrame(igmp(0x16, 0))), Frame(report({"239.1.2.3"}, false)));
    EXPECT_EQ(parseEthernet(igmpFrame(igmp(0x17, 0))), Frame(report({"239.1.2.3"}, true)));
    EXPECT_FALSE(parseEthernet(igmpFrame(igmp(0x13, 0)))) << "DVMRP";
}

TEST(CaptureFrame, RecordsOfAVersion3ReportJoinOrLeave) {
    struct Row {
        const char* what;
        std::uint16_t count;
        Bytes records;
        std::optional<IGMPReport> expected;
    };
    const std::vector<Row> rows = {
        {"include nobody", 1, record(1, 1), report({"239.9.9.1"}, true)},
        {"change to include nobody", 1, record(3, 1), report({"239.9.9.1"}, true)},
        {"include somebody", 1, record(1, 1, 1), report({"239.9.9.1"}, false)},
        {"change to include somebody", 1, record(3, 1, 2), report({"239.9.9.1"}, false)},
        {"exclude", 1, record(2, 1), report({"239.9.9.1"}, false)},
        {"change to exclude", 1, record(4, 1), report({"239.9.9.1"}, false)},
        {"block old sources", 1, record(6, 1, 1), report({"239.9.9.1"}, false)},
        {"two joins", 2, record(4, 1) + record(4, 2), report({"239.9.9.1", "239.9.9.2"}, false)},
        {"two leaves", 2, record(3, 1) + record(3, 2), report({"239.9.9.1", "239.9.9.2"}, true)},
        {"a leave and a join", 2, record(3, 1) + record(4, 2), report({"239.9.9.2"}, false)},
        {"a join and a leave", 2, record(4, 1) + record(3, 2), report({"239.9.9.1"}, false)},
        {"sources and auxiliary data are skipped", 2, record(4, 1, 3, 2) + record(4, 2), report({"239.9.9.1", "239.9.9.2"}, false)},
        {"no record", 0, {}, std::nullopt},
        {"more than declared", 1, record(4, 1) + record(4, 2), report({"239.9.9.1"}, false)},
        {"fewer than declared", 900, record(4, 1), report({"239.9.9.1"}, false)},
        {"the second is cut in its header", 2, record(4, 1) + cut(record(4, 2), 7), report({"239.9.9.1"}, false)},
        {"the second is cut in its sources", 2, record(4, 1) + cut(record(4, 2, 2), 12), report({"239.9.9.1"}, false)},
        {"the first claims 65535 sources", 2, with(record(4, 1), {{2, {0xFF, 0xFF}}}) + record(4, 2), std::nullopt},
    };
    for (const auto& [what, count, records, expected] : rows)
        EXPECT_EQ(parseEthernet(igmpFrame(version3Report(count, records))), Frame(expected)) << what;
}

TEST(CaptureFrame, RecordsEndWithTheDatagramNotWithThePadding) {
    const auto frame = igmpFrame(version3Report(2, record(4, 1))) + record(4, 2);
    EXPECT_EQ(parseEthernet(frame), Frame(report({"239.9.9.1"}, false)));
}

TEST(CaptureFrame, UDPGivesPortsAndPayloadWithoutThePadding) {
    EXPECT_EQ(parseEthernet(ethernet(0x0800, ipv4(17, udp(6454, 5568, {1, 2, 3}))) + Bytes(15)),
              Frame(UDPSeen{.src = "10.0.0.7", .dst = "239.1.2.3", .srcPort = 6454, .dstPort = 5568, .payload = {1, 2, 3}}));
    EXPECT_FALSE(parseEthernet(ethernet(0x0800, ipv4(17, Bytes(7)))));
}

TEST(CaptureFrame, NoNestedLengthIsTrustedBeyondItsParent) {
    const auto datagram = ipv4(17, udp(1, 2, {1, 2, 3}));
    struct Row {
        const char* what;
        Bytes packet;
        std::optional<std::size_t> payload;
    };
    const std::vector<Row> rows = {
        {"as it should be", datagram, 3},
        {"IP longer than the frame", with(datagram, {{2, {0xFF, 0xFF}}}), 3},
        {"IP shorter than the UDP header", with(datagram, {{2, {0, 27}}}), std::nullopt},
        {"IP shorter than its own header", with(datagram, {{2, {0, 19}}}), std::nullopt},
        {"a header of 16 bytes", with(datagram, {{0, {0x44}}}), std::nullopt},
        {"a header longer than the frame", with(datagram, {{0, {0x4F}}}), std::nullopt},
        {"UDP longer than IP", with(datagram, {{24, {0xFF, 0xFF}}}), 3},
        {"UDP shorter than IP", with(datagram, {{24, {0, 9}}}), 1},
        {"UDP shorter than its own header", with(datagram, {{24, {0, 7}}}), std::nullopt},
        {"version 6", with(datagram, {{0, {0x65}}}), std::nullopt},
    };
    for (const auto& [what, packet, payload] : rows) {
        const auto frame = parseEthernet(ethernet(0x0800, packet));
        ASSERT_EQ(frame.has_value(), payload.has_value()) << what;
        if (frame) EXPECT_EQ(std::get<UDPSeen>(*frame).payload.size(), *payload) << what;
    }
}

TEST(CaptureFrame, OfAFragmentedDatagramOnlyTheFirstPartHasTheHeaderInside) {
    const auto packet = ipv4(2, igmp(0x16, 0));
    EXPECT_TRUE(parseEthernet(ethernet(0x0800, with(packet, {{6, {0x20, 0}}}))));
    EXPECT_FALSE(parseEthernet(ethernet(0x0800, with(packet, {{6, {0x20, 1}}}))));
    EXPECT_FALSE(parseEthernet(ethernet(0x0800, with(packet, {{6, {0x1F, 0}}}))));
}

TEST(CaptureFrame, WhatIsCutShortGivesNothing) {
    const std::vector<Bytes> frames = {ethernet(0x0806, arp(1)), tagged(0x0806, arp(2)), igmpFrame(igmp(0x16, 0)),
                                       igmpFrame(version3Report(1, record(4, 1, 2)))};
    for (const auto& frame : frames) {
        EXPECT_TRUE(parseEthernet(frame));
        for (std::size_t size = 0; size < frame.size(); ++size) EXPECT_FALSE(parseEthernet(cut(frame, size))) << size;
    }
}

}  // namespace netcore
