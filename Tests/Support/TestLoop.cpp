#include "Support/TestLoop.hpp"

#include <algorithm>

#include "Base/Require.hpp"

void TestLoop::runTurns() {
    constexpr int farTooMany = 1'000'000;
    for (int turns = 0; loop_.turn(); ++turns)
        KESTRELYNE_REQUIRE(turns < farTooMany, "the loop never comes to rest: something waits zero seconds again and again");
}

void TestLoop::advance(base::Seconds time) {
    const auto end = fakeClock_.steadyNow() + base::nanoseconds(time);
    runTurns();
    for (auto next = loop_.nextTimer(); next && *next <= end; next = loop_.nextTimer()) {
        fakeClock_.advance(*next - fakeClock_.steadyNow());
        runTurns();
    }
    fakeClock_.advance(end - fakeClock_.steadyNow());
    runTurns();
}

bool TestLoop::runUntil(const std::function<bool()>& predicate, base::Seconds realLimit) {
    return run(predicate, realLimit, realLimit);
}

bool TestLoop::runUntilSeen(const std::function<bool()>& predicate, base::Seconds realLimit) {
    return run(predicate, realLimit, base::Seconds(0.005));
}

bool TestLoop::run(const std::function<bool()>& predicate, base::Seconds realLimit, base::Seconds lookEvery) {
    const auto& real = base::SystemClock::shared();
    const auto end = real.steadyNow() + base::nanoseconds(realLimit);
    const bool timersInRealTime = &loop_.clock() != &fakeClock_;
    for (;;) {
        // Asked anew only after it has said no: a predicate may take something away when it says yes.
        bool more = true;
        while (more) {
            if (predicate()) return true;
            if (real.steadyNow() >= end) return false;
            more = loop_.turn();
        }
        if (predicate()) return true;
        auto wakeTime = std::min(end, real.steadyNow() + base::nanoseconds(lookEvery));
        if (const auto next = loop_.nextTimer(); next && timersInRealTime) wakeTime = std::min(wakeTime, *next);
        base::Lock lock(mutex_);
        while (!woken_)
            if (condition_.wait_until(mutex_, wakeTime) == std::cv_status::timeout) break;
        woken_ = false;
    }
}

void TestLoop::wake() {
    {
        base::Lock lock(mutex_);
        woken_ = true;
    }
    condition_.notify_one();
}
