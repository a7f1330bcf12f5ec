#pragma once
// The picture of the lighting traffic as it is shown: universes with their sources, nodes, console stations.

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Clock.hpp"
#include "NetCore/MANet.hpp"

namespace kestrelyne {

enum class NetProtocol { artnet, sacn };  // in the order in which they are listed
/// "Art-Net", "sACN"
std::string_view text(NetProtocol protocol);

/// What the test light of this program calls itself on sACN.
inline constexpr const char* testSourceName = "Brantholme Test";

/// One DMX universe on the wire.
struct UniverseKey {
    NetProtocol proto = NetProtocol::artnet;
    int number = 0;  // Art-Net: the 15 bit Port-Address; sACN: the universe

    auto operator<=>(const UniverseKey&) const = default;
    /// "1 (0:0:1)" for Art-Net, "1" for sACN.
    std::string label() const;
};

/// One sender of a universe.
struct SourceState {
    std::string id;    // the CID for sACN; for Art-Net the sender's address, with "#test" behind it for our own test light
    std::string name;  // its name, else its address
    std::string ip;
    std::optional<int> priority{};  // sACN only
    double fps = 0;                 // packets a second
    base::Moment lastSeen{};
    std::string interface;  // where it is heard, for people
    bool terminated = false;
    bool own = false;  // the test light of this program
};

struct UniverseState {
    UniverseKey key;
    std::vector<SourceState> sources;    // the highest priority first
    std::vector<std::string> receivers;  // who takes it, for people

    /// A source that has been silent this long, or has said its end, is lost.
    static constexpr base::Seconds lostAfter{3.0};
    /// Pointers into `sources`, in their order.
    std::vector<const SourceState*> activeSources(base::SteadyTime now) const;
    /// Two active senders of one Art-Net universe; two active sACN sources that share the highest priority.
    bool hasConflict(base::SteadyTime now) const;
    /// Of the active sources that fight, those with the highest priority: none without a conflict.
    std::vector<const SourceState*> rivals(base::SteadyTime now) const;
};

/// "conflict", "ok", "lost" (it has sources, none of them active) or "none": as JSON says it.
std::string_view statusWord(const UniverseState& universe, base::SteadyTime now);

struct ArtNodeState {
    std::string ip;  // its identity
    std::string shortName, longName, report, mac;
    int firmware = 0;
    std::set<int> outputs, inputs, activeOutputs;  // Port-Addresses
    base::Moment lastSeen{};
    std::string interface;
};

struct MANetStation {
    std::string ip;
    netcore::MANet::Version version = netcore::MANet::Version::ma3;
    std::vector<std::string> channels;  // groups it sends to, ascending
    double packetsPerSecond = 0;
    std::vector<std::string> texts;     // the most frequent, at most 12
    std::vector<std::string> versions;  // ascending
    base::Moment lastSeen{};
    std::string interface;
};

/// What a sACN source says it sends.
struct SACNSource {
    std::string name, ip;
    std::vector<int> universes;  // ascending
    bool operator==(const SACNSource&) const = default;
};

/// One source of one universe with its slot values.
struct DMXSourceView {
    std::string id, name, ip;
    std::optional<int> priority{};
    base::Moment lastSeen{};
    bool terminated = false;
    bool own = false;                // the test light of this program
    std::vector<std::uint8_t> data;  // at most 512
};

}  // namespace kestrelyne

template <>
struct std::hash<kestrelyne::UniverseKey> {
    std::size_t operator()(const kestrelyne::UniverseKey& key) const noexcept {
        return std::hash<int>()(key.number << 1 | (key.proto == kestrelyne::NetProtocol::sacn ? 1 : 0));
    }
};
