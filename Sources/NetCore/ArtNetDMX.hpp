#pragma once
// ArtDmx: the slot values of one universe (Art-Net 4, "ArtDmx").

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Base/ByteReader.hpp"

/// Pure functions; any thread.
namespace netcore::ArtNet {

struct DmxInfo {
    int universe = 0;                     // 15 bit Port-Address; all 16 bits as sent
    int sequence = 0;                     // 1…255; 0 when the sender does not count
    int length = 0;                       // slots as declared, even when more than 512 or more than were sent
    std::vector<std::uint8_t> data = {};  // what was sent of them, at most 512
    bool operator==(const DmxInfo&) const = default;
};

/// The same without memory of its own, for the path of every packet: valid as long as the datagram.
struct DmxView {
    int universe = 0;
    int sequence = 0;
    int length = 0;
    base::Bytes data = {};

    DmxInfo info() const;
};

/// Reads an ArtDmx without allocating; absent when the datagram is none or shorter than 18 bytes.
std::optional<DmxView> viewDmx(base::Bytes packet);

}  // namespace netcore::ArtNet

/// Frames of DMX output. Pure functions; any thread.
namespace netcore::DMXPackets {

/// ArtDmx of 512 slots: missing ones are sent as zero, surplus ones not at all. Of the universe the lower 15 bits are sent.
std::array<std::uint8_t, 530> artDmx(int universe, std::uint8_t sequence, base::Bytes data);

}  // namespace netcore::DMXPackets
