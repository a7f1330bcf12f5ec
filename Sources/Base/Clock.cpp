#include "Base/Clock.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace base {

namespace {

constexpr std::chrono::seconds from1970To2001{978307200};
// system_clock in nanoseconds ends in 2262; a little less keeps the sum with any sane interval in range.
constexpr double farthestSecond = 9.2e9;

// Whole seconds and the rest are turned into a double apart: a count of 1e18 nanoseconds would be rounded twice, and a date that is
// loaded and saved again and again would wander.
double toSeconds(std::chrono::nanoseconds span) {
    const auto whole = std::chrono::floor<std::chrono::seconds>(span);
    return static_cast<double>(whole.count()) + static_cast<double>((span - whole).count()) / 1e9;
}

}  // namespace

WallTime SystemClock::now() const {
    return std::chrono::time_point_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now());
}

SteadyTime SystemClock::steadyNow() const { return std::chrono::steady_clock::now(); }

const SystemClock& SystemClock::shared() {
    static const SystemClock clock;
    return clock;
}

std::chrono::nanoseconds nanoseconds(Seconds span) {
    constexpr double longest = 100 * 365.25 * 86400;
    const double seconds = std::isnan(span.count()) ? 0 : std::clamp(span.count(), -longest, longest);
    return std::chrono::nanoseconds(std::llround(seconds * 1e9));
}

double secondsSince1970(WallTime time) { return toSeconds(time.time_since_epoch()); }

double secondsSince2001(WallTime time) {
    // The offset is subtracted as an integer: a double of 1.7e9 seconds has lost some nanoseconds.
    return toSeconds(time.time_since_epoch() - from1970To2001);
}

std::optional<WallTime> wallTimeSince1970(double seconds) {
    if (!std::isfinite(seconds) || std::abs(seconds) > farthestSecond) return std::nullopt;
    const double whole = std::floor(seconds);
    return WallTime(std::chrono::seconds(static_cast<long long>(whole)) +
                    std::chrono::nanoseconds(std::llround((seconds - whole) * 1e9)));
}

std::optional<WallTime> wallTimeSince2001(double seconds) {
    const auto offset = wallTimeSince1970(seconds);
    if (!offset || seconds + static_cast<double>(from1970To2001.count()) > farthestSecond) return std::nullopt;
    return *offset + from1970To2001;
}

std::string formatLocal(WallTime time, const char* pattern, bool milliseconds) {
    const auto sinceEpoch = std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch());
    const auto whole = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
    const std::time_t second = whole.count();
    std::tm parts{};
    localtime_r(&second, &parts);
    std::array<char, 128> text{};
    const auto length = std::strftime(text.data(), text.size(), pattern, &parts);
    std::string result(text.data(), length);
    if (milliseconds) {
        std::array<char, 8> fraction{};
        std::snprintf(fraction.data(), fraction.size(), ".%03d", static_cast<int>((sinceEpoch - whole).count()));
        result += fraction.data();
    }
    return result;
}

}  // namespace base
