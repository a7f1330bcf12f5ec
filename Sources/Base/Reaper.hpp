#pragma once
// Every thread of the program is started and, when it has ended, joined here. Nobody waits for a thread but a test.

#include <atomic>
#include <list>
#include <memory>
#include <thread>

#include "Base/Function.hpp"
#include "Base/Mutex.hpp"

namespace base {

class Reaper {
public:
    /// Never destroyed: threads may outlive every other static object.
    static Reaper& shared();
    /// Starts a thread with all signals blocked; throws std::system_error when the system gives none. Any thread.
    void start(Function<void()> body);
    /// Waits until every thread has ended, also those that are started meanwhile. For tests: queues and pools must be gone or
    /// ending.
    void join();

private:
    struct Entry {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> over;
    };
    Mutex mutex_;
    std::list<Entry> entries_ KESTRELYNE_GUARDED_BY(mutex_);
};

}  // namespace base
