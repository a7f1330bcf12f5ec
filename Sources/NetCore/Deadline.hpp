#pragma once
// Waiting for a descriptor with a time limit that interruptions do not lengthen. Any thread.

#include "Base/Clock.hpp"

namespace netcore {

/// An instant on the system's steady clock.
class Deadline {
public:
    explicit Deadline(base::Seconds fromNow);
    bool passed() const;
    /// For poll(): rounded up, at least 1 while time is left, else 0.
    int milliseconds() const;

private:
    base::SteadyTime at_;
};

/// True when the descriptor is ready for the events of poll(2), or has an error to tell; false when time ran out or poll() failed.
bool waitFor(int descriptor, short events, const Deadline& deadline);

}  // namespace netcore
