#include "NetCore/Deadline.hpp"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cmath>

namespace netcore {

Deadline::Deadline(base::Seconds fromNow) : at_(base::SystemClock::shared().steadyNow() + base::nanoseconds(fromNow)) {}

bool Deadline::passed() const { return base::SystemClock::shared().steadyNow() >= at_; }

int Deadline::milliseconds() const {
    const base::Seconds left = at_ - base::SystemClock::shared().steadyNow();
    constexpr double longest = 1e9;
    return left.count() <= 0 ? 0 : static_cast<int>(std::clamp(std::ceil(left.count() * 1000), 1.0, longest));
}

bool waitFor(int descriptor, short events, const Deadline& deadline) {
    pollfd watched{.fd = descriptor, .events = events, .revents = 0};
    for (;;) {
        const int ready = poll(&watched, 1, deadline.milliseconds());
        if (ready > 0) return true;
        if (ready == 0 && deadline.passed()) return false;
        if (ready < 0 && errno != EINTR) return false;
    }
}

}  // namespace netcore
