#pragma once
// Tells on which thread it was destroyed; stands for a capture or a result that belongs to the main thread.

#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include "Base/Mutex.hpp"

/// What became of a Witness. Any thread.
class Fate {
public:
    bool destroyed() const {
        base::Lock lock(mutex_);
        return where_.has_value();
    }
    bool destroyedHere() const {
        base::Lock lock(mutex_);
        return where_ == std::this_thread::get_id();
    }

private:
    friend class Witness;
    mutable base::Mutex mutex_;
    std::optional<std::thread::id> where_ KESTRELYNE_GUARDED_BY(mutex_);
};

class Witness {
public:
    explicit Witness(std::shared_ptr<Fate> fate) : fate_(std::move(fate)) {}
    Witness(Witness&&) noexcept = default;
    Witness& operator=(Witness&&) = delete;
    ~Witness() {
        if (!fate_) return;
        base::Lock lock(fate_->mutex_);
        fate_->where_ = std::this_thread::get_id();
    }

private:
    std::shared_ptr<Fate> fate_;
};

/// Runs a function when it is destroyed.
template <class F>
class AtEnd {
public:
    explicit AtEnd(F function) : function_(std::move(function)) {}
    AtEnd(AtEnd&& other) noexcept : function_(std::move(other.function_)), armed_(std::exchange(other.armed_, false)) {}
    AtEnd& operator=(AtEnd&&) = delete;
    ~AtEnd() {
        if (armed_) function_();
    }

private:
    F function_;
    bool armed_ = true;
};
