#include "Base/SerialQueue.hpp"

#include <pthread.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <map>
#include <thread>
#include <unordered_map>
#include <vector>

#include "Base/FileDescriptor.hpp"
#include "Base/Mutex.hpp"
#include "Base/Reaper.hpp"
#include "Base/Require.hpp"

namespace base {

namespace detail {

class QueueCore : public std::enable_shared_from_this<QueueCore> {
public:
    explicit QueueCore(std::string name) : name_(std::move(name)) {
        epoll_.reset(epoll_create1(EPOLL_CLOEXEC));
        wakeup_.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        KESTRELYNE_REQUIRE(epoll_ && wakeup_, "no descriptor left for a queue");
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u64 = 0;
        epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, wakeup_.get(), &event);
    }

    void post(Function<void()> function) {
        // The function may end the queue, and the thread be over with it, before we have woken it.
        const auto alive = shared_from_this();
        bool mustWake = false;
        {
            Lock lock(mutex_);
            if (!stopped_) {
                functions_.push_back(std::move(function));
                mustWake = std::exchange(sleeping_, false);
            }
        }
        if (mustWake) wake();
        // A refused function dies here, outside the lock; a trip tells its task.
    }

    void stop() {
        std::vector<Function<void()>> dropped;
        {
            Lock lock(mutex_);
            stopped_ = true;
            stopNow_.store(true, std::memory_order_release);
            dropped.swap(functions_);
        }
        wake();
    }

    void run() {
        thread_.store(pthread_self(), std::memory_order_release);
        started_.store(true, std::memory_order_release);
        pthread_setname_np(pthread_self(), name_.substr(0, 15).c_str());
        while (!stopNow_.load(std::memory_order_acquire)) {
            runFunctions();
            if (stopNow_.load(std::memory_order_acquire)) break;
            runTimers();
            waitAndDispatch();
        }
        // On this thread, as handlers may own what belongs to it.
        auto sources = std::move(sources_);
        auto timers = std::move(timers_);
        sources.clear();
        timers.clear();
    }

    bool isHere() const {
        return started_.load(std::memory_order_acquire) &&
               pthread_equal(thread_.load(std::memory_order_acquire), pthread_self()) != 0;
    }

    SerialQueue::Source watch(int descriptor, std::uint32_t events, Function<void(std::uint32_t)> handler) {
        KESTRELYNE_REQUIRE(isHere(), "a descriptor is watched from its queue's thread");
        const auto number = ++lastNumber_;
        epoll_event event{};
        event.events = events;
        event.data.u64 = number;
        if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, descriptor, &event) != 0) return {};
        sources_.emplace(number, std::make_shared<Watched>(Watched{descriptor, std::move(handler)}));
        return SerialQueue::Source(weak_from_this(), number);
    }

    SerialQueue::Timer after(Seconds delay, Function<void()> function) {
        KESTRELYNE_REQUIRE(isHere(), "a timer is set from its queue's thread");
        const auto number = ++lastNumber_;
        const auto due = SystemClock::shared().steadyNow() + nanoseconds(delay);
        timers_.emplace(std::pair(due, number), std::move(function));
        dueOf_.emplace(number, due);
        return SerialQueue::Timer(weak_from_this(), number);
    }

    void change(std::uint64_t number, std::uint32_t events) {
        KESTRELYNE_REQUIRE(isHere(), "a source is changed from its queue's thread");
        const auto found = sources_.find(number);
        if (found == sources_.end()) return;
        epoll_event event{};
        event.events = events;
        event.data.u64 = number;
        epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, found->second->descriptor, &event);
    }

    void cancel(std::uint64_t number) {
        if (!isHere()) {
            // A function that was dropped by stop() took its handle with it; the thread lets go of the rest itself.
            KESTRELYNE_REQUIRE(stopNow_.load(std::memory_order_acquire), "a source or timer is ended from its queue's thread");
            return;
        }
        if (const auto found = sources_.find(number); found != sources_.end()) {
            epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, found->second->descriptor, nullptr);
            const auto keep = std::move(found->second);
            sources_.erase(found);
            return;
        }
        if (const auto found = dueOf_.find(number); found != dueOf_.end()) {
            const auto node = timers_.extract(std::pair(found->second, number));
            dueOf_.erase(found);
        }
    }

