#pragma once
// The main loop that Avahi's client library asks for (avahi-common/watch.h), on a queue.

#include <avahi-common/watch.h>

#include "Base/SerialQueue.hpp"

namespace kestrelyne {

/// Everything on the queue's thread; outlives the client that uses it. Without a descriptor left there is no watch (nullptr), and
/// the library gives up what it was about to do.
class AvahiQueuePoll {
public:
    explicit AvahiQueuePoll(base::SerialQueue& queue);
    AvahiQueuePoll(const AvahiQueuePoll&) = delete;
    AvahiQueuePoll& operator=(const AvahiQueuePoll&) = delete;

    const AvahiPoll* api() const { return &api_; }

private:
    AvahiPoll api_;
};

}  // namespace kestrelyne
