#include "NetCore/ArtNetHeader.hpp"

#include <algorithm>

namespace netcore::ArtNet {

namespace {

constexpr std::size_t opCodeAt = 8, protVerAt = 10, minimumLength = 10;
constexpr std::uint16_t protocolVersion = 14;

}  // namespace

std::optional<std::uint16_t> opCode(base::Bytes packet) {
    if (packet.size() < minimumLength || !std::equal(header.begin(), header.end(), packet.begin())) return std::nullopt;
    return wire::little16(packet, opCodeAt);
}

void putHeader(wire::MutableBytes packet, OpCode code) {
    wire::put(packet, header);
    wire::putLittle16(packet, opCodeAt, code);
}

void putHeaderAndVersion(wire::MutableBytes packet, OpCode code) {
    putHeader(packet, code);
    wire::putBig16(packet, protVerAt, protocolVersion);
}

}  // namespace netcore::ArtNet
