#include "Kestrelyne/Network/LightingStates.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "NetCore/ArtNet.hpp"

namespace kestrelyne {

namespace {

bool isActive(const SourceState& source, base::SteadyTime now) {
    return !source.terminated && now - source.lastSeen.steady < UniverseState::lostAfter;
}

int rank(const SourceState& source) { return source.priority.value_or(0); }

}  // namespace

std::string_view text(NetProtocol protocol) { return protocol == NetProtocol::artnet ? "Art-Net" : "sACN"; }

std::string UniverseKey::label() const {
    return proto == NetProtocol::artnet ? fmt::format("{} ({})", number, netcore::ArtNet::label(number))
                                        : fmt::format("{}", number);
}

std::vector<const SourceState*> UniverseState::activeSources(base::SteadyTime now) const {
    std::vector<const SourceState*> active;
    for (const auto& source : sources)
        if (isActive(source, now)) active.push_back(&source);
    return active;
}

bool UniverseState::hasConflict(base::SteadyTime now) const {
    // Counted without a list: every universe is asked every second.
    int active = 0, highest = 0, sharing = 0;
    for (const auto& source : sources) {
        if (!isActive(source, now)) continue;
        if (++active == 1 || rank(source) > highest) {
            highest = rank(source);
            sharing = 0;
        }
        if (rank(source) == highest) ++sharing;
    }
    return (key.proto == NetProtocol::artnet ? active : sharing) >= 2;
}

std::vector<const SourceState*> UniverseState::rivals(base::SteadyTime now) const {
    if (!hasConflict(now)) return {};
    auto active = activeSources(now);
    if (key.proto == NetProtocol::artnet) return active;
    const auto* const first = *std::ranges::max_element(active, {}, [](const auto* source) { return rank(*source); });
    std::erase_if(active, [highest = rank(*first)](const auto* source) { return rank(*source) != highest; });
    return active;
}

std::string_view statusWord(const UniverseState& universe, base::SteadyTime now) {
    if (universe.hasConflict(now)) return "conflict";
    if (std::ranges::any_of(universe.sources, [now](const SourceState& source) { return isActive(source, now); })) return "ok";
    return universe.sources.empty() ? "none" : "lost";
}

}  // namespace kestrelyne
