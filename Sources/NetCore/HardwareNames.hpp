#pragma once
// What people call a network adapter: the name somebody gave it, the product it is, or its kind.

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "Base/Clock.hpp"
#include "Base/Mutex.hpp"
#include "NetCore/SystemLinks.hpp"

namespace netcore {

/// What can be known of one adapter; an empty text is unknown.
struct AdapterFacts {
    std::string alias;       // given by a person
    std::string usbProduct;  // what a USB device calls itself
    std::string model;       // of the hardware database
    std::string kind;        // of a virtual adapter: "bridge", "tun", "tap" …
    std::string deviceType;  // of the system: "wlan", "wwan" …
    std::string driver;      // of a device
};

/// The first that is known, in the order of the fields; absent when only the device name remains. Pure.
std::optional<std::string> hardwareName(const AdapterFacts& facts);

/// The facts that lie in the folders of sysfs(5) for a device: all but alias, model and kind; with the key for the hardware
/// database. Blocking; any thread.
struct SysfsFacts {
    std::string usbProduct, deviceType, driver, modalias;
};
SysfsFacts readSysfsFacts(const std::filesystem::path& classNet, const std::string& device);

/// Device to name, of all adapters but loopback; those without a name are missing. Blocking; any thread.
std::map<std::string, std::string> readHardwareNames();

/// Remembers what `read` gave for 30 s, or until an adapter is asked for that was not there yet. `read` runs without the lock: two
/// callers may read at once, the last one wins. Any thread.
class HardwareNameCache {
public:
    using Names = std::map<std::string, std::string>;
    HardwareNameCache(const base::Clock& clock, std::function<Names()> read) : clock_(clock), read_(std::move(read)) {}
    /// `devices` are those the caller wants a name of; one that stays without is not read for again within the 30 s.
    Names names(const std::set<std::string>& devices);

private:
    struct Cached {
        base::SteadyTime readAt;
        Names names;
        std::set<std::string> nameless;
    };
    const base::Clock& clock_;
    const std::function<Names()> read_;
    base::Mutex mutex_;
    std::optional<Cached> cached_ KESTRELYNE_GUARDED_BY(mutex_);
};

}  // namespace netcore
