#include "NetCore/SACNRoot.hpp"

#include "Base/Text.hpp"
#include "NetCore/WireFields.hpp"

namespace netcore::SACN {

std::string text(const CID& cid) { return base::hex(cid); }

std::optional<Vectors> vectors(base::Bytes packet) {
    if (packet.size() < rootSize || !std::equal(acnID.begin(), acnID.end(), packet.begin() + acnIDAt)) return std::nullopt;
    Vectors vectors{.root = wire::big32(packet, rootVectorAt)};
    if (packet.size() >= framingVectorAt + sizeof *vectors.framing) vectors.framing = wire::big32(packet, framingVectorAt);
    return vectors;
}

}  // namespace netcore::SACN
