#include "Base/BackgroundPool.hpp"

#include <pthread.h>

#include <system_error>

#include "Base/Reaper.hpp"

namespace base {

struct BackgroundPool::Shared {
    std::string name;
    std::size_t mostThreads = 0, mostWaiting = 0;
    std::chrono::nanoseconds idleBeforeEnd{};
    Mutex mutex;
    Condition condition;
    std::deque<Function<void()>> functions KESTRELYNE_GUARDED_BY(mutex);
    std::size_t threads KESTRELYNE_GUARDED_BY(mutex) = 0;  // running, idle or about to begin
    std::size_t busy KESTRELYNE_GUARDED_BY(mutex) = 0;     // in a function
    std::size_t refused KESTRELYNE_GUARDED_BY(mutex) = 0;
    bool stopped KESTRELYNE_GUARDED_BY(mutex) = false;
};

BackgroundPool::BackgroundPool(std::string name, std::size_t threads, std::size_t waiting, Seconds idleBeforeEnd)
    : shared_(std::make_shared<Shared>()) {
    shared_->name = std::move(name);
    shared_->mostThreads = threads;
    shared_->mostWaiting = waiting;
    shared_->idleBeforeEnd = nanoseconds(idleBeforeEnd);
}

BackgroundPool::~BackgroundPool() {
    std::deque<Function<void()>> dropped;
    {
        Lock lock(shared_->mutex);
        shared_->stopped = true;
        dropped.swap(shared_->functions);
    }
    shared_->condition.notify_all();
}

bool BackgroundPool::post(const std::shared_ptr<Shared>& shared, Function<void()> function) {
    bool grow = false;
    {
        Lock lock(shared->mutex);
        if (shared->stopped || shared->busy + shared->functions.size() >= shared->mostThreads + shared->mostWaiting) {
            ++shared->refused;
            return false;
        }
        shared->functions.push_back(std::move(function));
        grow = shared->threads - shared->busy < shared->functions.size() && shared->threads < shared->mostThreads;
        if (grow) ++shared->threads;
    }
    if (grow)
        startThread(shared);
    else
        shared->condition.notify_one();
    return true;
}

void BackgroundPool::startThread(const std::shared_ptr<Shared>& shared) {
    try {
        Reaper::shared().start([shared] { work(shared); });
    } catch (const std::system_error&) {
        // The system gives no thread: those that run take the work over. Without any, what waits is dropped, and its tasks learn of
        // it.
        std::deque<Function<void()>> dropped;
        Lock lock(shared->mutex);
        if (--shared->threads > 0) return shared->condition.notify_one();
        shared->refused += shared->functions.size();
        dropped.swap(shared->functions);
    }
}

void BackgroundPool::work(const std::shared_ptr<Shared>& shared) {
    pthread_setname_np(pthread_self(), shared->name.substr(0, 15).c_str());
    for (;;) {
        Function<void()> function;
        {
            Lock lock(shared->mutex);
            while (shared->functions.empty()) {
                const bool inTime = shared->stopped ||
                                    shared->condition.wait_for(shared->mutex, shared->idleBeforeEnd) == std::cv_status::no_timeout;
                if (shared->functions.empty() && (shared->stopped || !inTime)) {
                    --shared->threads;
                    return;
                }
            }
            function = std::move(shared->functions.front());
            shared->functions.pop_front();
            ++shared->busy;
        }
        try {
            function();
        } catch (...) {
            uncaught(shared->name.c_str(), std::current_exception());
        }
        function = nullptr;
        Lock lock(shared->mutex);
        --shared->busy;
    }
}

std::size_t BackgroundPool::refused() const {
    Lock lock(shared_->mutex);
    return shared_->refused;
}

std::size_t BackgroundPool::threads() const {
    Lock lock(shared_->mutex);
    return shared_->threads;
}

}  // namespace base
