#include "Base/Reaper.hpp"

#include <signal.h>

namespace base {

namespace {

/// A new thread inherits the mask of the one that starts it.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_{};
};

}  // namespace

Reaper& Reaper::shared() {
    static Reaper& reaper = *new Reaper;
    return reaper;
}

void Reaper::start(Function<void()> body) {
    const SignalsBlocked signalsBlocked;
    const auto over = std::make_shared<std::atomic<bool>>(false);
    std::thread thread([function = std::move(body), over]() mutable {
        function();
        // Captures die before the thread counts as over.
        function = nullptr;
        over->store(true, std::memory_order_release);
    });
    std::list<Entry> ended;
    {
        Lock lock(mutex_);
        for (auto entry = entries_.begin(); entry != entries_.end();) {
            const auto next = std::next(entry);
            if (entry->over->load(std::memory_order_acquire)) ended.splice(ended.end(), entries_, entry);
            entry = next;
        }
        entries_.push_back({std::move(thread), over});
    }
    for (auto& entry : ended) entry.thread.join();
}

void Reaper::join() {
    for (;;) {
        std::list<Entry> all;
        {
            Lock lock(mutex_);
            all.swap(entries_);
        }
        if (all.empty()) return;
        for (auto& entry : all) entry.thread.join();
    }
}

}  // namespace base
