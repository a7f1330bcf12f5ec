#include "Kestrelyne/Network/QuerierWatch.hpp"

#include <gtest/gtest.h>

#include "Findings.hpp"

using namespace kestrelyne;
using base::Seconds;

namespace {

constexpr double timeout = 260;

// Captures of "eth0", shown as "LAN", from 0 s on.
class QuerierWatchTest : public testing::Test {
protected:
    QuerierWatchTest() { watch.begin("eth0", "LAN", at(0), std::nullopt); }

    Lines query(double now, const std::string& querier, int version = 3, const std::string& group = "0.0.0.0") {
        return told(watch.noteQuery("eth0", {.querier = querier, .group = group, .version = version}, at(now),
                                    [](const std::string& ip) { return ip == "10.0.0.1" ? "Core-Switch" : ip; }));
    }
    void join(double now, const std::string& host, std::vector<std::string> groups) {
        watch.noteReport("eth0", {.host = host, .groups = std::move(groups), .leave = false}, at(now));
    }
    void leave(double now, const std::string& host, const std::string& group) {
        watch.noteReport("eth0", {.host = host, .groups = {group}, .leave = true}, at(now));
    }
    Lines check(double now, double limit = timeout) { return told(watch.check(at(now), Seconds(limit))); }
    const IGMPInterfaceState& shown() const { return watch.igmp()->at(0); }

    QuerierWatch watch;
};

const std::string missing260 =
    "alarm: Kein IGMP-Querier auf LAN seit 260 s – bei aktivem IGMP-Snooping kann sACN/Dante-Multicast ausfallen";
const std::string backAgain = "info: IGMP-Querier auf LAN wieder aktiv";

}  // namespace

TEST_F(QuerierWatchTest, AQuerierIsToldOnceWithItsNameAndVersion) {
    EXPECT_EQ(query(1, "10.0.0.1", 2), Lines{"info: IGMP-Querier auf LAN: Core-Switch (IGMPv2)"});
    EXPECT_EQ(query(126, "10.0.0.1", 3), Lines{});
    check(126);
    EXPECT_EQ(shown().queriers.at("10.0.0.1").version, 3);
    EXPECT_EQ(shown().queriers.at("10.0.0.1").last.steady, at(126).steady);
}

// A switch that has no address of its own asks from 0.0.0.0 (RFC 4541, 2.1.1).
TEST_F(QuerierWatchTest, ASwitchWithoutAnAddressIsAQuerierToo) {
    join(0, "10.0.0.9", {"239.255.0.1"});
    EXPECT_EQ(query(1, "0.0.0.0", 2), Lines{"info: IGMP-Querier auf LAN: 0.0.0.0 (IGMPv2)"});
    EXPECT_EQ(check(261), Lines{}) << "it is heard for 260 s";
    query(262, "0.0.0.0");
    query(262, "10.0.0.1");
    EXPECT_EQ(check(262), Lines{"warning: Mehrere IGMP-Querier auf LAN: 0.0.0.0, 10.0.0.1 – die niedrigste IP gewinnt die Wahl"});
}

TEST_F(QuerierWatchTest, ASilentQuerierIsMissedOnceAndItsReturnToldOnce) {
    join(0, "10.0.0.9", {"239.255.0.1"});
    query(10, "10.0.0.1");
    struct Row {
        double now;
        bool asks;
        Lines expected;
        bool missing;
    };
    for (const auto& [now, asks, expected, missing] : std::initializer_list<Row>{{11, false, {}, false},
                                                                                 {270, false, {}, false},
                                                                                 {270.9, false, {missing260}, true},
                                                                                 {271, false, {}, true},
                                                                                 {500, false, {}, true},
                                                                                 {501, true, {backAgain}, false},
                                                                                 {502, false, {}, false}}) {
        if (asks) query(now, "10.0.0.1");
        EXPECT_EQ(check(now), expected) << "at " << now << " s";
        EXPECT_EQ(shown().missing, missing) << "at " << now << " s";
    }
}

TEST_F(QuerierWatchTest, WithoutAnyQuerierTheTimeCountsFromTheStartOfTheCapture) {
    join(200, "10.0.0.9", {"239.255.0.1"});
    EXPECT_EQ(check(260), Lines{});
    EXPECT_EQ(check(260.5), Lines{missing260});
}

TEST_F(QuerierWatchTest, AnotherLimitMayBeSet) {
    join(0, "10.0.0.9", {"239.255.0.1"});
    EXPECT_EQ(check(5, 5), Lines{});
    EXPECT_EQ(check(5.1, 5),
              Lines{"alarm: Kein IGMP-Querier auf LAN seit 5 s – bei aktivem IGMP-Snooping kann sACN/Dante-Multicast ausfallen"});
}

