#include "NetCore/ArtNetRDM.hpp"

#include "NetCore/ArtNetHeader.hpp"
#include "NetCore/WireFields.hpp"

namespace netcore::ArtNet {

namespace {

// The same in all three packets.
constexpr std::size_t netAt = 21, commandAt = 22;
constexpr int netBits = 0x7F;

// ArtTodRequest
constexpr std::size_t addCountAt = 23, firstAddressAt = 24;
constexpr std::uint8_t todFull = 0;

// ArtTodData
constexpr std::size_t todAddressAt = 23, uidCountAt = 27, uidsAt = 28, todMinimumLength = uidsAt;

// ArtRdm
constexpr std::size_t rdmVerAt = 12, rdmAddressAt = 23, rdmAt = 24, rdmMinimumLength = rdmAt + 1;
constexpr std::uint8_t rdmVersion = 1, process = 0;

std::uint8_t netOf(int universe) { return static_cast<std::uint8_t>(universe >> 8 & netBits); }
std::uint8_t addressOf(int universe) { return static_cast<std::uint8_t>(universe); }

}  // namespace

std::optional<TodData> parseTodData(base::Bytes packet) {
    if (opCode(packet) != opTodData || packet.size() < todMinimumLength) return std::nullopt;
    TodData tod{.universe = packet[netAt] << 8 | packet[todAddressAt]};
    base::ByteReader uids(packet.subspan(uidsAt));
    for (int i = 0; i < packet[uidCountAt]; ++i) {
        const auto manufacturer = uids.u16();
        const auto device = uids.u32();
        if (!manufacturer || !device) break;
        tod.uids.push_back({*manufacturer, *device});
    }
    return tod;
}

std::optional<RdmData> parseRdm(base::Bytes packet) {
    if (opCode(packet) != opRdm || packet.size() < rdmMinimumLength) return std::nullopt;
    const auto frame = packet.subspan(rdmAt);
    return RdmData{.universe = packet[netAt] << 8 | packet[rdmAddressAt], .packet = {frame.begin(), frame.end()}};
}

std::array<std::uint8_t, 56> todRequest(int universe) {
    std::array<std::uint8_t, 56> packet{};
    putHeaderAndVersion(packet, opTodRequest);
    packet[netAt] = netOf(universe);
    packet[commandAt] = todFull;
    packet[addCountAt] = 1;
    packet[firstAddressAt] = addressOf(universe);
    return packet;
}

std::vector<std::uint8_t> rdmPacket(int universe, base::Bytes rdm) {
    std::vector<std::uint8_t> packet(rdmAt + rdm.size());
    putHeaderAndVersion(packet, opRdm);
    packet[rdmVerAt] = rdmVersion;
    packet[netAt] = netOf(universe);
    packet[commandAt] = process;
    packet[rdmAddressAt] = addressOf(universe);
    wire::put(wire::MutableBytes(packet).subspan(rdmAt), rdm);
    return packet;
}

}  // namespace netcore::ArtNet
