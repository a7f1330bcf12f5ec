#include "Base/Clock.hpp"

#include <cmath>
#include <limits>

#include "Support/FakeClock.hpp"

using namespace std::chrono_literals;

namespace {

// 2026-06-20 18:00:00.123456789 UTC, 20:00 in Central European Summer Time.
const base::WallTime evening{std::chrono::seconds(1781978400) + 123456789ns};

/// The local zone for one test.
class Zone {
public:
    explicit Zone(const char* name) : before_(std::getenv("TZ") ? std::getenv("TZ") : "") { set(name); }
    ~Zone() { set(before_.empty() ? nullptr : before_.c_str()); }

private:
    static void set(const char* name) {
        if (name)
            setenv("TZ", name, 1);
        else
            unsetenv("TZ");
        tzset();
    }
    std::string before_;
};

}  // namespace

TEST(Clock, SecondsCountFromBothEpochs) {
    EXPECT_EQ(base::secondsSince1970(base::WallTime()), 0);
    EXPECT_EQ(base::secondsSince2001(base::WallTime(978307200s)), 0);
    EXPECT_NEAR(base::secondsSince1970(evening), 1781978400.123456789, 1e-6);
    EXPECT_NEAR(base::secondsSince2001(evening), 803671200.123456789, 1e-6);
    EXPECT_EQ(base::secondsSince2001(base::WallTime()), -978307200);
}

// A date that is loaded and saved again and again must not wander.
TEST(Clock, StoredSecondsComeBackUnchanged) {
    for (int i = 0; i < 2000; ++i) {
        const double since2001 = 803671200 + i * 0.987654321;
        ASSERT_EQ(base::secondsSince2001(*base::wallTimeSince2001(since2001)), since2001);
        ASSERT_EQ(base::secondsSince1970(*base::wallTimeSince1970(-since2001)), -since2001);
    }
    EXPECT_EQ(base::wallTimeSince2001(0.5), base::WallTime(978307200s + 500ms));
    EXPECT_EQ(base::wallTimeSince1970(-0.25), base::WallTime(-250ms));
}

TEST(Clock, NumbersThatAreNoTimeAreAbsent) {
    for (const double number :
         {std::nan(""), std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(), 1e10, -1e10, 1e300}) {
        EXPECT_EQ(base::wallTimeSince1970(number), std::nullopt) << number;
        EXPECT_EQ(base::wallTimeSince2001(number), std::nullopt) << number;
    }
    EXPECT_EQ(base::wallTimeSince2001(9.2e9), std::nullopt) << "9.2e9 is in reach from 1970, not from 2001";
    EXPECT_TRUE(base::wallTimeSince1970(9.2e9));
    EXPECT_TRUE(base::wallTimeSince2001(-9.2e9));
}

TEST(Clock, PrintsLocalTimeWithMilliseconds) {
    const Zone zone("Europe/Berlin");
    EXPECT_EQ(base::formatLocal(evening, "%Y-%m-%d %H:%M:%S"), "2026-06-20 20:00:00");
    EXPECT_EQ(base::formatLocal(evening, "%H:%M:%S", true), "20:00:00.123");
    EXPECT_EQ(base::formatLocal(base::WallTime(std::chrono::seconds(1768478400) + 7ms), "%d.%m.%Y %H:%M:%S", true),
              "15.01.2026 13:00:00.007");
}

TEST(Clock, MillisecondsBefore1970AreCountedForward) {
    const Zone zone("UTC");
    EXPECT_EQ(base::formatLocal(base::WallTime(-1ms), "%Y-%m-%d %H:%M:%S", true), "1969-12-31 23:59:59.999");
}

TEST(Clock, SpansAreRoundedAndKeptWithinACentury) {
    EXPECT_EQ(base::nanoseconds(0.1s), 100ms);
    EXPECT_EQ(base::nanoseconds(-1.5s), -1500ms);
    EXPECT_EQ(base::nanoseconds(base::Seconds(0.3) + base::Seconds(0.6)), 900ms);
    const auto longest = base::nanoseconds(base::Seconds(std::numeric_limits<double>::infinity()));
    EXPECT_GT(longest, 24h * 365 * 99);
    EXPECT_LT(longest, 24h * 367 * 100);
    EXPECT_EQ(base::nanoseconds(base::Seconds(-1e300)), -longest);
    EXPECT_EQ(base::nanoseconds(base::Seconds(std::nan(""))), 0ns);
}

TEST(SystemClock, BothClocksRunForward) {
    const auto& clock = base::SystemClock::shared();
    const auto first = clock.moment(), second = clock.moment();
    EXPECT_LE(first.steady, second.steady);
    EXPECT_GT(base::secondsSince1970(first.wall), 1.7e9);
}

TEST(FakeClock, MovesOnlyByHandAndItsWallMayJump) {
    FakeClock clock;
    const auto begun = clock.moment();
    clock.advance(1.5s);
    EXPECT_EQ(clock.steadyNow() - begun.steady, 1500ms);
    EXPECT_EQ(clock.now() - begun.wall, 1500ms);
    clock.jumpWall(-1h);
    EXPECT_EQ(clock.now() - begun.wall, 1500ms - 1h);
    clock.setWall(evening);
    EXPECT_EQ(clock.now(), evening);
    EXPECT_EQ(clock.steadyNow() - begun.steady, 1500ms);
}
