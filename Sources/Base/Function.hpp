#pragma once
// A callable that is moved, never copied: what is posted to a loop or a queue owns its captures, and they need not be copyable.

#include <concepts>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

namespace base {

template <class Signature>
class Function;

template <class Result, class... Arguments>
class Function<Result(Arguments...)> {
public:
    Function() = default;
    Function(std::nullptr_t) {}

    template <class Callable>
    requires(!std::same_as<std::remove_cvref_t<Callable>, Function> &&
             std::is_invocable_r_v<Result, std::remove_cvref_t<Callable>&, Arguments...>) Function(Callable&& callable)
        : target_(std::make_unique<Target<std::remove_cvref_t<Callable>>>(std::forward<Callable>(callable))) {}

    explicit operator bool() const { return target_ != nullptr; }
    /// Calling an empty function is a programming error.
    Result operator()(Arguments... arguments) { return target_->call(std::forward<Arguments>(arguments)...); }

private:
    struct Callee {
        virtual ~Callee() = default;
        virtual Result call(Arguments... arguments) = 0;
    };
    template <class Callable>
    struct Target final : Callee {
        template <class Given>
        explicit Target(Given&& given) : callable(std::forward<Given>(given)) {}
        Result call(Arguments... arguments) override { return callable(std::forward<Arguments>(arguments)...); }
        Callable callable;
    };
    std::unique_ptr<Callee> target_;
};

}  // namespace base
