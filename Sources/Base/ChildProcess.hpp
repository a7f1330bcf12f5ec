#pragma once
// Runs another program and gathers what it prints. Blocking; for queues and pools.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Base/Clock.hpp"

namespace base {

struct ChildResult {
    std::string output;  // standard output and standard error on one pipe, UTF-8 repaired
    int exitCode = -1;   // −1 when a signal ended it
    bool timedOut = false;
};

/// Starts the program with posix_spawn (no shell), reads to the end of file and waits for its exit. After `timeout` it is
/// terminated (SIGTERM, a second later SIGKILL). At most 8 MiB of output are kept. Absent when it cannot be started.
std::optional<ChildResult> runChild(const std::string& path, const std::vector<std::string>& arguments, Seconds timeout);

/// What stands in for runChild in a test.
using ChildRunner = std::function<std::optional<ChildResult>(const std::string&, const std::vector<std::string>&, Seconds)>;

}  // namespace base
