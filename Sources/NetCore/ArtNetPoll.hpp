#pragma once
// How Art-Net nodes are found: ArtPoll asks, every node answers with ArtPollReply (Art-Net 4, "ArtPoll",
// "ArtPollReply").

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Base/ByteReader.hpp"

/// Pure functions; any thread.
namespace netcore::ArtNet {

/// One direction of one physical port of a node.
struct PortInfo {
    int universe = 0;       // 15 bit Port-Address
    bool isOutput = false;  // from the network to the port's DMX line; otherwise the other way
    bool active = false;    // data flows
    auto operator<=>(const PortInfo&) const = default;
};

/// What a node says of itself. Texts are foreign: valid UTF-8 after repair, but with whatever characters the node sent.
struct PollReply {
    std::string ip = {};          // "10.0.0.1", as the node claims
    std::string shortName = {};   // up to 18 bytes on the wire
    std::string longName = {};    // up to 64
    std::string nodeReport = {};  // up to 64
    int firmware = 0;
    int oem = 0;
    int estaCode = 0;
    std::string mac = {};              // "0A:0B:0C:12:34:56"
    int bindIndex = 0;                 // 0 when the reply is of a version without it
    std::vector<PortInfo> ports = {};  // by physical port, its output before its input; may be empty
    bool operator==(const PollReply&) const = default;
};

/// Bytes of a poll reply up to its MAC; a shorter one is not read.
inline constexpr std::size_t pollReplyMinimumLength = 207;

/// Reads an ArtPollReply; absent when the datagram is none or shorter than 207 bytes. More than four ports count as four.
std::optional<PollReply> parsePollReply(base::Bytes packet);

/// ArtPoll that asks nodes to reply now and on every change.
std::array<std::uint8_t, 14> pollPacket();

/// What a reply of our own says.
struct PollReplyFields {
    std::string_view ip = {};  // dotted; pieces that are no decimal byte are dropped, and unless four are left it is 0.0.0.0
    std::span<const std::uint8_t> mac = {};  // six bytes, otherwise zero is sent
    std::string_view shortName = {};         // up to 17 bytes are sent
    std::string_view longName = {};          // up to 63 bytes are sent
    int net = 0;                             // bits 14 to 8 of every port's Port-Address
    int subNet = 0;                          // bits 7 to 4
    std::span<const int> universes = {};     // one output each, the first four are told; bits 3 to 0 count
    int bindIndex = 0;                       // clamped to 0…255
};

/// ArtPollReply of a visualiser whose outputs are all active.
std::array<std::uint8_t, 239> pollReplyPacket(const PollReplyFields& fields);

}  // namespace netcore::ArtNet

template <>
struct std::hash<netcore::ArtNet::PortInfo> {
    std::size_t operator()(const netcore::ArtNet::PortInfo& info) const noexcept {
        return std::hash<int>()(info.universe << 2 | (info.isOutput ? 2 : 0) | (info.active ? 1 : 0));
    }
};
