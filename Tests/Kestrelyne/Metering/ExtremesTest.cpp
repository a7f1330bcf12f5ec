#include "Kestrelyne/Metering/Extremes.hpp"

#include <gtest/gtest.h>

#include <cmath>

using kestrelyne::Extremes;

namespace {
base::WallTime second(int n) { return base::WallTime(std::chrono::seconds(n)); }
}  // namespace

TEST(Extremes, KeepTheEarliestTimeOfTheLowestAndTheHighest) {
    Extremes extremes;
    int n = 0;
    for (const double value : {5.0, 3.0, 9.0, 3.0, 9.0}) extremes.note({{1, value}}, second(n++));
    const auto* found = extremes.find(1);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->min, 3);
    EXPECT_EQ(found->minTime, second(1));
    EXPECT_EQ(found->max, 9);
    EXPECT_EQ(found->maxTime, second(2));
}

TEST(Extremes, SkipWhatIsNotFinite) {
    Extremes extremes;
    extremes.note({{1, NAN}, {2, 4.0}}, second(0));
    extremes.note({{2, INFINITY}}, second(1));
    EXPECT_EQ(extremes.min(1), std::nullopt);
    EXPECT_EQ(extremes.max(2), 4.0);
}

TEST(Extremes, AfterAResetAMissingMeasurementHasNone) {
    Extremes extremes;
    extremes.note({{1, 1.0}, {2, 2.0}}, second(0));
    extremes.reset({{2, 7.0}}, second(9));
    EXPECT_EQ(extremes.find(1), nullptr);
    EXPECT_EQ(extremes.min(2), 7.0);
    EXPECT_EQ(extremes.find(2)->maxTime, second(9));
}

TEST(Extremes, StayInOrderWhateverComesFirst) {
    Extremes extremes;
    extremes.note({{5, 1.0}, {9, 1.0}}, second(0));
    extremes.note({{1, 1.0}, {7, 1.0}, {12, 1.0}}, second(1));
    std::vector<int> ids;
    for (const auto& extreme : extremes.all()) ids.push_back(extreme.id);
    EXPECT_EQ(ids, (std::vector{1, 5, 7, 9, 12}));
}
