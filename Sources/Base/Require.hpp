#pragma once
// The one macro of the house: a programming error ends the process, with file, line and reason, in every build.

namespace base {

/// Prints one line on standard error and aborts. Any thread.
[[noreturn]] void requireFailed(const char* file, int line, const char* condition, const char* why);

}  // namespace base

#define KESTRELYNE_REQUIRE(condition, why) \
    (static_cast<bool>(condition) ? static_cast<void>(0) : ::base::requireFailed(__FILE__, __LINE__, #condition, why))
