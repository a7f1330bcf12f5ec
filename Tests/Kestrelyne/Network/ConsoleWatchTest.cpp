#include "Kestrelyne/Network/ConsoleWatch.hpp"

#include <gtest/gtest.h>

#include "Findings.hpp"

using namespace kestrelyne;

namespace {

class ConsoleWatchTest : public testing::Test {
protected:
    Lines refresh(double now, const std::vector<PacketAccumulator::Controller>& controllers) {
        return told(watch.refresh(
            controllers, at(now).steady, [](std::uint32_t index) { return "Adapter " + std::to_string(index); },
            [](const std::string& ip) { return ip == "10.0.0.9" ? "Pult" : ip; }));
    }

    ConsoleWatch watch;
};

PacketAccumulator::Controller polling(const std::string& ip, std::uint64_t count, double firstSeen, double lastSeen) {
    return {.ip = ip, .lastSeen = at(lastSeen), .interfaceIndex = 3, .count = count, .firstSeen = at(firstSeen).steady};
}

}  // namespace

TEST_F(ConsoleWatchTest, AConsoleIsToldOnceAndAgainAfterItWasGone) {
    EXPECT_EQ(
        refresh(0, {polling("10.0.0.10", 1, 0, 0), polling("10.0.0.9", 1, 0, 0)}),
        (Lines{"info: Art-Net-Controller erkannt: Pult (10.0.0.9)", "info: Art-Net-Controller erkannt: 10.0.0.10 (10.0.0.10)"}));
    EXPECT_EQ(refresh(1, {polling("10.0.0.9", 1, 0, 0)}), Lines{});
    EXPECT_EQ(refresh(2, {}), Lines{}) << "its end is not told";
    EXPECT_TRUE(watch.controllers()->empty());
    EXPECT_EQ(refresh(3, {polling("10.0.0.9", 1, 3, 3)}), Lines{"info: Art-Net-Controller erkannt: Pult (10.0.0.9)"});
}

TEST_F(ConsoleWatchTest, AConsoleIsShownWithItsNameAdapterAndTime) {
    refresh(8, {polling("10.0.0.10", 1, 0, 0), polling("10.0.0.9", 3, 0, 7)});
    ASSERT_EQ(watch.controllers()->size(), 2U);
    const auto& console = watch.controllers()->front();
    EXPECT_EQ(console.ip, "10.0.0.9") << "by the numbers in the address";
    EXPECT_EQ(console.name, "Pult");
    EXPECT_EQ(console.interface, "Adapter 3");
    EXPECT_EQ(console.lastSeen.steady, at(7).steady);
}

// A console that polls every 2.5 s, as most do, from 0 s on.
TEST_F(ConsoleWatchTest, PollsAMinuteAreCountedOverTheTimeSinceTheFirst) {
    struct Row {
        double now;
        std::uint64_t count;
        int perMinute;
    };
    for (const auto& [now, count, perMinute] : std::initializer_list<Row>{
             {0, 1, 6}, {3, 2, 12}, {9.9, 4, 24}, {10, 5, 30}, {60, 25, 25}, {3600, 1441, 24}, {3600, 1, 0}}) {
        refresh(now, {polling("10.0.0.9", count, 0, now)});
        EXPECT_EQ(watch.controllers()->front().pollsPerMinute, perMinute) << count << " polls in " << now << " s";
    }
}

TEST_F(ConsoleWatchTest, NobodyIsWokenWhileThereIsNone) {
    int published = 0;
    const auto subscription = watch.controllers().observe([&published] { ++published; });
    refresh(0, {});
    EXPECT_EQ(published, 0);
    refresh(1, {polling("10.0.0.9", 1, 1, 1)});
    refresh(2, {});
    refresh(3, {});
    EXPECT_EQ(published, 2);
}

TEST_F(ConsoleWatchTest, WhatIsClearedIsForgottenWithoutAWord) {
    refresh(0, {polling("10.0.0.9", 1, 0, 0)});
    watch.clear();
    EXPECT_TRUE(watch.controllers()->empty());
    EXPECT_EQ(refresh(1, {polling("10.0.0.9", 1, 0, 0)}).size(), 1U);
}
