#include "Base/Task.hpp"

namespace base {

namespace detail {

void TaskCore::start(std::coroutine_handle<> root) {
    root_ = root;
    loop_.post([weak = weak_from_this()] {
        if (const auto core = weak.lock(); core && core->root_) core->resume(core->root_);
    });
}

void TaskCore::resume(std::coroutine_handle<> frame) {
    const auto keep = shared_from_this();
    loop_.assertHere();
    running_ = true;
    frame.resume();
    running_ = false;
    if (cancelled_) {
        destroyFrames();
        return;
    }
    if (!over_) return;
    destroyFrames();
    if (exception_) {
        if (!handler_) uncaught(name_.c_str(), exception_);
        handler_(exception_);
    }
    // The handler may have destroyed the task or the whole group.
    if (whenOver && !cancelled_) whenOver();
}

void TaskCore::cancel() {
    cancelled_ = true;
    if (!running_) destroyFrames();
}

void TaskCore::destroyFrames() {
    if (const auto root = std::exchange(root_, {})) root.destroy();
}

}  // namespace detail

Task::Task(std::string name, Co<> body, Function<void(std::exception_ptr)> handler)
    : core_(std::make_shared<detail::TaskCore>(MainLoop::current(), std::move(name), std::move(handler))) {
    const auto frame = std::exchange(body.frame_, {});
    frame.promise().core = core_.get();
    core_->start(frame);
}

void TaskGroup::cancelAll() {
    // Taken out first: destructors of the frames may look at the group or add to it.
    std::list<Task> cancelled;
    cancelled.swap(*tasks_);
}

void TaskGroup::add(std::string name, Co<> body, Function<void(std::exception_ptr)> handler) {
    auto& task = tasks_->emplace_back(std::move(name), std::move(body), std::move(handler));
    const auto place = std::prev(tasks_->end());
    task.core_->whenOver = [tasks = std::weak_ptr(tasks_), place] {
        if (const auto list = tasks.lock()) list->erase(place);
    };
}

}  // namespace base
