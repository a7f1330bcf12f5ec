#include "Support/FakeClock.hpp"

base::WallTime FakeClock::now() const {
    base::Lock lock(mutex_);
    return wall_;
}

base::SteadyTime FakeClock::steadyNow() const {
    base::Lock lock(mutex_);
    return steady_;
}

void FakeClock::advance(base::Seconds time) {
    base::Lock lock(mutex_);
    wall_ += base::nanoseconds(time);
    steady_ += base::nanoseconds(time);
}

void FakeClock::setWall(base::WallTime time) {
    base::Lock lock(mutex_);
    wall_ = time;
}

void FakeClock::jumpWall(base::Seconds time) {
    base::Lock lock(mutex_);
    wall_ += base::nanoseconds(time);
}
