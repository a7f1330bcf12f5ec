#pragma once
// Art-Net as far as it is read here (Art-Net 4): any datagram to a typed packet. Each packet family has its
// types, its parser and its builders in a header of its own.

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "NetCore/ArtNetDMX.hpp"
#include "NetCore/ArtNetHeader.hpp"
#include "NetCore/ArtNetPoll.hpp"
#include "NetCore/ArtNetRDM.hpp"
#include "NetCore/ArtNetTimeCode.hpp"

/// Pure functions; any thread.
namespace netcore::ArtNet {

/// An Art-Net packet that is not read any further.
struct Other {
    int opCode = 0;
    bool operator==(const Other&) const = default;
};

/// Someone looks for nodes.
struct Poll {
    bool operator==(const Poll&) const = default;
};

using Packet = std::variant<PollReply, DmxInfo, TimeCode, TodData, RdmData, Other, Poll>;

/// Absent when the datagram is no Art-Net or too short for what it says it is. For ArtDmx, `viewDmx` does the same without
/// allocating.
std::optional<Packet> parse(base::Bytes packet);

/// Net, Sub-Net and universe of a Port-Address: "18:3:4" for 0x1234.
std::string label(int universe);

}  // namespace netcore::ArtNet
