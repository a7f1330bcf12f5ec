#include "Base/MainLoop.hpp"

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "Base/Require.hpp"

namespace base {

namespace {

constexpr Seconds longestTurn{0.005};
MainLoop* currentLoop = nullptr;

void call(Function<void()>& function, const char* where) {
    try {
        function();
    } catch (...) {
        uncaught(where, std::current_exception());
    }
}

}  // namespace

void uncaught(const char* where, std::exception_ptr exception) {
    try {
        std::rethrow_exception(exception);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "uncaught exception in %s: %s\n", where, error.what());
    } catch (...) {
        std::fprintf(stderr, "uncaught exception of unknown type in %s\n", where);
    }
    std::abort();
}

bool Inbox::post(Function<void()> function) {
    Lock lock(mutex_);
    if (!open_) return false;
    // Only the first function of a batch needs to wake the loop: it takes all that is there.
    const bool first = functions_.empty();
    functions_.push_back(std::move(function));
    if (first) wake_();
    return true;
}

MainLoop::MainLoop(const Clock& clock, Backend& backend) : clock_(clock), backend_(backend), previous_(currentLoop) {
    Lock lock(inbox_->mutex_);
    inbox_->wake_ = [this] { backend_.wake(); };
    currentLoop = this;
}

MainLoop::~MainLoop() {
    std::deque<Function<void()>> left;
    {
        Lock lock(inbox_->mutex_);
        inbox_->open_ = false;
        left.swap(inbox_->functions_);
    }
    // Captures die here, on the main thread, without the lock and while this is still the current loop: they may post (in vain) and
    // cancel timers.
    left.clear();
    batch_.clear();
    while (!timers_->empty()) const auto last = timers_->extract(timers_->begin());
    currentLoop = previous_;
}

MainLoop& MainLoop::current() {
    KESTRELYNE_REQUIRE(currentLoop != nullptr, "there is no main loop");
    return *currentLoop;
}

MainLoop::Timer& MainLoop::Timer::operator=(Timer&& other) noexcept {
    if (this != &other) {
        cancel();
        timers_ = std::move(other.timers_);
        key_ = other.key_;
        other.timers_.reset();
    }
    return *this;
}

void MainLoop::Timer::cancel() {
    if (const auto timers = timers_.lock()) {
        // Taken out before it is destroyed: its captures may cancel other timers.
        const auto node = timers->extract(key_);
        timers_.reset();
    }
}

MainLoop::Timer MainLoop::after(Seconds delay, Function<void()> function) {
    assertHere();
    const auto due = clock_.steadyNow() + nanoseconds(delay);
    const Timer::Key key{due, nextTimerNumber_++};
    timers_->emplace(key, std::move(function));
    if (timers_->begin()->first == key) backend_.arm(due);
    return Timer(timers_, key);
}

std::optional<SteadyTime> MainLoop::nextTimer() const {
    if (timers_->empty()) return std::nullopt;
    return timers_->begin()->first.first;
}

bool MainLoop::turn() {
    assertHere();
    const auto begun = SystemClock::shared().steadyNow();
    const auto late = [begun] { return SystemClock::shared().steadyNow() - begun > longestTurn; };
    if (batch_.empty()) {
        Lock lock(inbox_->mutex_);
        batch_.swap(inbox_->functions_);
    }
    bool worked = false;
    while (!batch_.empty()) {
        auto function = std::move(batch_.front());
        batch_.pop_front();
        worked = true;
        call(function, "a posted function");
        if (late()) break;
    }
    // Timers that a timer sets belong to the next turn, however short they are.
    const auto due = clock_.steadyNow();
    const auto newest = nextTimerNumber_;
    // The first due timer runs even when the functions took all the time, or a flood of them would starve the timers.
    for (bool first = true; !timers_->empty() && (first || !late()); first = false) {
        auto next = timers_->begin();
        while (next != timers_->end() && next->first.first <= due && next->first.second >= newest) ++next;
        if (next == timers_->end() || next->first.first > due) break;
        auto node = timers_->extract(next);
        worked = true;
        call(node.mapped(), "a timer");
    }
    backend_.arm(nextTimer());
    if (worked) note(SystemClock::shared().steadyNow() - begun);
    if (!batch_.empty()) return true;
    const auto next = nextTimer();
    if (next && *next <= clock_.steadyNow()) return true;
    Lock lock(inbox_->mutex_);
    return !inbox_->functions_.empty();
}

void MainLoop::note(Seconds length) {
    const double ms = length.count() * 1000;
    std::size_t bin = 0;
    while (bin < TurnHistogram::limitsMs.size() && ms >= TurnHistogram::limitsMs[bin]) ++bin;
    ++turns_.counts[bin];
    if (ms > turns_.longestMs) turns_.longestMs = ms;
}

void MainLoop::assertHere() const {
#ifndef NDEBUG
    KESTRELYNE_REQUIRE(isHere(), "called off the main thread");
#endif
}

HeadlessLoop::HeadlessLoop(const Clock& clock) : loop_(clock, *this) {}

int HeadlessLoop::run() {
    while (!code_) {
        if (loop_.turn() || code_) continue;
        const auto due = loop_.nextTimer();
        Lock lock(mutex_);
        while (!woken_) {
            if (!due) {
                condition_.wait(mutex_);
            } else if (condition_.wait_until(mutex_, *due) == std::cv_status::timeout) {
                break;
            }
        }
        woken_ = false;
    }
    return *code_;
}

void HeadlessLoop::quit(int code) {
    loop_.assertHere();
    if (!code_) code_ = code;
}

void HeadlessLoop::wake() {
    {
        Lock lock(mutex_);
        woken_ = true;
    }
    condition_.notify_one();
}

// run() asks for the next timer before it sleeps, and nothing else can set one meanwhile.
void HeadlessLoop::arm(std::optional<SteadyTime>) {}

}  // namespace base
