#pragma once
// sACN datagrams with what they say, used in both directions: bytes to values, and values to bytes where we send them.

#include "NetCore/PacketBytes.hpp"
#include "NetCore/SACN.hpp"

namespace netcore::vectors {

inline const Bytes cid = {0xEF, 0x07, 0xC8, 0xDD, 0x00, 0x64, 0x44, 0x01, 0xA3, 0xA2, 0x45, 0x9E, 0xF8, 0xE6, 0x14, 0x3E};
inline const char* const cidText = "ef07c8dd00644401a3a2459ef8e6143e";
inline const Bytes slotValues = ramp(512, 1);

inline std::string_view textOf(const Bytes& bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

struct SACNVector {
    const char* name;
    DMXPackets::SACNFields fields;
    SACN::DataPacket packet;
    Bytes bytes;
};

// Preamble, identifier, root layer, framing layer and DMP layer of a data packet with 512 slots; the rest is added.
inline Bytes fullPacket(std::initializer_list<Piece> pieces) {
    return with(packetOf(638, {{0, {0x00, 0x10}},
                               {4, "ASC-E1.17"},
                               {16, {0x72, 0x6E, 0, 0, 0, 4}},
                               {22, textOf(cid)},
                               {38, {0x72, 0x58, 0, 0, 0, 2}},
                               {115, {0x72, 0x0B, 0x02, 0xA1, 0, 0, 0, 1, 0x02, 0x01}}}),
                pieces);
}

inline const std::vector<SACNVector> sacn = {
    {"a full universe",
     {.universe = 63999, .sequence = 154, .data = slotValues, .cid = cid, .sourceName = "Pult Süd", .priority = 100},
     {.cid = cidText,
      .sourceName = "Pult Süd",
      .priority = 100,
      .sequence = 154,
      .universe = 63999,
      .slots = 512,
      .values = slotValues},
     fullPacket({{44,
                  "Pult S\xC3\xBC"
                  "d"},
                 {108, {100, 0, 0, 154, 0, 0xF9, 0xFF}},
                 {126, textOf(slotValues)}})},
    {"the last packet of a source",
     {.universe = 1, .sequence = 255, .data = {}, .cid = cid, .sourceName = "", .priority = 200, .terminated = true},
     {.cid = cidText, .priority = 200, .sequence = 255, .universe = 1, .slots = 512, .terminated = true, .values = Bytes(512)},
     fullPacket({{108, {200, 0, 0, 255, 0x40, 0, 1}}})},
};

// What we never send ourselves: a synchronised preview of three slots with another start code.
inline const SACN::DataPacket preview = {.cid = cidText,
                                         .sourceName = "Visualiser",
                                         .priority = 1,
                                         .syncUniverse = 7962,
                                         .sequence = 9,
                                         .universe = 0x0102,
                                         .startCode = 0xDD,
                                         .slots = 3,
                                         .previewData = true,
                                         .values = {10, 20, 30}};
inline const Bytes previewBytes =
    cut(fullPacket({{44, "Visualiser"}, {108, {1, 0x1F, 0x1A, 9, 0x80, 1, 2}}, {123, {0, 4, 0xDD, 10, 20, 30}}}), 129);

inline Bytes extendedPacket(std::size_t size, std::uint8_t framingVector, std::initializer_list<Piece> pieces) {
    return with(packetOf(size, {{0, {0x00, 0x10}},
                                {4, "ASC-E1.17"},
                                {16, {0x70, 0x00, 0, 0, 0, 8}},
                                {22, textOf(cid)},
                                {38, {0x70, 0x00, 0, 0, 0, framingVector}}}),
                pieces);
}

inline const SACN::Discovery discovery = {
    .cid = cidText, .sourceName = "Pult", .page = 1, .lastPage = 2, .universes = {1, 0x1234, 63999}};
inline const Bytes discoveryBytes =
    extendedPacket(126, 2, {{44, "Pult"}, {112, {0x70, 0x0E, 0, 0, 0, 1, 1, 2}}, {120, {0x00, 0x01, 0x12, 0x34, 0xF9, 0xFF}}});

inline const Bytes syncBytes = extendedPacket(49, 1, {{44, {5, 0x1F, 0x1A, 0, 0}}});

}  // namespace netcore::vectors
