#pragma once
// Frames and clock messages, written as what stands where, and capture files of them.

#include <filesystem>
#include <fstream>

#include "NetCore/PacketBytes.hpp"

namespace netcore::vectors {

constexpr int linkNull = 0, linkEthernet = 1, linkLoop = 108;  // as libpcap numbers them

inline Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}
inline Piece big16At(std::size_t at, std::size_t value) {
    return {at, {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)}};
}

inline Bytes ethernet(std::uint16_t type, const Bytes& payload) {
    return packetOf(14, {{0, 6, 0xFF}, {6, {0x02, 0, 0, 0, 0, 1}}, big16At(12, type)}) + payload;
}
inline Bytes tagged(std::uint16_t type, const Bytes& payload) {
    return ethernet(0x8100, packetOf(4, {big16At(0, 5), big16At(2, type)}) + payload);
}

/// From 10.0.0.7 at 02:AB:CD:00:12:EF.
inline Bytes arp(std::uint16_t opcode) {
    return packetOf(28, {big16At(0, 1),
                         big16At(2, 0x0800),
                         {4, {6, 4}},
                         big16At(6, opcode),
                         {8, {0x02, 0xAB, 0xCD, 0x00, 0x12, 0xEF}},
                         {14, {10, 0, 0, 7}},
                         {24, {10, 0, 0, 9}}});
}

/// From 10.0.0.7 to 239.1.2.3, with a header of 20 or more bytes.
inline Bytes ipv4(std::uint8_t protocol, const Bytes& inside, std::size_t header = 20) {
    return packetOf(header, {{0, {static_cast<std::uint8_t>(0x40 | header / 4)}},
                             big16At(2, header + inside.size()),
                             {8, {1, protocol}},
                             {12, {10, 0, 0, 7}},
                             {16, {239, 1, 2, 3}}}) +
           inside;
}

/// An IGMP message about 239.1.2.3; with 12 bytes, a query of version 3.
inline Bytes igmp(std::uint8_t type, std::uint8_t maximumResponse, std::size_t length = 8) {
    return packetOf(length, {{0, {type, maximumResponse}}, {4, {239, 1, 2, 3}}});
}
/// A frame with it as routers and hosts send it: the header carries the Router Alert option (RFC 2113).
inline Bytes igmpFrame(const Bytes& message) { return ethernet(0x0800, with(ipv4(2, message, 24), {{20, {0x94, 0x04, 0, 0}}})); }

/// A group record of a version 3 report about 239.9.9.`group`.
inline Bytes record(std::uint8_t type, std::uint8_t group, std::uint16_t sources = 0, std::uint8_t auxiliary = 0) {
    return packetOf(8 + 4u * (sources + auxiliary), {{0, {type, auxiliary}}, big16At(2, sources), {4, {239, 9, 9, group}}});
}
inline Bytes version3Report(std::uint16_t count, const Bytes& records) {
    return packetOf(8, {{0, {0x22}}, big16At(6, count)}) + records;
}

inline Bytes udp(std::uint16_t source, std::uint16_t destination, const Bytes& payload) {
    return packetOf(8, {big16At(0, source), big16At(2, destination), big16At(4, 8 + payload.size())}) + payload;
}

inline const Bytes announceV2 = packetOf(64, {{0, {0x0B, 0x02}},
                                              big16At(2, 64),
                                              {4, {3}},
                                              {20, {0x00, 0x80, 0xF0, 0xFF, 0xFE, 0x12, 0x34, 0x56}},
                                              {47, {127, 6, 0x21, 0x4E, 0x5D, 129}},
                                              {53, {0x00, 0x1D, 0xC1, 0xFF, 0xFE, 0x0A, 0x0B, 0x0C}},
                                              {61, {0x01, 0x02}}});

inline const Bytes syncV1 = packetOf(80, {{0, {0, 1, 0, 1}},
                                          {4, "_ALT1"},
                                          {20, {1, 1}},
                                          {22, {0x00, 0x1D, 0xC1, 0x12, 0x34, 0x56}},
                                          {32, {0}},
                                          {54, {0x00, 0x1D, 0xC1, 0x0A, 0x0B, 0x0C}},
                                          {64, {9, 9, 9, 4}}});

/// A file as libpcap reads it (pcap-savefile(5)), in the byte order of this machine.
inline void writeCapture(const std::filesystem::path& file, const std::vector<Bytes>& frames, std::uint32_t linkType = 1) {
    std::ofstream stream(file, std::ios::binary);
    const auto put = [&stream](std::initializer_list<std::uint32_t> words) {
        for (const auto word : words) stream.write(reinterpret_cast<const char*>(&word), sizeof word);
    };
    put({0xA1B2C3D4, 0x00040002, 0, 0, 65535, linkType});
    for (const auto& frame : frames) {
        const auto length = static_cast<std::uint32_t>(frame.size());
        put({1700000000, 0, length, length});
        stream.write(reinterpret_cast<const char*>(frame.data()), static_cast<std::streamsize>(length));
    }
}

}  // namespace netcore::vectors
