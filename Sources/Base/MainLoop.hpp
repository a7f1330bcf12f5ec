#pragma once
// The one main thread: posted functions and timers. It owns every store and all observable state and never blocks.
//
// A back end implements only how to wake the loop and how to arm one timer, so that the same loop runs headless (HeadlessLoop),
// inside a desktop toolkit's event loop, and in a test that passes time by hand.

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Function.hpp"
#include "Base/Mutex.hpp"

namespace base {

/// Where other threads leave functions for the main thread. It outlives the loop: what is posted after the loop's end is refused.
class Inbox {
public:
    /// False when the loop is gone; the function is then destroyed on the caller's thread. Any thread.
    bool post(Function<void()> function);
    /// The caller stands on the main thread. Any thread.
    bool isHere() const { return std::this_thread::get_id() == thread_; }

private:
    friend class MainLoop;
    const std::thread::id thread_ = std::this_thread::get_id();
    Mutex mutex_;
    std::deque<Function<void()>> functions_ KESTRELYNE_GUARDED_BY(mutex_);
    Function<void()> wake_ KESTRELYNE_GUARDED_BY(mutex_);
    bool open_ KESTRELYNE_GUARDED_BY(mutex_) = true;
};

/// How long the turns of a loop took; a metric of the program.
struct TurnHistogram {
    /// Counts of turns below 0.1, 0.3, 1, 3, 10, 30, 100 ms and of the longer ones.
    static constexpr std::array<double, 7> limitsMs = {0.1, 0.3, 1, 3, 10, 30, 100};
    std::array<std::uint64_t, limitsMs.size() + 1> counts{};
    double longestMs = 0;
};

class MainLoop {
public:
    class Backend {
    public:
        virtual ~Backend() = default;
        /// Another thread has posted: let a turn begin soon. Any thread.
        virtual void wake() = 0;
        /// The next timer is due at this time; nothing: no timer. Main thread.
        virtual void arm(std::optional<SteadyTime> due) = 0;
    };

    /// The constructing thread is the main thread. One loop at a time is `current`.
    MainLoop(const Clock& clock, Backend& backend);
    ~MainLoop();
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;

    /// The loop of the process; a programming error when there is none.
    static MainLoop& current();

    const Clock& clock() const { return clock_; }
    const std::shared_ptr<Inbox>& inbox() const { return inbox_; }

    /// Runs the function in a later turn. Any thread. An exception that leaves it ends the process.
    void post(Function<void()> function) { inbox_->post(std::move(function)); }

    /// A function to come; destroying it calls it off.
    class Timer {
    public:
        Timer() = default;
        Timer(Timer&&) noexcept = default;
        Timer& operator=(Timer&&) noexcept;
        ~Timer() { cancel(); }
        void cancel();

    private:
        friend class MainLoop;
        using Key = std::pair<SteadyTime, std::uint64_t>;
        Timer(std::weak_ptr<std::map<Key, Function<void()>>> timers, Key key) : timers_(std::move(timers)), key_(key) {}
        std::weak_ptr<std::map<Key, Function<void()>>> timers_;
        Key key_{};
    };
    /// Runs the function once when the time has passed. Main thread.
    [[nodiscard]] Timer after(Seconds delay, Function<void()> function);

    /// Handles what was there at its beginning, for at most 5 ms, timers included; true when more is waiting. However many
    /// functions are posted, one due timer runs in every turn. Called by the back end's owner.
    bool turn();
    /// When the next timer is due.
    std::optional<SteadyTime> nextTimer() const;

    bool isHere() const { return inbox_->isHere(); }
    /// Guards every store: the caller stands on the main thread. Checked in every build that is not a release.
    void assertHere() const;

    const TurnHistogram& turns() const { return turns_; }

private:
    using Timers = std::map<Timer::Key, Function<void()>>;
    void note(Seconds length);

    const Clock& clock_;
    Backend& backend_;
    std::shared_ptr<Inbox> inbox_ = std::make_shared<Inbox>();
    std::shared_ptr<Timers> timers_ = std::make_shared<Timers>();
    std::uint64_t nextTimerNumber_ = 0;
    std::deque<Function<void()>> batch_;  // taken from the inbox and not run yet
    TurnHistogram turns_;
    MainLoop* previous_;
};

/// The back end of a process without a screen: sleeps on a condition variable.
class HeadlessLoop final : private MainLoop::Backend {
public:
    explicit HeadlessLoop(const Clock& clock = SystemClock::shared());

    MainLoop& loop() { return loop_; }
    /// Runs turns until quit() and returns its code. Main thread.
    int run();
    /// Ends run() after the present turn. Main thread.
    void quit(int code);

private:
    void wake() override;
    void arm(std::optional<SteadyTime> due) override;

    Mutex mutex_;
    Condition condition_;
    bool woken_ KESTRELYNE_GUARDED_BY(mutex_) = false;
    std::optional<int> code_;
    MainLoop loop_;
};

/// Ends the process with one line on standard error: an exception left a task, a posted function or a timer.
[[noreturn]] void uncaught(const char* where, std::exception_ptr exception);

}  // namespace base
