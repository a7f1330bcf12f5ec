#pragma once
// A UPS as one of the computer's services tells of it, and the names that the entries get. No clock, thread or socket.

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "NetCore/LocalUPS.hpp"
#include "NetCore/UPSStatus.hpp"

namespace netcore {

struct LocalUPSFinding {
    std::string key;  // the service and its own name of the device
    std::string name;
    UPSStatus status;
};

/// The name of a device that tells none.
inline constexpr const char* namelessUPS = "USB-USV";

/// What a device says of itself, fit for one line: without control characters and broken bytes, 64 characters at most.
std::string deviceText(std::string_view told);

/// Gives each key a number, counted from 0 in the order of their appearance, and never another one. One thread.
class LocalUPSNumbers {
public:
    // A computer has a few; a service whose names never stay the same is not followed for ever.
    static constexpr std::size_t mostKeys = 1000;

    /// In the order of the keys, so that the numbers do not hang on the order of an answer.
    std::vector<LocalUPS::Entry> entries(std::vector<LocalUPSFinding> findings);

private:
    std::map<std::string, std::size_t> numbers_;
};

/// When to look for a service again that was not there: later, but for one that has answered before at once. One thread.
class ServiceRetry {
public:
    explicit ServiceRetry(base::Seconds pause) : pause_(base::nanoseconds(pause)) {}
    bool due(base::SteadyTime now) const { return !notBefore_ || now >= *notBefore_; }
    void note(bool answered, base::SteadyTime now);

private:
    const std::chrono::nanoseconds pause_;
    bool answered_ = false;
    std::optional<base::SteadyTime> notBefore_;
};

}  // namespace netcore
