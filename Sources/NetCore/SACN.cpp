#include "NetCore/SACN.hpp"

#include <fmt/format.h>

namespace netcore::SACN {

std::optional<Packet> parse(base::Bytes packet) {
    const auto found = vectors(packet);
    if (!found) return std::nullopt;
    if (found->root == rootData) {
        if (const auto view = viewData(packet)) return view->packet();
    } else if (found->root == rootExtended) {
        if (found->framing == framingSync) return Sync{};
        return parseDiscovery(packet);
    }
    return std::nullopt;
}

std::string multicastGroup(int universe) { return fmt::format("239.255.{}.{}", universe >> 8 & 0xFF, universe & 0xFF); }

}  // namespace netcore::SACN
