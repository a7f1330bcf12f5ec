#pragma once
// What is known of Tailscale on this computer. An absent program is a normal state.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/ChildProcess.hpp"
#include "Base/HostAddresses.hpp"

namespace kestrelyne {

struct TailscaleInfo {
    std::optional<std::string> ip;         // this computer's Tailscale IPv4 address
    std::optional<std::string> dnsName;    // its name in the tailnet, without the trailing dot
    bool serveHTTPS = false;               // `tailscale serve` forwards to our port
    std::optional<std::string> cliPath;    // the program found
    std::optional<bool> online;            // absent when nothing could be asked
    std::vector<std::string> peersOnline;  // host names, sorted
    std::vector<std::string> certDomains;

    bool operator==(const TailscaleInfo&) const = default;

    static constexpr base::Seconds callLimit{15};

    /// Where the program may be, the first that is there counts. $KESTRELYNE_TAILSCALE, when set, stands at the front.
    static std::vector<std::string> programPaths();
    /// The first of the addresses inside 100.64.0.0/10 (RFC 6598). Pure.
    static std::optional<std::string> currentIP(const std::vector<base::HostAddress>& addresses);
    /// The program's output, with "\n(abgebrochen nach <seconds> s)" behind it when it took too long; absent when it cannot be
    /// started.
    static std::optional<base::ChildResult> run(const base::ChildRunner& runner, const std::string& path,
                                                const std::vector<std::string>& arguments, base::Seconds timeout);
    /// Asks everything anew. Blocking: up to two calls of the program with `callLimit` each.
    static TailscaleInfo detect(std::uint16_t port, const std::vector<base::HostAddress>& addresses,
                                const std::vector<std::string>& paths, const base::ChildRunner& runner);

    /// Takes over what `tailscale status --json` printed; false, and nothing changed, when it is no JSON object.
    bool readStatus(std::string_view output);
    /// From what `tailscale serve status --json` printed: whether it names our port on this computer. Pure.
    static bool servesPort(std::string_view output, std::uint16_t port);
};

}  // namespace kestrelyne
