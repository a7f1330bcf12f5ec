#pragma once
// sACN, "streaming ACN", as far as it is read here (ANSI E1.31-2018): any datagram to a typed packet.

#include <optional>
#include <string>
#include <variant>

#include "NetCore/SACNData.hpp"
#include "NetCore/SACNDiscovery.hpp"
#include "NetCore/SACNRoot.hpp"

/// Pure functions; any thread.
namespace netcore::SACN {

/// A synchronisation packet; what it synchronises is not read.
struct Sync {
    bool operator==(const Sync&) const = default;
};

using Packet = std::variant<DataPacket, Discovery, Sync>;

/// Absent when the datagram is no sACN or too short for what it says it is. For data packets, `viewData` does the same without
/// allocating.
std::optional<Packet> parse(base::Bytes packet);

/// The IPv4 group on which a universe is sent (9.3.1): "239.255.0.1" for universe 1.
std::string multicastGroup(int universe);

}  // namespace netcore::SACN
