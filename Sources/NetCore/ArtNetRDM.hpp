#pragma once
// Remote Device Management inside Art-Net: tables of devices and the frames to and from them (Art-Net 4,
// "ArtTodRequest", "ArtTodData", "ArtRdm"). What the frames say is not looked at here.

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "Base/ByteReader.hpp"
#include "NetCore/RDMUID.hpp"

/// Pure functions; any thread.
namespace netcore::ArtNet {

/// A piece of a node's table of devices of one universe.
struct TodData {
    int universe = 0;                 // Net above the Address byte, as sent
    std::vector<RDM::UID> uids = {};  // those that are whole; a cut datagram has fewer than it declares
    bool operator==(const TodData&) const = default;
};

struct RdmData {
    int universe = 0;
    std::vector<std::uint8_t> packet = {};  // the RDM frame without its start code 0xCC
    bool operator==(const RdmData&) const = default;
};

/// Reads an ArtTodData; absent when the datagram is none or shorter than 28 bytes.
std::optional<TodData> parseTodData(base::Bytes packet);
/// Reads an ArtRdm; absent when the datagram is none or shorter than 25 bytes.
std::optional<RdmData> parseRdm(base::Bytes packet);

/// ArtTodRequest: asks for the whole table of one universe (its lower 15 bits).
std::array<std::uint8_t, 56> todRequest(int universe);
/// ArtRdm that carries the frame (without its start code) to one universe (its lower 15 bits).
std::vector<std::uint8_t> rdmPacket(int universe, base::Bytes rdm);

}  // namespace netcore::ArtNet
