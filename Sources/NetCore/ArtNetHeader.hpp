#pragma once
// What every Art-Net datagram begins with (Art-Net 4, "Ethernet Packet"). Offsets count from the first byte
// of the UDP payload.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "Base/ByteReader.hpp"
#include "NetCore/WireFields.hpp"

/// Pure functions; any thread.
namespace netcore::ArtNet {

/// UDP port of all Art-Net traffic.
inline constexpr std::uint16_t port = 6454;

/// "Art-Net" and a zero.
inline constexpr std::array<std::uint8_t, 8> header = {'A', 'r', 't', '-', 'N', 'e', 't', 0};

/// The operation codes that are read or built here; they travel low byte first.
enum OpCode : std::uint16_t {
    opPoll = 0x2000,
    opPollReply = 0x2100,
    opDmx = 0x5000,
    opTodRequest = 0x8000,
    opTodData = 0x8100,
    opRdm = 0x8300,
    opTimeCode = 0x9700,
};

/// The operation code; absent when the datagram is shorter than 10 bytes or no Art-Net. The protocol version is not looked at.
std::optional<std::uint16_t> opCode(base::Bytes packet);

/// Header and operation code in front of a packet that is being built.
void putHeader(wire::MutableBytes packet, OpCode code);
/// The same with the protocol version 14 behind it, as all packets but ArtPollReply have it.
void putHeaderAndVersion(wire::MutableBytes packet, OpCode code);

}  // namespace netcore::ArtNet
