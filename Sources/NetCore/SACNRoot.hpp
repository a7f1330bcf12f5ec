#pragma once
// What every sACN datagram begins with (ANSI E1.31-2018, 5 "ACN Root Layer Protocol" and 6.2 "E1.31 Framing Layer"). Offsets count
// from the first byte of the UDP payload; numbers are in network order.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "Base/ByteReader.hpp"

/// Pure functions; any thread.
namespace netcore::SACN {

/// UDP port of all sACN traffic.
inline constexpr std::uint16_t port = 5568;

/// The ACN packet identifier: "ASC-E1.17" and three zeros.
inline constexpr std::array<std::uint8_t, 12> acnID = {'A', 'S', 'C', '-', 'E', '1', '.', '1', '7', 0, 0, 0};

/// The identifier of a sender. It stays the same when the sender's address changes.
using CID = std::array<std::uint8_t, 16>;
/// 32 lower-case hexadecimal digits.
std::string text(const CID& cid);

// Root layer
inline constexpr std::size_t preambleSizeAt = 0, acnIDAt = 4, rootLengthAt = 16, rootVectorAt = 18, cidAt = 22, rootSize = 38;
inline constexpr std::uint16_t preambleSize = 0x0010;
enum RootVector : std::uint32_t { rootData = 4, rootExtended = 8 };

// Framing layer, behind the root layer
inline constexpr std::size_t framingLengthAt = 38, framingVectorAt = 40, sourceNameAt = 44, sourceNameSize = 64;
enum DataFramingVector : std::uint32_t { framingData = 2 };
enum ExtendedFramingVector : std::uint32_t { framingSync = 1, framingDiscovery = 2 };

/// The two vectors that tell what a datagram is.
struct Vectors {
    std::uint32_t root = 0;
    std::optional<std::uint32_t> framing = {};  // absent when the datagram ends before it
};
/// Absent when the datagram is shorter than a root layer or no ACN.
std::optional<Vectors> vectors(base::Bytes packet);

/// The sender; the packet has a whole root layer.
inline CID cidOf(base::Bytes packet) {
    CID cid;
    std::copy_n(packet.begin() + cidAt, cid.size(), cid.begin());
    return cid;
}

}  // namespace netcore::SACN