private:
    struct Watched {
        int descriptor;
        Function<void(std::uint32_t)> handler;
    };

    void wake() {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = write(wakeup_.get(), &one, sizeof one);
    }

    void call(Function<void()>& function) {
        try {
            function();
        } catch (...) {
            uncaught(name_.c_str(), std::current_exception());
        }
    }

    void runFunctions() {
        std::vector<Function<void()>> batch;
        {
            Lock lock(mutex_);
            batch.swap(functions_);
        }
        for (auto& function : batch) {
            // A stop in the middle drops the rest.
            if (stopNow_.load(std::memory_order_acquire)) return;
            call(function);
            function = nullptr;
        }
    }

    void runTimers() {
        const auto now = SystemClock::shared().steadyNow();
        const auto newest = lastNumber_;
        while (!timers_.empty() && !stopNow_.load(std::memory_order_acquire)) {
            const auto next = timers_.begin();
            if (next->first.first > now || next->first.second > newest) return;
            auto node = timers_.extract(next);
            dueOf_.erase(node.key().second);
            call(node.mapped());
        }
    }

    void waitAndDispatch() {
        int timeout = -1;
        if (!timers_.empty()) {
            const Seconds left = timers_.begin()->first.first - SystemClock::shared().steadyNow();
            timeout = left.count() <= 0 ? 0 : static_cast<int>(std::min(std::ceil(left.count() * 1000), 1e9));
        }
        {
            Lock lock(mutex_);
            if (functions_.empty())
                sleeping_ = true;
            else
                timeout = 0;
        }
        constexpr int most = 64;
        epoll_event events[most];
        const int count = epoll_wait(epoll_.get(), events, most, timeout);
        {
            Lock lock(mutex_);
            sleeping_ = false;
        }
        for (int i = 0; i < count && !stopNow_.load(std::memory_order_acquire); ++i) {
            const auto number = events[i].data.u64;
            if (number == 0) {
                std::uint64_t ignored;
                [[maybe_unused]] const auto read = ::read(wakeup_.get(), &ignored, sizeof ignored);
                continue;
            }
            // Looked up for each event: an earlier handler may have ended this source.
            const auto found = sources_.find(number);
            if (found == sources_.end()) continue;
            const auto watched = found->second;
            try {
                watched->handler(events[i].events);
            } catch (...) {
                uncaught(name_.c_str(), std::current_exception());
            }
        }
    }

    const std::string name_;
    FileDescriptor epoll_, wakeup_;
    Mutex mutex_;
    std::vector<Function<void()>> functions_ KESTRELYNE_GUARDED_BY(mutex_);
    bool stopped_ KESTRELYNE_GUARDED_BY(mutex_) = false;
    bool sleeping_ KESTRELYNE_GUARDED_BY(mutex_) = false;  // the thread is in epoll_wait or about to be
    std::atomic<bool> stopNow_ = false;
    std::atomic<bool> started_ = false;
    std::atomic<pthread_t> thread_{};
    // Queue thread only:
    std::unordered_map<std::uint64_t, std::shared_ptr<Watched>> sources_;
    std::map<std::pair<SteadyTime, std::uint64_t>, Function<void()>> timers_;
    std::unordered_map<std::uint64_t, SteadyTime> dueOf_;
    std::uint64_t lastNumber_ = 0;
};

}  // namespace detail

SerialQueue::SerialQueue(std::string name) : core_(std::make_shared<detail::QueueCore>(std::move(name))) {
    Reaper::shared().start([core = core_] { core->run(); });
}

SerialQueue::~SerialQueue() { core_->stop(); }

void SerialQueue::post(Function<void()> function) { core_->post(std::move(function)); }

void SerialQueue::postTo(const std::shared_ptr<detail::QueueCore>& core, Function<void()> function) {
    core->post(std::move(function));
}

bool SerialQueue::isHere() const { return core_->isHere(); }

void SerialQueue::Handle::cancel() {
    if (const auto core = core_.lock()) {
        core_.reset();
        core->cancel(number_);
    }
}

void SerialQueue::Source::change(std::uint32_t events) {
    if (const auto core = core_.lock()) core->change(number_, events);
}

SerialQueue::Source SerialQueue::watch(int descriptor, std::uint32_t events, Function<void(std::uint32_t)> handler) {
    return core_->watch(descriptor, events, std::move(handler));
}

SerialQueue::Timer SerialQueue::after(Seconds delay, Function<void()> function) { return core_->after(delay, std::move(function)); }

void SerialQueue::joinEnded() { Reaper::shared().join(); }

}  // namespace base