TEST_F(QuerierWatchTest, NobodyNeedsAQuerierForGroupsThatEverySwitchFloods) {
    struct Row {
        std::vector<std::string> groups;
        bool needed;
    };
    for (const auto& [groups, needed] : std::initializer_list<Row>{{{}, false},
                                                                   {{"239.255.255.250"}, false},
                                                                   {{"224.0.0.251"}, false},
                                                                   {{"224.0.0.251", "239.255.255.250"}, false},
                                                                   {{"224.0.1.129"}, true},
                                                                   {{"239.255.255.250", "239.255.0.1"}, true},
                                                                   {{"239.255.255.25"}, true}}) {
        QuerierWatch fresh;
        fresh.begin("eth0", "LAN", at(0), std::nullopt);
        fresh.noteReport("eth0", {.host = "10.0.0.9", .groups = groups}, at(0));
        EXPECT_EQ(!fresh.check(at(300), Seconds(timeout)).empty(), needed) << testing::PrintToString(groups);
    }
}

TEST_F(QuerierWatchTest, OnlyQueriersWithinTheLimitCountAsSeveral) {
    join(0, "10.0.0.9", {"239.255.0.1"});
    const std::string several =
        "warning: Mehrere IGMP-Querier auf LAN: 10.0.0.1, 10.0.0.9, 10.0.0.10 – die niedrigste IP gewinnt die Wahl";
    query(0, "10.0.0.10");
    query(0, "10.0.0.9");
    query(0, "10.0.0.1");
    EXPECT_EQ(check(1), Lines{several});
    EXPECT_EQ(check(2), Lines{}) << "once";
    query(200, "10.0.0.1");
    query(200, "10.0.0.9");
    EXPECT_EQ(check(261), Lines{}) << "two are still two or more";
    query(400, "10.0.0.1");
    EXPECT_EQ(check(461), Lines{}) << "one is left: it ends without a word";
    query(461, "10.0.0.9");
    EXPECT_EQ(check(461), Lines{"warning: Mehrere IGMP-Querier auf LAN: 10.0.0.1, 10.0.0.9 – die niedrigste IP gewinnt die Wahl"});
}

TEST_F(QuerierWatchTest, EachAdapterIsJudgedByItself) {
    watch.begin("eth1", "Audio", at(0), std::nullopt);
    join(0, "10.0.0.9", {"239.255.0.1"});
    watch.noteReport("eth1", {.host = "10.1.0.9", .groups = {"239.69.0.1"}}, at(0));
    query(200, "10.0.0.1");
    EXPECT_EQ(
        check(261),
        Lines{"alarm: Kein IGMP-Querier auf Audio seit 261 s – bei aktivem IGMP-Snooping kann sACN/Dante-Multicast ausfallen"});
    ASSERT_EQ(watch.igmp()->size(), 2U);
    EXPECT_FALSE(watch.igmp()->at(0).missing);
    EXPECT_TRUE(watch.igmp()->at(1).missing);
}

// Members

TEST_F(QuerierWatchTest, ReportsJoinAndLeave) {
    join(1, "10.0.0.10", {"239.255.0.1", "239.255.0.2"});
    join(2, "10.0.0.9", {"239.255.0.1"});
    join(3, "10.0.0.9", {"239.255.0.1"});
    EXPECT_EQ(watch.members("239.255.0.1"), (Lines{"10.0.0.9", "10.0.0.10"}));
    EXPECT_EQ(watch.members("239.255.0.2"), Lines{"10.0.0.10"});
    EXPECT_EQ(watch.members("239.255.0.3"), Lines{});
    leave(4, "10.0.0.10", "239.255.0.1");
    leave(4, "10.0.0.10", "239.255.0.2");
    leave(4, "10.0.0.11", "239.255.0.1");
    check(4);
    EXPECT_EQ(watch.members("239.255.0.1"), Lines{"10.0.0.9"});
    EXPECT_EQ(shown().groups.size(), 1U) << "a group without members is none";
    EXPECT_EQ(shown().groups.at("239.255.0.1").at("10.0.0.9").steady, at(3).steady);
}

TEST_F(QuerierWatchTest, MembersOfAllAdaptersAreMergedWithoutDuplicates) {
    watch.begin("eth1", "Audio", at(0), std::nullopt);
    join(1, "10.0.0.10", {"239.255.0.1"});
    watch.noteReport("eth1", {.host = "10.0.0.10", .groups = {"239.255.0.1"}}, at(1));
    watch.noteReport("eth1", {.host = "10.0.0.9", .groups = {"239.255.0.1"}}, at(1));
    EXPECT_EQ(watch.members("239.255.0.1"), (Lines{"10.0.0.9", "10.0.0.10"}));
}

