#pragma once
// The signals that end the program, read as events.

#include <signal.h>

#include <functional>

#include "Base/Clock.hpp"
#include "Base/Function.hpp"

namespace kestrelyne {

/// SIGINT, SIGTERM, and SIGHUP (the terminal has gone) unless whoever started the program asked to ignore it.
class EndSignals {
public:
    /// Blocks them for this thread and all it starts: before the first thread.
    EndSignals();

    /// Waits for them on a thread of its own. The first calls `begin` there; a second, or the end of `limit`, calls `endNow`, which
    /// does not return. The argument tells whether it is because of a second signal.
    void watch(base::Function<void()> begin, base::Seconds limit, std::function<void(bool again)> endNow);

private:
    sigset_t set_;
};

}  // namespace kestrelyne
