#include "Kestrelyne/Network/ClockWatch.hpp"

#include <gtest/gtest.h>

#include "Findings.hpp"

using namespace kestrelyne;
using base::Seconds;

namespace {

ExtrasAccumulator::PTPEntry announcement(const std::string& grandmaster, int version = 2, const std::string& domain = "Domäne 0",
                                         const std::string& sender = "") {
    return {
        .ann = {.version = version, .domain = domain, .grandmaster = grandmaster, .sender = sender.empty() ? grandmaster : sender},
        .count = 8,
        .lastSeen = at(0),
        .iface = 3};
}

class ClockWatchTest : public testing::Test {
protected:
    Lines refresh(const std::vector<ExtrasAccumulator::PTPEntry>& entries, double elapsed = 1) {
        return told(watch.refresh(
            entries, Seconds(elapsed), [](std::uint32_t index) { return "Adapter " + std::to_string(index); },
            [this](const std::string& identity) { return names.contains(identity) ? names.at(identity) : identity; }));
    }

    std::map<std::string, std::string> names;
    ClockWatch watch;
};

}  // namespace

TEST(PTPDomainState, IsLabelledByItsVersion) {
    EXPECT_EQ((PTPDomainState{.version = 1, .domain = "_DFLT", .clocks = {}}.label()), "PTPv1 (Dante) · _DFLT");
    EXPECT_EQ((PTPDomainState{.version = 2, .domain = "Domäne 0", .clocks = {}}.label()), "PTPv2 · Domäne 0");
    EXPECT_EQ((PTPDomainState{.version = 2, .domain = "Domäne 0", .clocks = {}}.key()), "v2/Domäne 0");
}

TEST(PTPDomainState, NamesEachGrandmasterOnceInNaturalOrder) {
    PTPDomainState state;
    for (const char* grandmaster : {"00:10", "00:9", "00:10"}) state.clocks.emplace_back().grandmaster = grandmaster;
    EXPECT_EQ(state.grandmasters(), (Lines{"00:9", "00:10"}));
}

// The grandmasters of one domain from second to second.
TEST_F(ClockWatchTest, FollowsTheGrandmastersOfADomain) {
    struct Row {
        std::vector<std::string> grandmasters;
        Lines expected;
    };
    names = {{"aa", "Pult"}, {"bb", "Stagebox"}};
    for (const auto& [grandmasters, expected] : std::initializer_list<Row>{
             {{"aa"}, {"info: PTPv2 · Domäne 0: Grandmaster Pult"}},
             {{"aa"}, {}},
             {{"bb"}, {"warning: PTPv2 · Domäne 0: Grandmaster gewechselt auf Stagebox (Pult)"}},
             {{"bb", "aa"}, {"alarm: PTPv2 · Domäne 0: mehrere Grandmaster aktiv (Pult, Stagebox) – Takt instabil"}},
             {{"aa", "bb"}, {}},
             {{"aa", "bb", "cc"}, {"alarm: PTPv2 · Domäne 0: mehrere Grandmaster aktiv (Pult, Stagebox, cc) – Takt instabil"}},
             {{"cc"}, {"warning: PTPv2 · Domäne 0: Grandmaster gewechselt auf cc (Pult, Stagebox, cc)"}},
             {{}, {"warning: PTP-Takt PTPv2 · Domäne 0 nicht mehr zu sehen"}},
             {{}, {}},
             {{"aa", "bb"}, {"alarm: PTPv2 · Domäne 0: mehrere Grandmaster aktiv (Pult, Stagebox)"}},
             {{}, {"warning: PTP-Takt PTPv2 · Domäne 0 nicht mehr zu sehen"}},
             {{"aa"}, {"info: PTPv2 · Domäne 0: Grandmaster Pult"}}}) {
        std::vector<ExtrasAccumulator::PTPEntry> entries;
        for (const auto& grandmaster : grandmasters) entries.push_back(announcement(grandmaster));
        EXPECT_EQ(refresh(entries), expected) << testing::PrintToString(grandmasters);
    }
}

TEST_F(ClockWatchTest, SortsIdentitiesAndThenNamesThem) {
    names = {{"00:1d:c1:00:00:02", "Anton"}, {"00:1d:c1:00:00:01", "Zora"}};
    EXPECT_EQ(refresh({announcement("00:1d:c1:00:00:02"), announcement("00:1d:c1:00:00:01")}),
              Lines{"alarm: PTPv2 · Domäne 0: mehrere Grandmaster aktiv (Zora, Anton)"});
}

