#pragma once
// One answer from any thread, awaited on the main thread, with or without a time limit, resumed exactly once.

#include <exception>
#include <memory>
#include <optional>

#include "Base/MainLoop.hpp"
#include "Base/Mutex.hpp"
#include "Base/Task.hpp"

namespace base {

/// For answers that carry nothing but their arrival.
struct Done {};

/// A handle: copies speak of the same answer. The first answer counts, later ones are dropped. An answer that nobody has taken is
/// destroyed on the main thread, whoever holds the last handle (unless the loop is gone by then).
template <class T>
class Completion {
public:
    Completion() : state_(std::make_shared<State>(MainLoop::current().inbox())) {}
    /// For use where no loop is current (a worker thread).
    explicit Completion(std::shared_ptr<Inbox> inbox) : state_(std::make_shared<State>(std::move(inbox))) {}

    /// False when an answer was there already. Any thread.
    bool complete(T value) const { return settle(std::move(value), nullptr); }
    /// The awaiting task gets this exception. Any thread.
    bool fail(std::exception_ptr exception) const { return settle(std::nullopt, exception); }

    /// Waits for the answer and takes it; throws what fail() was given. One waiter at a time, and once the answer is taken, none.
    /// Main thread.
    Co<T> wait() const { return waitOn(state_); }
    /// The same with a limit; absent when the time has passed first. It may be waited for again then.
    Co<std::optional<T>> wait(Seconds limit) const { return waitOn(state_, limit); }

private:
    struct State {
        explicit State(std::shared_ptr<Inbox> given) : inbox(std::move(given)) {}
        Mutex mutex;
        std::optional<T> value KESTRELYNE_GUARDED_BY(mutex);
        std::exception_ptr exception KESTRELYNE_GUARDED_BY(mutex);
        bool settled KESTRELYNE_GUARDED_BY(mutex) = false;
        std::shared_ptr<Inbox> inbox;
        std::optional<detail::Sleeper> sleeper;  // main thread only

        State(const State&) = delete;
        State& operator=(const State&) = delete;
        // The last handle may die on the thread that answered, after the waiting task was cancelled.
        ~State() {
            if (value && !inbox->isHere()) inbox->post([kept = std::move(*value)] {});
        }
        bool isSettled() {
            Lock lock(mutex);
            return settled;
        }
        void wake() {
            if (auto woken = std::exchange(sleeper, std::nullopt)) woken->wake();
        }
    };

    struct Awaiter {
        std::shared_ptr<State> state;
        bool asleep = false;
        ~Awaiter() {
            if (asleep) state->sleeper.reset();
        }
        bool await_ready() const { return state->isSettled(); }
        template <class Promise>
        void await_suspend(std::coroutine_handle<Promise> frame) {
            KESTRELYNE_REQUIRE(!state->sleeper, "two wait for one answer");
            state->sleeper = detail::Sleeper{frame.promise().core->shared_from_this(), frame};
            asleep = true;
        }
        void await_resume() const noexcept {}
    };
    struct LimitedAwaiter {
        Awaiter inner;
        Seconds limit;
        MainLoop::Timer timer{};
        bool await_ready() const { return inner.await_ready(); }
        template <class Promise>
        void await_suspend(std::coroutine_handle<Promise> frame) {
            timer = frame.promise().core->loop().after(limit, [state = inner.state] { state->wake(); });
            inner.await_suspend(frame);
        }
        bool await_resume() const { return inner.state->isSettled(); }
    };

    static Co<T> waitOn(std::shared_ptr<State> state) {
        co_await Awaiter{state};
        co_return take(*state);
    }
    static Co<std::optional<T>> waitOn(std::shared_ptr<State> state, Seconds limit) {
        const bool answered = co_await LimitedAwaiter{{state}, limit};
        std::optional<T> result;
        if (answered) result.emplace(take(*state));
        co_return result;
    }
    bool settle(std::optional<T> value, std::exception_ptr exception) const {
        {
            Lock lock(state_->mutex);
            if (state_->settled) return false;
            state_->settled = true;
            if (value) state_->value.emplace(std::move(*value));
            state_->exception = exception;
        }
        state_->inbox->post([state = state_] { state->wake(); });
        return true;
    }
    static T take(State& state) {
        Lock lock(state.mutex);
        if (state.exception) std::rethrow_exception(state.exception);
        KESTRELYNE_REQUIRE(state.value, "an answer is taken once");
        T value = std::move(*state.value);
        state.value.reset();
        return value;
    }

    std::shared_ptr<State> state_;
};

namespace detail {
template <class T>
Co<> deliver(Co<T> body, Completion<T> completion) {
    std::optional<T> value;
    std::exception_ptr failure;
    try {
        value.emplace(co_await body);
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure)
        completion.fail(failure);
    else
        completion.complete(std::move(*value));
}
inline Co<Done> thenDone(Co<> body) {
    co_await body;
    co_return Done{};
}
}  // namespace detail

/// Runs the body and cancels it when the time has passed first: absent then.
template <class T>
Co<std::optional<T>> withTimeout(Co<T> body, Seconds limit) {
    const Completion<T> completion;
    const Task task("a body with a time limit", detail::deliver(std::move(body), completion));
    std::optional<T> result = co_await completion.wait(limit);
    co_return result;
}

/// The same for a body without a value: true when it ended in time.
inline Co<bool> withTimeout(Co<> body, Seconds limit) {
    const auto result = co_await withTimeout(detail::thenDone(std::move(body)), limit);
    co_return result.has_value();
}

}  // namespace base
