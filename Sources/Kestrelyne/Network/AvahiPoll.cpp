#include "Kestrelyne/Network/AvahiPoll.hpp"

#include <avahi-common/timeval.h>
#include <fcntl.h>
#include <sys/epoll.h>

#include <algorithm>
#include <memory>

#include "Base/FileDescriptor.hpp"

// The library leaves both types to its user.

struct AvahiWatch {
    AvahiWatch(base::SerialQueue& givenQueue, int givenDescriptor, AvahiWatchCallback givenCallback, void* givenUserdata)
        : queue(givenQueue),
          descriptor(givenDescriptor),
          own(fcntl(givenDescriptor, F_DUPFD_CLOEXEC, 0)),
          callback(givenCallback),
          userdata(givenUserdata) {}

    /// False when the queue cannot watch it.
    bool listen(AvahiWatchEvent wanted) {
        // Nothing wanted: errors, which are always told, must not wake the queue either.
        if (wanted == 0)
            source = {};
        else if (source)
            source.change(static_cast<std::uint32_t>(wanted));
        else
            source = queue.watch(own.get(), static_cast<std::uint32_t>(wanted), [this](std::uint32_t events) {
                happened = static_cast<AvahiWatchEvent>(
                    events & static_cast<std::uint32_t>(AVAHI_WATCH_IN | AVAHI_WATCH_OUT | AVAHI_WATCH_ERR | AVAHI_WATCH_HUP));
                callback(this, descriptor, happened, userdata);  // may free this
            });
        return wanted == 0 || source;
    }

    base::SerialQueue& queue;
    const int descriptor;
    // The bus library watches one descriptor for reading and for writing apart; the queue knows a descriptor once.
    const base::FileDescriptor own;
    const AvahiWatchCallback callback;
    void* const userdata;
    AvahiWatchEvent happened{};
    base::SerialQueue::Source source;  // ends before the descriptor is closed
};

struct AvahiTimeout {
    void set(const timeval* due) {
        timer = {};
        if (due == nullptr) return;
        const auto late = std::chrono::microseconds(avahi_age(due));
        timer = queue.after(std::max(base::Seconds(-late), base::Seconds(0)), [this] { callback(this, userdata); });
    }

    base::SerialQueue& queue;
    const AvahiTimeoutCallback callback;
    void* const userdata;
    base::SerialQueue::Timer timer{};
};

namespace kestrelyne {

namespace {

// A watch has the events of poll(2), which are those of epoll(7).
static_assert(int{AVAHI_WATCH_IN} == int{EPOLLIN} && int{AVAHI_WATCH_OUT} == int{EPOLLOUT} &&
              int{AVAHI_WATCH_ERR} == int{EPOLLERR} && int{AVAHI_WATCH_HUP} == int{EPOLLHUP});

base::SerialQueue& queueOf(const AvahiPoll* api) { return *static_cast<base::SerialQueue*>(api->userdata); }

}  // namespace

AvahiQueuePoll::AvahiQueuePoll(base::SerialQueue& queue)
    : api_{.userdata = &queue,
           .watch_new =
               [](const AvahiPoll* api, int descriptor, AvahiWatchEvent events, AvahiWatchCallback callback, void* userdata) {
                   auto watch = std::make_unique<AvahiWatch>(queueOf(api), descriptor, callback, userdata);
                   return watch->own && watch->listen(events) ? watch.release() : nullptr;
               },
           .watch_update = [](AvahiWatch* watch, AvahiWatchEvent events) { watch->listen(events); },
           .watch_get_events = [](AvahiWatch* watch) { return watch->happened; },
           .watch_free = [](AvahiWatch* watch) { delete watch; },
           .timeout_new =
               [](const AvahiPoll* api, const timeval* due, AvahiTimeoutCallback callback, void* userdata) {
                   auto* timeout = new AvahiTimeout{.queue = queueOf(api), .callback = callback, .userdata = userdata};
                   timeout->set(due);
                   return timeout;
               },
           .timeout_update = [](AvahiTimeout* timeout, const timeval* due) { timeout->set(due); },
           .timeout_free = [](AvahiTimeout* timeout) { delete timeout; }} {}

}  // namespace kestrelyne
