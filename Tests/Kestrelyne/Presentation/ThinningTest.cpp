#include "Kestrelyne/Presentation/Thinning.hpp"

#include <gtest/gtest.h>

using namespace kestrelyne;

namespace {
base::WallTime second(double n) { return base::WallTime(std::chrono::duration_cast<std::chrono::nanoseconds>(base::Seconds(n))); }

History filled(int count) {
    History history;
    for (int n = 0; n < count; ++n) history.append({{1, static_cast<double>(n)}}, second(n));
    return history;
}
}  // namespace

TEST(Thinning, TheStrideIsTheCountOver180) {
    struct Row {
        std::size_t count, stride;
    };
    for (const auto& row : {Row{0, 1}, Row{179, 1}, Row{180, 1}, Row{359, 1}, Row{360, 2}, Row{3600, 20}, Row{3900, 21}})
        EXPECT_EQ(trendStride(row.count), row.stride) << row.count;
}

TEST(Thinning, ATrendBeginsWithTheFirstSample) {
    const auto values = trend(filled(720), 1);
    ASSERT_EQ(values.size(), 180u);
    EXPECT_EQ(values[0], 0);
    EXPECT_EQ(values[1], 4);
    EXPECT_TRUE(trend(filled(3), 9).empty());
}

TEST(Thinning, TheSpanOfATrendIsThatOfItsSamples) {
    EXPECT_EQ(trendSeconds(filled(0), 1), 0);
    EXPECT_EQ(trendSeconds(filled(1), 1), 0);
    EXPECT_EQ(trendSeconds(filled(2), 1), 1);
    EXPECT_EQ(trendSeconds(filled(100), 1), 99);
}

TEST(Thinning, BucketsKeepMeanMinimumMaximumAndGaps) {
    const std::vector<Sample> samples = {{second(0.5), 1}, {second(1.5), 3}, {second(1.6), 8}, {second(3.5), 4}, {second(9), 99}};
    const auto buckets = bucketed(samples, second(4), 4, base::Seconds(4));
    ASSERT_EQ(buckets.size(), 3u);
    EXPECT_EQ(buckets[0].count, 1u);
    EXPECT_EQ(buckets[0].date, second(0.5));
    EXPECT_EQ(buckets[1].count, 2u);
    EXPECT_EQ(buckets[1].mean, 5.5);
    EXPECT_EQ(buckets[1].min, 3);
    EXPECT_EQ(buckets[1].max, 8);
    EXPECT_EQ(buckets[2].date, second(3.5));
    EXPECT_TRUE(bucketed(samples, second(4), 0, base::Seconds(4)).empty());
}

TEST(Thinning, TheSampleAtTheEndBelongsToTheLastBucket) {
    const std::vector<Sample> samples = {{second(4), 7}};
    const auto buckets = bucketed(samples, second(4), 2, base::Seconds(4));
    ASSERT_EQ(buckets.size(), 1u);
    EXPECT_EQ(buckets[0].date, second(3));
}