TEST_F(QuerierWatchTest, AMemberThatNoLongerAnswersGoes) {
    join(0, "10.0.0.9", {"239.255.0.1"});
    join(0, "10.0.0.10", {"239.255.0.1"});
    for (double now = 0; now <= 750; now += 125) {
        query(now, "10.0.0.1");
        join(now + 5, "10.0.0.10", {"239.255.0.1"});
        check(now + 10);
    }
    EXPECT_EQ(watch.members("239.255.0.1").size(), 2U) << "750 s of unanswered queries";
    query(781, "10.0.0.1");
    check(791);
    EXPECT_EQ(watch.members("239.255.0.1"), Lines{"10.0.0.10"});
    EXPECT_FALSE(shown().groups.at("239.255.0.1").contains("10.0.0.9"));
}

TEST_F(QuerierWatchTest, AsLongAsNobodyAsksSilenceSaysNothing) {
    join(0, "10.0.0.9", {"239.255.0.1"});
    query(10000, "10.0.0.1", 3, "239.255.0.7");  // asks for another group only
    check(86400);
    EXPECT_EQ(watch.members("239.255.0.1"), Lines{"10.0.0.9"});
    check(86411);
    EXPECT_EQ(watch.members("239.255.0.1"), Lines{}) << "a day is enough";
}

TEST_F(QuerierWatchTest, AfterAPauseOfTheQuerierMembersHaveAllTheTimeToAnswer) {
    join(0, "10.0.0.9", {"239.255.0.1"});
    query(0, "10.0.0.1");
    query(5000, "10.0.0.1");
    check(5000);
    EXPECT_EQ(watch.members("239.255.0.1"), Lines{"10.0.0.9"});
    for (double now = 5125; now <= 5750; now += 125) query(now, "10.0.0.1");
    check(5760);
    EXPECT_EQ(watch.members("239.255.0.1"), Lines{"10.0.0.9"});
    query(5875, "10.0.0.1");
    check(5885);
    EXPECT_EQ(watch.members("239.255.0.1"), Lines{});
}

TEST_F(QuerierWatchTest, OfQueriersSilentForLongTheLastOneHeardStays) {
    join(0, "10.0.0.9", {"239.255.0.1"});
    query(0, "10.0.0.1");
    query(1, "10.0.0.2");
    check(3600);
    EXPECT_EQ(shown().queriers.size(), 2U);
    check(7200);
    ASSERT_EQ(shown().queriers.size(), 1U);
    EXPECT_TRUE(shown().queriers.contains("10.0.0.2"));
    EXPECT_EQ(query(7201, "10.0.0.1"), Lines{"info: IGMP-Querier auf LAN: Core-Switch (IGMPv3)"});
}

// Limits

TEST_F(QuerierWatchTest, WhatIsBeyondTheLimitsIsCountedAndDropped) {
    QuerierWatch small(QuerierWatch::Limits{.queriers = 2, .memberships = 3});
    small.begin("eth0", "LAN", at(0), std::nullopt);
    const auto name = [](const std::string& ip) { return ip; };
    for (const char* querier : {"10.0.0.1", "10.0.0.2"})
        EXPECT_EQ(small.noteQuery("eth0", {querier, "0.0.0.0", 2}, at(1), name).size(), 1U);
    EXPECT_TRUE(small.noteQuery("eth0", {"10.0.0.3", "0.0.0.0", 2}, at(1), name).empty());
    EXPECT_EQ(small.refused(), 1U);

    small.noteReport("eth0", {.host = "10.0.0.9", .groups = {"239.1.0.1", "239.1.0.2", "239.1.0.3", "239.1.0.4"}}, at(1));
    EXPECT_EQ(small.refused(), 2U);
    EXPECT_TRUE(small.members("239.1.0.4").empty());
    small.noteReport("eth0", {.host = "10.0.0.9", .groups = {"239.1.0.1"}}, at(2));
    EXPECT_EQ(small.refused(), 2U) << "a known member is never refused";
    small.noteReport("eth0", {.host = "10.0.0.9", .groups = {"239.1.0.1"}, .leave = true}, at(3));
    small.noteReport("eth0", {.host = "10.0.0.9", .groups = {"239.1.0.4"}}, at(3));
    EXPECT_EQ(small.refused(), 2U) << "one has left";
    EXPECT_EQ(small.members("239.1.0.4"), Lines{"10.0.0.9"});
}