TEST_F(ClockWatchTest, ManyClocksOfOneGrandmasterAreInOrder) {
    EXPECT_EQ(refresh({announcement("aa", 2, "Domäne 0", "s2"), announcement("aa", 2, "Domäne 0", "s10"), announcement("aa")}),
              Lines{"info: PTPv2 · Domäne 0: Grandmaster aa"});
    ASSERT_EQ(watch.domains()->size(), 1U);
    std::vector<std::string> senders;
    for (const auto& clock : watch.domains()->front().clocks) senders.push_back(clock.sender);
    EXPECT_EQ(senders, (Lines{"aa", "s2", "s10"}));
}

TEST_F(ClockWatchTest, DomainsStandByVersionThenNumberAndAreJudgedEachByItself) {
    EXPECT_EQ(refresh({announcement("aa", 2, "Domäne 10"), announcement("bb", 2, "Domäne 2"), announcement("cc", 1, "_DFLT"),
                       announcement("dd", 1, "_ALT1")}),
              (Lines{"info: PTPv1 (Dante) · _ALT1: Grandmaster dd", "info: PTPv1 (Dante) · _DFLT: Grandmaster cc",
                     "info: PTPv2 · Domäne 2: Grandmaster bb", "info: PTPv2 · Domäne 10: Grandmaster aa"}));
    std::vector<std::string> keys;
    for (const auto& domain : *watch.domains()) keys.push_back(domain.key());
    EXPECT_EQ(keys, (Lines{"v1/_ALT1", "v1/_DFLT", "v2/Domäne 2", "v2/Domäne 10"}));
    EXPECT_EQ(refresh({announcement("cc", 1, "_DFLT"), announcement("ee", 2, "Domäne 2")}),
              (Lines{"warning: PTPv2 · Domäne 2: Grandmaster gewechselt auf ee (bb)",
                     "warning: PTP-Takt PTPv1 (Dante) · _ALT1 nicht mehr zu sehen",
                     "warning: PTP-Takt PTPv2 · Domäne 10 nicht mehr zu sehen"}));
    EXPECT_EQ(watch.domains()->size(), 2U);
}

TEST_F(ClockWatchTest, AClockIsShownAsItAnnouncedItself) {
    auto entry = announcement("aa", 2, "Domäne 0", "bb");
    entry.ann.priority1 = 128;
    entry.ann.priority2 = 127;
    entry.ann.clockClass = 248;
    entry.ann.stepsRemoved = 1;
    entry.lastSeen = at(7);
    refresh({entry}, 4);
    const auto& clock = watch.domains()->front().clocks.front();
    EXPECT_EQ(clock.sender, "bb");
    EXPECT_EQ(clock.grandmaster, "aa");
    EXPECT_EQ(clock.version, 2);
    EXPECT_EQ(clock.domain, "Domäne 0");
    EXPECT_EQ(clock.priority1, 128);
    EXPECT_EQ(clock.priority2, 127);
    EXPECT_EQ(clock.clockClass, 248);
    EXPECT_EQ(clock.stratum, std::nullopt);
    EXPECT_EQ(clock.stepsRemoved, 1);
    EXPECT_DOUBLE_EQ(clock.packetsPerSecond, 2);
    EXPECT_EQ(clock.lastSeen.steady, at(7).steady);
    EXPECT_EQ(clock.interface, "Adapter 3");
}

TEST_F(ClockWatchTest, WhatIsClearedIsForgottenWithoutAWord) {
    refresh({announcement("aa")});
    watch.clear();
    EXPECT_TRUE(watch.domains()->empty());
    EXPECT_EQ(refresh({}), Lines{});
    EXPECT_EQ(refresh({announcement("bb")}), Lines{"info: PTPv2 · Domäne 0: Grandmaster bb"});
}

TEST(ClockWatchMAC, IsFoundInSixBytesAndInAnEUI64) {
    struct Row {
        const char* identity;
        std::optional<std::string> mac;
    };
    for (const auto& [identity, mac] : std::initializer_list<Row>{{"00:1d:c1:0a:bc:de", "00:1D:C1:0A:BC:DE"},
                                                                  {"00:1d:c1:ff:fe:0a:bc:de", "00:1D:C1:0A:BC:DE"},
                                                                  {"00:1d:c1:ff:ff:0a:bc:de", std::nullopt},
                                                                  {"00:1d:c1:fe:ff:0a:bc:de", std::nullopt},
                                                                  {"00:1d:c1:ff:fe:0a:bc", std::nullopt},
                                                                  {"00:1d:c1:0a:bc", std::nullopt},
                                                                  {"00:1d:c1:0a:bc:d", std::nullopt},
                                                                  {"00:1d:c1:0a:bc:xy", std::nullopt},
                                                                  {"00:1d:c1:0a:bc:de:", std::nullopt},
                                                                  {"", std::nullopt}})
        EXPECT_EQ(ClockWatch::macOf(identity), mac) << identity;
}
