#pragma once
// Which services announce themselves in the local network by multicast DNS (RFC 6762, RFC 6763), as the system's Avahi daemon
// hears them.
//
// Without a daemon, or without a system bus, the lists stay empty; a daemon that starts later, or again, is noticed.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Observable.hpp"

namespace kestrelyne {

namespace detail {
class BonjourSession;
}

/// Main thread. All of its talk with the daemon stands on a queue of its own.
class BonjourBrowser {
public:
    /// Foreign text everywhere, repaired to UTF-8 but otherwise as announced.
    struct Service {
        std::string type;  // "_osc._udp."
        std::string name;
        std::optional<std::string> host = {};  // absent until it is resolved
        std::vector<std::string> ips = {};     // over all adapters, without doubles: IPv4 before IPv6, each in natural order
        std::map<std::string, std::string> txt = {};
        bool operator==(const Service&) const = default;
    };
    using Texts = std::vector<std::string>;

    /// How long to wait before a bus that is not there, a failed search or a failed resolution is tried again.
    explicit BonjourBrowser(base::Seconds retry = base::Seconds(30));
    ~BonjourBrowser();
    BonjourBrowser(const BonjourBrowser&) = delete;
    BonjourBrowser& operator=(const BonjourBrowser&) = delete;

    /// Begins to browse. Idempotent.
    void start();
    /// Ends and empties the lists; never waits. Idempotent.
    void stop();

    /// Sorted by type and name. At most 2,000.
    const base::Observable<std::vector<Service>>& services() const { return services_; }
    /// Types that somebody announces, sorted, as in `Service::type`. At most 64, the fixed ones included.
    const base::Observable<Texts>& discoveredTypes() const { return discoveredTypes_; }
    /// Announcements since the start that were beyond these limits.
    std::uint64_t refused() const { return refused_; }

    /// The keys and values of the strings of a TXT record (RFC 6763, 6.4): a string without "=" is a key with an empty value, one
    /// without a key is left out, of equal keys (in any case) the first holds. At most 64 strings are read. Pure; any thread.
    static std::map<std::string, std::string> parseTXT(const Texts& strings);
    /// The plain name of the protocol: "osc" of "_osc._udp.". Pure; any thread.
    static std::string label(std::string_view type);

private:
    friend class detail::BonjourSession;
    /// What the present session has heard.
    void accept(std::vector<Service> services, Texts types, std::uint64_t refused);

    const base::Seconds retry_;
    base::Observable<std::vector<Service>> services_;
    base::Observable<Texts> discoveredTypes_;
    std::uint64_t refused_ = 0;
    std::uint64_t starts_ = 0;
    std::unique_ptr<detail::BonjourSession> session_;  // from start() until stop()
};

}  // namespace kestrelyne
