#pragma once
// A named thread of its own for one owner: functions in order, timers and watched descriptors.
//
// Blocking calls stand here and nowhere else. Destroying the queue never waits: what has not begun is dropped (tasks that await it
// fail with QueueStopped at once); what is running ends by itself, and a task that still awaits it gets its result.

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "Base/Clock.hpp"
#include "Base/Completion.hpp"
#include "Base/Function.hpp"

namespace base {

/// The queue ended before the function ran.
class QueueStopped : public std::runtime_error {
public:
    QueueStopped() : std::runtime_error("the queue has ended") {}
};

namespace detail {

/// A function on its way to another thread and back. Whatever happens to it, the awaiting task gets an answer exactly once, and the
/// function object with its captures comes back to the main thread.
template <class F>
class RoundTrip {
public:
    using Result = std::invoke_result_t<F&>;
    using Value = std::conditional_t<std::is_void_v<Result>, Done, Result>;
    struct Job {
        explicit Job(F given) : function(std::move(given)) {}
        F function;
        std::optional<Value> value;
        std::exception_ptr exception;
    };

    RoundTrip(F function, Completion<std::shared_ptr<Job>> completion)
        : job_(std::make_shared<Job>(std::move(function))), completion_(std::move(completion)) {}
    RoundTrip(RoundTrip&&) noexcept = default;
    RoundTrip& operator=(RoundTrip&&) = delete;
    ~RoundTrip() {
        if (!job_) return;
        job_->exception = std::make_exception_ptr(QueueStopped());
        completion_.complete(std::move(job_));
    }
    void operator()() {
        try {
            if constexpr (std::is_void_v<Result>) {
                job_->function();
                job_->value.emplace();
            } else {
                job_->value.emplace(job_->function());
            }
        } catch (...) {
            job_->exception = std::current_exception();
        }
        completion_.complete(std::move(job_));
    }

private:
    std::shared_ptr<Job> job_;
    Completion<std::shared_ptr<Job>> completion_;
};

template <class Poster, class F>
Co<std::invoke_result_t<F&>> runElsewhere(Poster post, F function) {
    using Trip = RoundTrip<F>;
    const Completion<std::shared_ptr<typename Trip::Job>> completion;
    post(Function<void()>(Trip(std::move(function), completion)));
    auto job = co_await completion.wait();
    if (job->exception) std::rethrow_exception(job->exception);
    if constexpr (!std::is_void_v<std::invoke_result_t<F&>>) co_return std::move(*job->value);
}

class QueueCore;

}  // namespace detail

class SerialQueue {
public:
    /// The name is cut to the system's 15 characters where the system shows it.
    explicit SerialQueue(std::string name);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    /// Runs the function after all that was posted before. An exception that leaves it ends the process. Any thread.
    void post(Function<void()> function);

    /// Runs the function on the queue and resumes the awaiting task with its value or its exception. Main thread.
    template <class F>
    Co<std::invoke_result_t<F&>> run(F function) {
        return detail::runElsewhere([core = core_](Function<void()> trip) { postTo(core, std::move(trip)); }, std::move(function));
    }

    bool isHere() const;

    /// A watched descriptor or a function to come; destroying it ends it. Made and destroyed on the queue's thread; both may be
    /// destroyed from inside their own handler.
    class Handle {
    public:
        Handle() = default;
        Handle(Handle&&) noexcept = default;
        Handle& operator=(Handle&& other) noexcept {
            if (this != &other) {
                cancel();
                core_ = std::move(other.core_);
                number_ = other.number_;
            }
            return *this;
        }
        ~Handle() { cancel(); }
        void cancel();
        explicit operator bool() const { return !core_.expired(); }

    protected:
        friend class detail::QueueCore;
        Handle(std::weak_ptr<detail::QueueCore> core, std::uint64_t number) : core_(std::move(core)), number_(number) {}
        std::weak_ptr<detail::QueueCore> core_;
        std::uint64_t number_ = 0;
    };
    class Source : public Handle {
    public:
        Source() = default;
        /// Watches for other events from now on (EPOLLIN, EPOLLOUT …). On the queue's thread.
        void change(std::uint32_t events);

    private:
        friend class detail::QueueCore;
        using Handle::Handle;
    };
    class Timer : public Handle {
    public:
        Timer() = default;

    private:
        friend class detail::QueueCore;
        using Handle::Handle;
    };

    /// Calls the handler with the epoll events of the descriptor, level triggered. Cancel before closing the descriptor. On the
    /// queue's thread.
    [[nodiscard]] Source watch(int descriptor, std::uint32_t events, Function<void(std::uint32_t)> handler);
    /// Calls the function once when the time has passed. On the queue's thread.
    [[nodiscard]] Timer after(Seconds delay, Function<void()> function);

    /// Waits for the threads of all destroyed queues. For tests and sanitizers; the program ends without it.
    static void joinEnded();

private:
    static void postTo(const std::shared_ptr<detail::QueueCore>& core, Function<void()> function);
    std::shared_ptr<detail::QueueCore> core_;
};

}  // namespace base
