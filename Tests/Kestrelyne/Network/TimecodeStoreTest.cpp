#include "Kestrelyne/Network/TimecodeStore.hpp"

#include <gtest/gtest.h>

#include "Findings.hpp"

using namespace kestrelyne;

namespace {

netcore::ArtNet::TimeCode frame(int frames) { return {.hours = 1, .minutes = 2, .seconds = 3, .frames = frames, .type = 1}; }

class TimecodeStoreTest : public testing::Test {
protected:
    Lines refresh(double now, const std::vector<ExtrasAccumulator::Timecode>& codes) {
        return told(
            store.refresh(codes, at(now), [this](const std::string& ip) { return names.contains(ip) ? names.at(ip) : ip; }));
    }

    std::map<std::string, std::string> names{{"10.0.0.5", "Player"}};
    TimecodeStore store;
};

}  // namespace

TEST_F(TimecodeStoreTest, ASenderComesAndIsLostAfterThirtySecondsOfSilence) {
    struct Row {
        double now;
        double lastSeen;
        Lines expected;
        std::size_t listed;
    };
    for (const auto& [now, lastSeen, expected, listed] :
         std::initializer_list<Row>{{0, 0, {"info: Timecode-Quelle: Player (10.0.0.5)"}, 1},
                                    {0.1, 0, {}, 1},
                                    {30, 0, {}, 1},
                                    {30.1, 0, {"warning: Timecode von Player (10.0.0.5) verloren"}, 0},
                                    {30.2, 0, {}, 0},  // still tallied, but too old to be new
                                    {31, 31, {"info: Timecode-Quelle: Player (10.0.0.5)"}, 1}}) {
        EXPECT_EQ(refresh(now, {{"10.0.0.5", frame(0), at(lastSeen)}}), expected) << "at " << now << " s";
        EXPECT_EQ(store.list()->size(), listed) << "at " << now << " s";
    }
    EXPECT_EQ(refresh(61, {}), Lines{}) << "no longer tallied, but heard within the limit";
    EXPECT_EQ(refresh(61.1, {}), Lines{"warning: Timecode von Player (10.0.0.5) verloren"});
}

TEST_F(TimecodeStoreTest, RunsWhileTheFrameChangesAndStandsAfterASecond) {
    struct Row {
        double now;
        int frame;
        double changed;
        bool running;
    };
    for (const auto& [now, number, changed, running] : std::initializer_list<Row>{{0, 0, 0, true},
                                                                                  {0.1, 2, 0.1, true},
                                                                                  {0.2, 2, 0.1, true},
                                                                                  {1.0, 2, 0.1, true},
                                                                                  {1.1, 2, 0.1, false},
                                                                                  {5.0, 2, 0.1, false},
                                                                                  {5.1, 3, 5.1, true}}) {
        refresh(now, {{"10.0.0.5", frame(number), at(now)}});
        const auto& state = store.list()->front();
        EXPECT_EQ(state.lastSeen.steady, at(now).steady) << "at " << now << " s";
        EXPECT_EQ(state.lastChange.steady, at(changed).steady) << "at " << now << " s";
        EXPECT_EQ(state.code, frame(number)) << "at " << now << " s";
        EXPECT_EQ(state.running(at(now).steady), running) << "at " << now << " s";
    }
}

TEST_F(TimecodeStoreTest, SendersStandInTheOrderOfTheirAddresses) {
    EXPECT_EQ(refresh(0, {{"10.0.0.10", frame(0), at(0)}, {"10.0.0.9", frame(0), at(0)}}).size(), 2U);
    EXPECT_EQ(store.list()->at(0).ip, "10.0.0.9");
    EXPECT_EQ(store.list()->at(0).name, "10.0.0.9");
    EXPECT_EQ(store.list()->at(1).ip, "10.0.0.10");
}

TEST_F(TimecodeStoreTest, ANameThatBecomesKnownIsTakenOver) {
    refresh(0, {{"10.0.0.9", frame(0), at(0)}});
    names["10.0.0.9"] = "Medienserver";
    EXPECT_EQ(refresh(0.1, {{"10.0.0.9", frame(0), at(0)}}), Lines{});
    EXPECT_EQ(store.list()->front().name, "Medienserver");
    EXPECT_EQ(refresh(31, {}), Lines{"warning: Timecode von Medienserver (10.0.0.9) verloren"});
}

TEST_F(TimecodeStoreTest, WakesItsObserversOnlyForAChange) {
    int published = 0;
    const auto subscription = store.list().observe([&published] { ++published; });
    struct Row {
        double now;
        double lastSeen;
        int frame;
        int published;
    };
    refresh(-1, {});
    EXPECT_EQ(published, 0) << "nobody sends";
    for (const auto& [now, lastSeen, number, expected] :
         std::initializer_list<Row>{{0, 0, 0, 1},
                                    {0.1, 0, 0, 1},      // nothing was heard
                                    {0.2, 0.2, 0, 2},    // heard again
                                    {0.3, 0.3, 5, 3},    // a new frame
                                    {0.9, 0.3, 5, 3},    // silence
                                    {1.2, 0.3, 5, 3},    // a moment before it counts as standing
                                    {1.3, 0.3, 5, 4},    // it stands
                                    {1.4, 0.3, 5, 4},    //
                                    {30.4, 0.3, 5, 5},   // lost
                                    {30.5, 0.3, 5, 5}})  // and not lost again
    {
        refresh(now, {{"10.0.0.5", frame(number), at(lastSeen)}});
        EXPECT_EQ(published, expected) << "at " << now << " s";
    }
}

TEST_F(TimecodeStoreTest, WhatIsClearedIsForgottenWithoutAWord) {
    refresh(0, {{"10.0.0.5", frame(0), at(0)}});
    store.clear();
    EXPECT_TRUE(store.list()->empty());
    EXPECT_EQ(refresh(40, {}), Lines{});
    EXPECT_EQ(refresh(41, {{"10.0.0.5", frame(0), at(41)}}), Lines{"info: Timecode-Quelle: Player (10.0.0.5)"});
}
