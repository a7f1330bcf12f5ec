#pragma once
// The one ordered queue for everything that goes to disk. The main thread encodes a snapshot and hands it over; this writes and
// syncs.

#include "Base/SerialQueue.hpp"

namespace base {

class StoreWriter {
public:
    /// What has not been written when the writer is destroyed is dropped: flush() first.
    StoreWriter() : queue_("store.writer") {}

    /// Runs after all writes handed over before. An exception that leaves it ends the process: the work says itself what a full
    /// disk means. Main thread.
    void write(Function<void()> work) { queue_.post(std::move(work)); }
    /// The same, and resumes the awaiting task with the result or the exception.
    template <class F>
    Co<std::invoke_result_t<F&>> run(F work) {
        return queue_.run(std::move(work));
    }
    /// Waits until everything handed over so far is on disk. Main thread.
    Co<> flush() {
        return queue_.run([] {});
    }

private:
    SerialQueue queue_;
};

}  // namespace base
