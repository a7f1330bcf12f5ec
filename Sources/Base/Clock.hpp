#pragma once
// Time as the program sees it: a wall clock for people and files, a steady clock for every decision.
// Both come from a Clock, so that a test can pass time without waiting.

#include <chrono>
#include <optional>
#include <string>

namespace base {

using Seconds = std::chrono::duration<double>;
using SteadyTime = std::chrono::time_point<std::chrono::steady_clock, std::chrono::nanoseconds>;
using WallTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

/// One instant on both clocks: `wall` is shown and stored, `steady` decides (a clock that jumps changes no decision).
struct Moment {
    WallTime wall;
    SteadyTime steady;
};

/// Any thread.
class Clock {
public:
    virtual ~Clock() = default;
    virtual WallTime now() const = 0;
    virtual SteadyTime steadyNow() const = 0;
    Moment moment() const { return {now(), steadyNow()}; }
};

/// The machine's own clocks.
class SystemClock final : public Clock {
public:
    WallTime now() const override;
    SteadyTime steadyNow() const override;
    /// One for the whole process.
    static const SystemClock& shared();
};

/// A span in the unit of the clocks, rounded; kept within ±100 years, so that a sum with the present never overflows.
std::chrono::nanoseconds nanoseconds(Seconds span);

/// Seconds since 1970-01-01 00:00:00 UTC, as the JSON interface has them.
double secondsSince1970(WallTime time);
/// Seconds since 2001-01-01 00:00:00 UTC, as stored files have them.
double secondsSince2001(WallTime time);
/// Absent when the number is not finite or lies outside what the clock can hold.
std::optional<WallTime> wallTimeSince2001(double seconds);
std::optional<WallTime> wallTimeSince1970(double seconds);

/// Local time by a strftime pattern; with `milliseconds`, "." and three digits behind it. The zone is the system's.
std::string formatLocal(WallTime time, const char* pattern, bool milliseconds = false);

}  // namespace base
