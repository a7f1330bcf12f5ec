#pragma once
// The network adapters of this computer with their IPv4 addresses and the names people know them by.

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace netcore {

/// One usable IPv4 address of an adapter: an adapter with two addresses gives two of these.
struct NetInterface {
    std::string name;  // the system's device name, "eth0"
    std::uint32_t index = 0;
    std::string address;          // dotted
    std::string netmask;          // dotted; 255.255.255.0 when the system reports none
    std::string broadcast;        // dotted; computed when the system reports none that can be
    bool isPointToPoint = false;  // tunnels
    std::string displayName;      // what people call it, else the device name

    auto operator<=>(const NetInterface&) const = default;

    /// "eth0/10.0.0.2"
    std::string id() const { return name + "/" + address; }
    /// False also when a text is no address.
    bool contains(std::string_view ip) const;
    /// "10.1.2.0/24"; the bare address when address or mask do not parse.
    std::string subnet() const;

    /// All that are up, without loopback, by name. Empty when the system does not say. Any thread; quick (the names are cached).
    static std::vector<NetInterface> list();
    /// The same, but absent when the system does not say: not to be taken for "all adapters are gone".
    static std::optional<std::vector<NetInterface>> read();
    /// The first whose subnet holds the address; nullptr when none does.
    static const NetInterface* interfaceFor(std::string_view ip, const std::vector<NetInterface>& list);

    /// One adapter, whether or not it has an address.
    struct Adapter {
        std::string device;
        std::string name;
        std::optional<std::string> ipv4 = {};  // its first address
        bool linkActive = false;
        bool operator==(const Adapter&) const = default;
    };
    /// Those with a link first, then by device in natural order ("eth2" before "eth10"); without loopback. Any thread.
    static std::vector<Adapter> allAdapters();

    /// The hardware address; absent when the adapter has none. At most 30 s old; absence is never
    /// remembered. Any thread.
    static std::optional<std::array<std::uint8_t, 6>> macAddress(const std::string& name);

    /// Device name to what people call the adapter; at most 30 s old. Any thread.
    static std::map<std::string, std::string> hardwareNames();
    /// The name for the device: with the device in brackets when two adapters are called the same; the device itself when unknown.
    static std::string uniqueName(const std::string& device, const std::map<std::string, std::string>& names);
};

/// Reads the listings of the tools of another platform that shares the adapters' stores: pure, any thread.
namespace AdapterTexts {

/// Output of "networksetup -listallhardwareports": device to hardware port name.
std::map<std::string, std::string> parseHardwarePorts(std::string_view text);

struct Link {
    std::optional<std::string> ipv4 = {};
    bool linkActive = false;
    bool operator==(const Link&) const = default;
};
/// Output of "ifconfig -a" in its BSD form, by device.
std::map<std::string, Link> parseInterfaces(std::string_view text);
/// The adapters of both listings, in the order of allAdapters().
std::vector<NetInterface::Adapter> adapters(const std::map<std::string, std::string>& names,
                                            const std::map<std::string, Link>& links);
/// The "ether " line of "ifconfig <device>"; empty when there is none of six bytes.
std::vector<std::uint8_t> parseEther(std::string_view text);

}  // namespace AdapterTexts

}  // namespace netcore
