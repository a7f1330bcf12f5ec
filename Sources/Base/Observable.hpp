#pragma once
// A value that tells its observers when it is assigned. Main thread.

#include <algorithm>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Base/Completion.hpp"
#include "Base/Function.hpp"
#include "Base/MainLoop.hpp"

namespace base {

/// Tells whoever listens. It may be destroyed, and listeners may come and go, while it tells; one that comes hears the next round.
class Signal {
public:
    Signal() : state_(std::make_shared<State>()) {}
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    ~Signal() {
        state_->dead = true;
        if (!state_->telling) bury(*state_);
    }

private:
    struct State;

public:
    /// Ends when destroyed; may outlive the signal.
    class Subscription {
    public:
        Subscription() = default;
        Subscription(Subscription&&) noexcept = default;
        Subscription& operator=(Subscription&& other) noexcept {
            if (this == &other) return *this;
            cancel();
            state_ = std::move(other.state_);
            slot_ = std::move(other.slot_);
            return *this;
        }
        ~Subscription() { cancel(); }
        /// The listener is not called again; it and its captures are destroyed now, or, while the signal tells, when it has told.
        void cancel() {
            const auto slot = std::exchange(slot_, nullptr);
            if (!slot) return;
            slot->live = false;
            const auto state = state_.lock();
            if (!state) return;
            if (state->telling)
                state->cancelled = true;
            else
                std::erase(state->slots, slot);
        }

    private:
        friend class Signal;
        struct Slot {
            Function<void()> listener;
            bool live = true;
        };
        Subscription(std::weak_ptr<State> state, std::shared_ptr<Slot> slot) : state_(std::move(state)), slot_(std::move(slot)) {}
        std::weak_ptr<State> state_;
        std::shared_ptr<Slot> slot_;
    };

    [[nodiscard]] Subscription listen(Function<void()> listener) const {
        auto slot = std::make_shared<Subscription::Slot>();
        slot->listener = std::move(listener);
        state_->slots.push_back(slot);
        return Subscription(state_, slot);
    }

    /// Called while it tells already, a further round follows the present one, so that nested changes arrive in order.
    void tell() const {
        const auto state = state_;
        if (state->telling) {
            state->again = true;
            return;
        }
        const Telling telling(*state);
        do {
            state->again = false;
            const auto count = state->slots.size();
            for (std::size_t i = 0; i < count && !state->dead; ++i) {
                const auto slot = state->slots[i];
                if (slot->live) slot->listener();
            }
        } while (state->again && !state->dead);
    }

private:
    using Slots = std::vector<std::shared_ptr<Subscription::Slot>>;
    struct State {
        Slots slots;
        bool telling = false, again = false, dead = false;
        bool cancelled = false;  // some slot, while it told
    };
    /// While it lives no slot leaves the list; at its end, also by an exception, those that were cancelled meanwhile do.
    class Telling {
    public:
        explicit Telling(State& state) : state_(state) { state_.telling = true; }
        Telling(const Telling&) = delete;
        Telling& operator=(const Telling&) = delete;
        ~Telling() {
            state_.telling = false;
            if (state_.dead)
                bury(state_);
            else if (std::exchange(state_.cancelled, false))
                sweep(state_);
        }

    private:
        State& state_;
    };
    // Destroyed outside the list: what they captured may listen, cancel and tell.
    static void sweep(State& state) {
        Slots cancelled;
        std::erase_if(state.slots, [&cancelled](const auto& slot) {
            if (!slot->live) cancelled.push_back(slot);
            return !slot->live;
        });
    }
    // What listeners captured learns of the signal's end by its own destruction.
    static void bury(State& state) {
        const auto slots = std::exchange(state.slots, {});
        for (const auto& slot : slots) slot->listener = nullptr;
    }
    std::shared_ptr<State> state_;
};

using Subscription = Signal::Subscription;

/// Needs no == of its value and copies nothing per observer.
template <class T>
class Observable {
public:
    Observable() = default;
    explicit Observable(T value) : value_(std::move(value)) {}

    const T& get() const { return value_; }
    const T& operator*() const { return value_; }
    const T* operator->() const { return &value_; }

    void set(T value) {
        value_ = std::move(value);
        changed_.tell();
    }
    /// Changes the value in place and tells once.
    template <class Change>
    void change(Change change) {
        change(value_);
        changed_.tell();
    }
    /// The listener reads the value through the observable it listens to.
    [[nodiscard]] Subscription observe(Function<void()> listener) const { return changed_.listen(std::move(listener)); }

private:
    T value_{};
    Signal changed_;
};

/// The observable died before what was awaited came.
class ObservableGone : public std::runtime_error {
public:
    ObservableGone() : std::runtime_error("the observable is gone") {}
};

namespace detail {

/// Captured by a listener: when the listener dies without having answered, so has the observable.
struct LastWord {
    Completion<Done> completion;
    explicit LastWord(Completion<Done> given) : completion(std::move(given)) {}
    LastWord(const LastWord&) = delete;
    LastWord& operator=(const LastWord&) = delete;
    ~LastWord() { completion.fail(std::make_exception_ptr(ObservableGone())); }
};

inline Co<> untilAnswered(Completion<Done> completion, Subscription subscription) {
    co_await completion.wait();
    subscription.cancel();
}

}  // namespace detail

/// Waits until the value has fulfilled the predicate since this call; when it does already, it does not wait. Throws ObservableGone
/// when the observable dies first, also before the answer is awaited.
template <class T, class Predicate>
Co<> until(const Observable<T>& observable, Predicate fulfils) {
    const Completion<Done> completion;
    Subscription subscription;
    if (fulfils(observable.get()))
        completion.complete({});
    else
        subscription = observable.observe([&observable, fulfils, word = std::make_unique<detail::LastWord>(completion)]() mutable {
            if (fulfils(observable.get())) word->completion.complete({});
        });
    return detail::untilAnswered(completion, std::move(subscription));
}

/// Gathers many signals into at most one call a turn of the loop.
class ChangeHub {
public:
    explicit ChangeHub(Function<void()> listener) : state_(std::make_shared<State>()) { state_->listener = std::move(listener); }
    ChangeHub(const ChangeHub&) = delete;
    ChangeHub& operator=(const ChangeHub&) = delete;

    template <class T>
    void add(const Observable<T>& observable) {
        subscriptions_.push_back(observable.observe([this] { note(); }));
    }
    /// Something has changed.
    void note() {
        if (std::exchange(state_->noted, true)) return;
        MainLoop::current().post([weak = std::weak_ptr(state_)] {
            if (const auto state = weak.lock()) {
                state->noted = false;
                state->listener();
            }
        });
    }

private:
    struct State {
        Function<void()> listener;
        bool noted = false;
    };
    std::shared_ptr<State> state_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace base
