#pragma once
// Threads for blocking work that needs no order: it grows on demand up to a cap, so that some hanging calls never starve the
// others, and shrinks when idle.

#include <cstddef>
#include <deque>
#include <memory>
#include <string>

#include "Base/Mutex.hpp"
#include "Base/SerialQueue.hpp"

namespace base {

class BackgroundPool {
public:
    /// At most `threads` functions run at once; at most `waiting` more may wait, what comes beyond is refused and counted.
    /// A thread without work ends after `idleBeforeEnd`.
    BackgroundPool(std::string name, std::size_t threads, std::size_t waiting = 10000, Seconds idleBeforeEnd = Seconds(10));
    /// Drops what has not begun (its tasks fail with QueueStopped); never waits.
    ~BackgroundPool();
    BackgroundPool(const BackgroundPool&) = delete;
    BackgroundPool& operator=(const BackgroundPool&) = delete;

    /// False when refused. Any thread.
    bool post(Function<void()> function) { return post(shared_, std::move(function)); }

    /// Runs the function on some thread and resumes the awaiting task with its value or exception; a refused one throws
    /// QueueStopped.
    template <class F>
    Co<std::invoke_result_t<F&>> run(F function) {
        return detail::runElsewhere([shared = shared_](Function<void()> trip) { post(shared, std::move(trip)); },
                                    std::move(function));
    }

    /// How many were refused so far. Any thread.
    std::size_t refused() const;
    /// How many threads there are. Any thread.
    std::size_t threads() const;

private:
    struct Shared;
    static bool post(const std::shared_ptr<Shared>& shared, Function<void()> function);
    static void startThread(const std::shared_ptr<Shared>& shared);
    static void work(const std::shared_ptr<Shared>& shared);
    std::shared_ptr<Shared> shared_;
};

}  // namespace base