TEST_F(QuerierWatchTest, AnAdapterThatIsNotCapturedTakesNothing) {
    EXPECT_TRUE(watch.noteQuery("eth7", {"10.0.0.1", "0.0.0.0", 2}, at(1), [](const std::string& ip) { return ip; }).empty());
    watch.noteReport("eth7", {.host = "10.0.0.9", .groups = {"239.255.0.1"}}, at(1));
    check(1);
    EXPECT_EQ(watch.members("239.255.0.1"), Lines{});
    EXPECT_EQ(watch.igmp()->size(), 1U);
}

// Captures that fail, begin anew and end

TEST_F(QuerierWatchTest, AnAdapterThatCannotBeCapturedIsNotJudged) {
    join(0, "10.0.0.9", {"239.255.0.1"});
    EXPECT_EQ(check(300).size(), 1U);
    watch.begin("eth0", "LAN", at(301), "Keine Berechtigung");
    EXPECT_EQ(check(600), Lines{});
    EXPECT_EQ(shown().error, "Keine Berechtigung");
    EXPECT_FALSE(shown().missing);
    watch.begin("eth0", "LAN", at(700), std::nullopt);
    EXPECT_EQ(check(960), Lines{}) << "what was not listened to proves no silence";
    EXPECT_EQ(shown().error, std::nullopt);
    EXPECT_EQ(check(960.5), Lines{missing260});
}

TEST_F(QuerierWatchTest, ANewStartKeepsWhatIsKnownAndWaitsAnew) {
    join(0, "10.0.0.9", {"239.255.0.1"});
    query(0, "10.0.0.1");
    watch.begin("eth0", "LAN neu", at(1000), std::nullopt);
    EXPECT_EQ(check(1001), Lines{});
    EXPECT_EQ(watch.members("239.255.0.1"), Lines{"10.0.0.9"});
    EXPECT_EQ(query(1002, "10.0.0.1"), Lines{}) << "known already";
    EXPECT_EQ(check(1262.5).front(),
              "alarm: Kein IGMP-Querier auf LAN neu seit 260 s – bei aktivem IGMP-Snooping kann sACN/Dante-Multicast ausfallen");
}

TEST_F(QuerierWatchTest, ANewStartDoesNotPassForTheReturnOfTheQuerier) {
    join(0, "10.0.0.9", {"239.255.0.1"});
    check(300);
    watch.begin("eth0", "LAN", at(301), std::nullopt);
    EXPECT_EQ(check(302), Lines{});
    EXPECT_TRUE(shown().missing);
    query(303, "10.0.0.1");
    EXPECT_EQ(check(303), Lines{backAgain});
}

TEST_F(QuerierWatchTest, AdaptersThatAreNoLongerCapturedGo) {
    watch.begin("eth1", "Audio", at(0), std::nullopt);
    join(0, "10.0.0.9", {"239.255.0.1"});
    watch.keepOnly({"eth1"});
    EXPECT_EQ(check(300), Lines{});
    ASSERT_EQ(watch.igmp()->size(), 1U);
    EXPECT_EQ(shown().interface, "eth1");
    EXPECT_EQ(watch.members("239.255.0.1"), Lines{});
}

TEST_F(QuerierWatchTest, PublishesOnlyWhatHasChanged) {
    int published = 0;
    const auto subscription = watch.igmp().observe([&published] { ++published; });
    check(0);
    EXPECT_EQ(published, 1) << "the capture has begun";
    query(1, "10.0.0.1");
    join(1, "10.0.0.9", {"239.255.0.1", "239.255.0.2"});
    EXPECT_EQ(published, 1);
    check(1);
    EXPECT_EQ(published, 2);
    check(2);
    check(100);
    watch.keepOnly({"eth0"});
    leave(101, "10.0.0.77", "239.255.0.1");
    check(101);
    EXPECT_EQ(published, 2) << "nothing has changed";
    check(262);
    EXPECT_EQ(published, 3) << "the querier is missing";
}

TEST_F(QuerierWatchTest, ClearedFindingsEndWithoutAWordAndMayComeAgain) {
    join(0, "10.0.0.9", {"239.255.0.1"});
    EXPECT_EQ(check(260.5), Lines{missing260});
    watch.clear();
    EXPECT_EQ(watch.members("239.255.0.1"), Lines{"10.0.0.9"}) << "what was heard stays";
    EXPECT_EQ(check(260.7), Lines{missing260});
    watch.clear();
    query(261, "10.0.0.1");
    EXPECT_EQ(check(261), Lines{}) << "nothing stood that could end";
    EXPECT_FALSE(shown().missing);
}
