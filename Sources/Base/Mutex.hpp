#pragma once
// A mutex the compiler watches (-Wthread-safety): a member marked KESTRELYNE_GUARDED_BY is touched only under its lock.

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define KESTRELYNE_ANNOTATE(x) __attribute__((x))
#else
#define KESTRELYNE_ANNOTATE(x)
#endif
#define KESTRELYNE_GUARDED_BY(x) KESTRELYNE_ANNOTATE(guarded_by(x))
#define KESTRELYNE_REQUIRES(...) KESTRELYNE_ANNOTATE(requires_capability(__VA_ARGS__))

namespace base {

/// Never held across a call out of its owner.
class KESTRELYNE_ANNOTATE(capability("mutex")) Mutex {
public:
    void lock() KESTRELYNE_ANNOTATE(acquire_capability()) { mutex_.lock(); }
    void unlock() KESTRELYNE_ANNOTATE(release_capability()) { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

class KESTRELYNE_ANNOTATE(scoped_lockable) Lock {
public:
    explicit Lock(Mutex& mutex) KESTRELYNE_ANNOTATE(acquire_capability(mutex)) : mutex_(mutex) { mutex_.lock(); }
    ~Lock() KESTRELYNE_ANNOTATE(release_capability()) { mutex_.unlock(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    Mutex& mutex_;
};

/// Waits on a Mutex that the caller holds.
using Condition = std::condition_variable_any;

}  // namespace base
