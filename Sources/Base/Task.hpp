#pragma once
// Coroutines on the main thread.
//
// Co<T> is a function that can wait; it begins when awaited. A Task runs one Co<> and owns its frame chain: destroying the task
// destroys the chain at once, so a task declared as its owner's last member may use `this`. Cancelling runs destructors and nothing
// else. Parameters of coroutines are taken by value; state may have changed across every co_await.

#include <coroutine>
#include <exception>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Base/MainLoop.hpp"
#include "Base/Require.hpp"

namespace base {

namespace detail {

/// One running task: what its frames share and what resumes them. Main thread.
class TaskCore : public std::enable_shared_from_this<TaskCore> {
public:
    TaskCore(MainLoop& loop, std::string name, Function<void(std::exception_ptr)> handler)
        : loop_(loop), name_(std::move(name)), handler_(std::move(handler)) {}
    ~TaskCore() { destroyFrames(); }

    void start(std::coroutine_handle<> root);
    /// Runs the chain until it waits again or ends.
    void resume(std::coroutine_handle<> frame);
    /// Destroys the chain; when it is running right now, at its next suspension.
    void cancel();
    /// Told by the root frame when it is over.
    void finished(std::exception_ptr exception) {
        over_ = true;
        exception_ = exception;
    }
    bool over() const { return over_ || cancelled_; }
    MainLoop& loop() { return loop_; }
    Function<void()> whenOver;  // after the end, not after a cancellation

private:
    void destroyFrames();

    MainLoop& loop_;
    std::string name_;
    Function<void(std::exception_ptr)> handler_;
    std::coroutine_handle<> root_;
    bool running_ = false, cancelled_ = false, over_ = false;
    std::exception_ptr exception_;
};

struct PromiseBase {
    TaskCore* core = nullptr;
    std::coroutine_handle<> continuation;
    std::exception_ptr exception;

    struct FinalAwaiter {
        bool await_ready() const noexcept { return false; }
        template <class Promise>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> frame) const noexcept {
            auto& promise = frame.promise();
            if (promise.continuation) return promise.continuation;
            promise.core->finished(promise.exception);
            return std::noop_coroutine();
        }
        void await_resume() const noexcept {}
    };
    std::suspend_always initial_suspend() const noexcept { return {}; }
    FinalAwaiter final_suspend() const noexcept { return {}; }
    void unhandled_exception() noexcept { exception = std::current_exception(); }
};

}  // namespace detail

template <class T = void>
class [[nodiscard]] Co {
public:
    struct promise_type : detail::PromiseBase {
        std::optional<T> value;
        Co get_return_object() { return Co(std::coroutine_handle<promise_type>::from_promise(*this)); }
        template <class Given>
        void return_value(Given&& given) {
            value.emplace(std::forward<Given>(given));
        }
        T take() {
            if (exception) std::rethrow_exception(exception);
            return std::move(*value);
        }
    };
    Co(Co&& other) noexcept : frame_(std::exchange(other.frame_, {})) {}
    Co& operator=(Co&&) = delete;
    ~Co() {
        if (frame_) frame_.destroy();
    }

    bool await_ready() const noexcept { return false; }
    template <class Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> waiting) noexcept {
        frame_.promise().core = waiting.promise().core;
        frame_.promise().continuation = waiting;
        return frame_;
    }
    T await_resume() { return frame_.promise().take(); }

private:
    friend class Task;
    explicit Co(std::coroutine_handle<promise_type> frame) : frame_(frame) {}
    std::coroutine_handle<promise_type> frame_;
};

template <>
struct Co<void>::promise_type : detail::PromiseBase {
    Co get_return_object() { return Co(std::coroutine_handle<promise_type>::from_promise(*this)); }
    void return_void() noexcept {}
    void take() const {
        if (exception) std::rethrow_exception(exception);
    }
};

/// Owns one running Co<>. The body begins in a later turn of the loop. Main thread.
class Task {
public:
    Task() = default;
    /// An exception that leaves the body goes to the handler; without one it ends the process with the task's name.
    Task(std::string name, Co<> body, Function<void(std::exception_ptr)> handler = nullptr);
    Task(Task&&) noexcept = default;
    Task& operator=(Task&& other) noexcept {
        // The old task dies while the new one already stands in its place: its destructors may look at the owner.
        auto old = std::move(core_);
        core_ = std::move(other.core_);
        if (old) old->cancel();
        return *this;
    }
    ~Task() { cancel(); }

    /// True from construction until the body has ended or was cancelled.
    bool running() const { return core_ && !core_->over(); }
    explicit operator bool() const { return core_ != nullptr; }
    /// Nothing of the task runs again after this; called from inside its own body, it dies at its next suspension.
    void cancel() {
        if (auto core = std::move(core_)) core->cancel();
    }

private:
    friend class TaskGroup;
    std::shared_ptr<detail::TaskCore> core_;
};

/// Owns many short tasks, forgets each when it is over, cancels all when destroyed. Main thread.
class TaskGroup {
public:
    void add(std::string name, Co<> body, Function<void(std::exception_ptr)> handler = nullptr);
    std::size_t size() const { return tasks_->size(); }
    void cancelAll();
    TaskGroup() = default;
    TaskGroup(const TaskGroup&) = delete;
    TaskGroup& operator=(const TaskGroup&) = delete;
    ~TaskGroup() { cancelAll(); }

private:
    std::shared_ptr<std::list<Task>> tasks_ = std::make_shared<std::list<Task>>();
};

namespace detail {

/// One suspended frame and the task it belongs to. An awaiter that has left one somewhere takes it back when it is destroyed, so
/// that a destroyed frame is never resumed. Main thread.
struct Sleeper {
    std::shared_ptr<TaskCore> core;
    std::coroutine_handle<> frame;
    void wake() {
        const auto keep = core;
        keep->resume(frame);
    }
};

struct SleepAwaiter {
    Seconds delay;
    MainLoop::Timer timer{};

    bool await_ready() const noexcept { return false; }
    template <class Promise>
    void await_suspend(std::coroutine_handle<Promise> frame) {
        auto* core = frame.promise().core;
        timer = core->loop().after(delay, [core, frame] {
            const auto keep = core->shared_from_this();
            keep->resume(frame);
        });
    }
    void await_resume() const noexcept {}
};

}  // namespace detail

/// Waits at least this long, by the loop's clock; a turn of the loop passes even when it is zero.
inline detail::SleepAwaiter sleepFor(Seconds delay) { return {delay}; }

}  // namespace base
