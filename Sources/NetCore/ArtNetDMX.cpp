#include "NetCore/ArtNetDMX.hpp"

#include <algorithm>

#include "NetCore/ArtNetHeader.hpp"
#include "NetCore/WireFields.hpp"

namespace netcore {

namespace {

constexpr std::size_t sequenceAt = 12, subUniAt = 14, netAt = 15, lengthAt = 16, dataAt = 18, minimumLength = dataAt;
constexpr std::size_t maximumSlots = 512;
constexpr int netBits = 0x7F;

}  // namespace

ArtNet::DmxInfo ArtNet::DmxView::info() const {
    return {.universe = universe, .sequence = sequence, .length = length, .data = {data.begin(), data.end()}};
}

std::optional<ArtNet::DmxView> ArtNet::viewDmx(base::Bytes packet) {
    if (opCode(packet) != opDmx || packet.size() < minimumLength) return std::nullopt;
    const std::size_t length = wire::big16(packet, lengthAt);
    return DmxView{.universe = wire::little16(packet, subUniAt),
                   .sequence = packet[sequenceAt],
                   .length = static_cast<int>(length),
                   .data = packet.subspan(dataAt, std::min({length, maximumSlots, packet.size() - dataAt}))};
}

std::array<std::uint8_t, 530> DMXPackets::artDmx(int universe, std::uint8_t sequence, base::Bytes data) {
    std::array<std::uint8_t, 530> packet{};
    static_assert(sizeof packet == dataAt + maximumSlots);
    const wire::MutableBytes bytes(packet);
    ArtNet::putHeaderAndVersion(bytes, ArtNet::opDmx);
    packet[sequenceAt] = sequence;
    packet[subUniAt] = static_cast<std::uint8_t>(universe);
    packet[netAt] = static_cast<std::uint8_t>(universe >> 8 & netBits);
    wire::putBig16(bytes, lengthAt, maximumSlots);
    wire::put(bytes.subspan(dataAt), data);
    return packet;
}

}  // namespace netcore
