#pragma once
// Datagrams of a large show, each in memory of its own, so that not one warm packet is read over and over.

#include <cstdint>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "NetCore/ArtNetDMX.hpp"
#include "NetCore/SACNData.hpp"
#include "NetCore/UDPPacket.hpp"

namespace rig {

using Packets = std::vector<std::vector<std::uint8_t>>;

inline const std::vector<std::uint8_t> slotValues(512, 0x7F);

/// Universes 1 to `count`.
inline Packets artNet(int count) {
    Packets packets;
    for (int universe = 1; universe <= count; ++universe) {
        const auto packet = netcore::DMXPackets::artDmx(universe, 1, slotValues);
        packets.emplace_back(packet.begin(), packet.end());
    }
    return packets;
}

/// The same from one sACN source, whose CID is that byte.
inline Packets sacn(int count, std::uint8_t cid = 1, std::uint8_t priority = 100) {
    const std::vector<std::uint8_t> cidBytes(16, cid);
    const auto name = "Pult Saal " + std::to_string(cid);
    Packets packets;
    for (int universe = 1; universe <= count; ++universe) {
        const auto packet = netcore::DMXPackets::sacn(
            {.universe = universe, .sequence = 1, .data = slotValues, .cid = cidBytes, .sourceName = name, .priority = priority});
        packets.emplace_back(packet.begin(), packet.end());
    }
    return packets;
}

inline netcore::UDPView view(const std::vector<std::uint8_t>& packet, std::uint32_t source, base::Moment time) {
    return {.data = packet, .source = source, .sourcePort = 6454, .interfaceIndex = 2, .time = time, .destination = 0};
}

}  // namespace rig
