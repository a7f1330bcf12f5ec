#pragma once
// Time that a test passes by hand.

#include "Base/Clock.hpp"
#include "Base/Mutex.hpp"

/// Stands still until it is moved. Begins on 2026-06-20 18:00:00 UTC. Any thread.
class FakeClock final : public base::Clock {
public:
    base::WallTime now() const override;
    base::SteadyTime steadyNow() const override;

    /// Both clocks go on by this much. A TestLoop's own advance() also runs what falls due meanwhile.
    void advance(base::Seconds time);
    /// The wall clock is set; the steady clock does not notice.
    void setWall(base::WallTime time);
    void jumpWall(base::Seconds time);

private:
    mutable base::Mutex mutex_;
    base::WallTime wall_ KESTRELYNE_GUARDED_BY(mutex_){std::chrono::seconds(1781978400)};
    base::SteadyTime steady_ KESTRELYNE_GUARDED_BY(mutex_){std::chrono::seconds(1000)};
};
