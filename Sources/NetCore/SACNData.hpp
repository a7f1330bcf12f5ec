#pragma once
// sACN data packets: the slot values of one universe from one source (ANSI E1.31-2018, 4.1, 6.2 and 7).

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/ByteReader.hpp"
#include "NetCore/SACNRoot.hpp"

/// Pure functions; any thread.
namespace netcore::SACN {

struct DataPacket {
    std::string cid = {};         // 32 lower-case hexadecimal digits
    std::string sourceName = {};  // up to 64 bytes on the wire; foreign text, valid UTF-8 after repair
    int priority = 0;             // 0…200 by the standard, as sent
    int syncUniverse = 0;         // 0: not synchronised
    int sequence = 0;             // 0…255
    int universe = 0;             // 1…63999 by the standard, as sent
    int startCode = 0;            // 0 for slot values; what else counts is for the caller to decide
    int slots = 0;                // as declared, even when more than 512 or more than were sent
    bool terminated = false;
    bool previewData = false;
    std::vector<std::uint8_t> values = {};  // what was sent of the slots, at most 512
    bool operator==(const DataPacket&) const = default;
};

/// The same without memory of its own, for the path of every packet: valid as long as the datagram.
struct DataView {
    CID cid{};
    std::string_view sourceName = {};  // as sent: not necessarily UTF-8; `repairedSourceName` is for people
    int priority = 0;
    int syncUniverse = 0;
    int sequence = 0;
    int universe = 0;
    int startCode = 0;
    int slots = 0;
    bool terminated = false;
    bool previewData = false;
    base::Bytes values = {};

    std::string repairedSourceName() const;
    DataPacket packet() const;
};

/// Reads a data packet without allocating; absent when the datagram is none or shorter than 126 bytes. Of the DMP layer nothing but
/// the property count is looked at.
std::optional<DataView> viewData(base::Bytes packet);

}  // namespace netcore::SACN

/// Frames of DMX output. Pure functions; any thread.
namespace netcore::DMXPackets {

/// What a data packet of our own says.
struct SACNFields {
    int universe = 0;  // the lower 16 bits are sent
    std::uint8_t sequence = 0;
    base::Bytes data = {};             // 512 slots are sent: missing ones as zero, surplus ones not at all
    base::Bytes cid = {};              // its first 16 bytes, zero behind a shorter one
    std::string_view sourceName = {};  // up to 63 bytes are sent
    std::uint8_t priority = 0;         // 0…200 by the standard; not checked
    bool terminated = false;           // the source ends its output of this universe
};

std::array<std::uint8_t, 638> sacn(const SACNFields& fields);

}  // namespace netcore::DMXPackets
