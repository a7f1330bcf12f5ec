#include "Kestrelyne/Metering/History.hpp"

#include <gtest/gtest.h>

#include <cmath>

using kestrelyne::History;
using kestrelyne::Sample;
using metercore::ValueSet;

namespace {

base::WallTime second(int n) { return base::WallTime(std::chrono::seconds(n)); }

// Reading n carries the value n for each of the ids.
void fill(History& history, int from, int to, std::initializer_list<int> ids) {
    for (int n = from; n < to; ++n) {
        ValueSet set;
        for (const int id : ids) set.set(id, n);
        history.append(set, second(n));
    }
}

}  // namespace

TEST(History, KeepsSamplesInOrderWithTheirTimes) {
    History history;
    fill(history, 0, 5, {1, 2});
    const auto samples = history.samples(2);
    ASSERT_EQ(samples.size(), 5u);
    for (int n = 0; n < 5; ++n) {
        EXPECT_EQ(samples[static_cast<std::size_t>(n)].value, n);
        EXPECT_EQ(samples[static_cast<std::size_t>(n)].date, second(n));
    }
    EXPECT_EQ(history.size(3), 0u);
    EXPECT_TRUE(history.samples(3).empty());
}

TEST(History, The3901stSampleCutsItTo3600) {
    History history;
    fill(history, 0, 3900, {7});
    EXPECT_EQ(history.size(7), 3900u);
    fill(history, 3900, 3901, {7});
    const auto samples = history.samples(7);
    ASSERT_EQ(samples.size(), 3600u);
    EXPECT_EQ(samples.front().value, 301);
    EXPECT_EQ(samples.back().value, 3900);
    fill(history, 3901, 4201, {7});
    EXPECT_EQ(history.size(7), 3900u);
    fill(history, 4201, 4202, {7});
    EXPECT_EQ(history.size(7), 3600u);
    EXPECT_EQ(history.samples(7).front().value, 602);
}

TEST(History, SwingsBetweenItsBoundsForEver) {
    History history;
    for (int n = 0; n < 30000; ++n) {
        fill(history, n, n + 1, {1});
        ASSERT_LE(history.size(1), 3900u);
        if (n >= 3900) ASSERT_GE(history.size(1), 3600u);
    }
    EXPECT_EQ(history.samples(1).back().value, 29999);
}

TEST(History, SkipsWhatIsNotFinite) {
    History history;
    history.append({{1, 5.0}, {2, NAN}, {3, INFINITY}}, second(0));
    EXPECT_EQ(history.size(1), 1u);
    EXPECT_EQ(history.size(2), 0u);
    EXPECT_EQ(history.size(3), 0u);
}

TEST(History, AGapLeavesNoSample) {
    History history;
    fill(history, 0, 10, {1, 2});
    fill(history, 10, 20, {1});
    fill(history, 20, 25, {1, 2});
    const auto samples = history.samples(2);
    ASSERT_EQ(samples.size(), 15u);
    EXPECT_EQ(samples[9].date, second(9));
    EXPECT_EQ(samples[10].date, second(20));
    EXPECT_EQ(samples[10].value, 20);
}

// A measurement that comes with every tenth reading keeps as many samples as any other, although its readings lie far back.
TEST(History, ARareMeasurementKeepsItsSamples) {
    History history;
    for (int n = 0; n < 50000; ++n) {
        ValueSet set{{1, static_cast<double>(n)}};
        if (n % 10 == 0) set.set(2, n);
        history.append(set, second(n));
    }
    const auto samples = history.samples(2);
    ASSERT_GE(samples.size(), 3600u);
    ASSERT_LE(samples.size(), 3900u);
    EXPECT_EQ(samples.back().value, 49990);
    for (std::size_t i = 1; i < samples.size(); ++i) {
        ASSERT_EQ(samples[i].value, samples[i - 1].value + 10);
        ASSERT_EQ(samples[i].date, second(static_cast<int>(samples[i].value)));
    }
}

TEST(History, AMeasurementThatStopsKeepsWhatItHadAndGoesOn) {
    History history;
    fill(history, 0, 100, {1, 2});
    fill(history, 100, 20000, {1});
    ASSERT_EQ(history.size(2), 100u);
    EXPECT_EQ(history.samples(2).back().date, second(99));
    fill(history, 20000, 20010, {1, 2});
    const auto samples = history.samples(2);
    ASSERT_EQ(samples.size(), 110u);
    EXPECT_EQ(samples[99].value, 99);
    EXPECT_EQ(samples[100].value, 20000);
}

TEST(History, AStrideTakesTheFirstAndEveryNth) {
    History history;
    fill(history, 0, 10, {1});
    std::vector<double> values;
    history.forEach(
        1, [&](const Sample& sample) { values.push_back(sample.value); }, 4);
    EXPECT_EQ(values, (std::vector<double>{0, 4, 8}));
}

TEST(History, AStrideCountsSamplesAcrossGapsAndOlderOnes) {
    History history;
    for (int n = 0; n < 9000; ++n) {
        ValueSet set{{1, static_cast<double>(n)}};
        if (n % 3 == 0) set.set(2, n);
        history.append(set, second(n));
    }
    const auto samples = history.samples(2);
    std::vector<double> strided, expected;
    history.forEach(
        2, [&](const Sample& sample) { strided.push_back(sample.value); }, 7);
    for (std::size_t i = 0; i < samples.size(); i += 7) expected.push_back(samples[i].value);
    EXPECT_EQ(strided, expected);
}

TEST(History, TakesEightBytesASampleAndLittleMore) {
    History history;
    for (int n = 0; n < 3900; ++n) {
        ValueSet set;
        for (int id = 0; id < 200; ++id) set.set(id, n);
        history.append(set, second(n));
    }
    const double perSample = static_cast<double>(history.memory()) / (200.0 * 3900);
    EXPECT_LT(perSample, 9.0);
}

TEST(History, ClearsWhole) {
    History history;
    fill(history, 0, 10, {1});
    history.clear();
    EXPECT_TRUE(history.empty());
    fill(history, 10, 11, {1});
    EXPECT_EQ(history.size(1), 1u);
}
