#pragma once
// A main loop that a test turns by hand.

#include <functional>

#include "Base/MainLoop.hpp"
#include "Support/FakeClock.hpp"

/// The constructing thread is the main thread; the loop is `MainLoop::current()` while it lives. Declare it before what uses it.
class TestLoop final : private base::MainLoop::Backend {
public:
    /// With a clock of its own that only advance() moves.
    TestLoop() : loop_(fakeClock_, *this) {}
    /// With another clock, usually the system's: timers then fall due in real time, inside runUntil().
    explicit TestLoop(const base::Clock& clock) : loop_(clock, *this) {}

    base::MainLoop& loop() { return loop_; }
    /// The loop's own clock; it means nothing to a loop that was given another one.
    FakeClock& clock() { return fakeClock_; }

    /// Runs turns until nothing is left that could run at this time of the clock.
    void runTurns();
    /// Passes this much time of the fake clock: it stops at each timer that falls due, in order, and runs turns until nothing is
    /// left.
    void advance(base::Seconds time);
    /// Runs turns until the predicate holds, waiting really for what other threads post (and, with a real clock, for timers).
    /// False when it does not hold after `realLimit` of real time.
    [[nodiscard]] bool runUntil(const std::function<bool()>& predicate, base::Seconds realLimit = base::Seconds(5));
    /// The same for what nobody posts about (a socket's far end, a file, another thread): looks anew every few milliseconds.
    [[nodiscard]] bool runUntilSeen(const std::function<bool()>& predicate, base::Seconds realLimit = base::Seconds(5));

private:
    [[nodiscard]] bool run(const std::function<bool()>& predicate, base::Seconds realLimit, base::Seconds lookEvery);
    void wake() override;
    void arm(std::optional<base::SteadyTime>) override {}  // every wait asks for the next timer itself

    FakeClock fakeClock_;
    base::Mutex mutex_;
    base::Condition condition_;
    bool woken_ KESTRELYNE_GUARDED_BY(mutex_) = false;
    base::MainLoop loop_;
};
