#include "NetCore/SACNDiscovery.hpp"

#include "Base/Text.hpp"
#include "NetCore/SACNRoot.hpp"
#include "NetCore/WireFields.hpp"

namespace netcore::SACN {

namespace {

// Universe discovery layer (8)
constexpr std::size_t listVectorAt = 114, pageAt = 118, lastPageAt = 119, universesAt = 120, minimumLength = universesAt;
constexpr std::uint32_t universeList = 1;

}  // namespace

std::optional<Discovery> parseDiscovery(base::Bytes packet) {
    const auto found = vectors(packet);
    if (!found || found->root != rootExtended || found->framing != framingDiscovery || packet.size() < minimumLength ||
        wire::big32(packet, listVectorAt) != universeList)
        return std::nullopt;
    Discovery discovery{.cid = text(cidOf(packet)),
                        .sourceName = base::repairUTF8(wire::beforeZero(packet.subspan(sourceNameAt, sourceNameSize))),
                        .page = packet[pageAt],
                        .lastPage = packet[lastPageAt]};
    base::ByteReader list(packet.subspan(universesAt));
    discovery.universes.reserve(list.remaining() / 2);
    while (const auto universe = list.u16()) discovery.universes.push_back(*universe);
    return discovery;
}

}  // namespace netcore::SACN
