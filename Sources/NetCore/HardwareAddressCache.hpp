#pragma once
// The hardware addresses of the adapters, remembered for a while.

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Mutex.hpp"
#include "NetCore/HardwareAddress.hpp"
#include "NetCore/SystemLinks.hpp"

namespace netcore {

/// Remembers what `read` gave for 30 s: a wireless card may change its address, and another dongle may come under the same name.
/// That an adapter has none is never remembered. `read` runs without the lock: two callers may read at once, the last one wins. Any
/// thread.
class HardwareAddressCache {
public:
    using Read = std::function<std::optional<std::vector<SystemLink>>()>;
    HardwareAddressCache(const base::Clock& clock, Read read) : clock_(clock), read_(std::move(read)) {}
    /// Of the adapter; absent when it has none. When nothing can be read, what was read last.
    std::optional<HardwareAddress> address(const std::string& device);

private:
    using Addresses = std::map<std::string, HardwareAddress>;

    const base::Clock& clock_;
    const Read read_;
    base::Mutex mutex_;
    Addresses addresses_ KESTRELYNE_GUARDED_BY(mutex_);
    std::optional<base::SteadyTime> readAt_ KESTRELYNE_GUARDED_BY(mutex_);
};

}  // namespace netcore
