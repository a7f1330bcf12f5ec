#include "Kestrelyne/Lighting/DMXFrames.hpp"

#include <algorithm>
#include <cmath>

#include "NetCore/ArtNet.hpp"
#include "NetCore/SACN.hpp"

namespace kestrelyne {

namespace {

constexpr int channelsOfUniverse = std::tuple_size_v<DMXSender::Frame>;
constexpr int lastPortAddress = 0x7FFF;
// ANSI E1.31-2018, 6.2.7
constexpr int firstSACN = 1, lastSACN = 63999;
constexpr int full = 255;
constexpr const char* loopback = "127.0.0.1";

std::uint8_t slot(double value) { return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, double(full)))); }

bool active(const DMXSourceView& source, base::SteadyTime now) {
    return !source.terminated && now - source.lastSeen.steady < UniverseState::lostAfter;
}

/// "3", "1–4"
std::string runText(int first, int last) {
    if (first == last) return std::to_string(first);
    return std::to_string(first) + (last == first + 1 ? ", " : "–") + std::to_string(last);
}

}  // namespace

std::optional<int> DMXFrames::wireUniverse(int consoleUniverse, const PatchSettings& settings, NetProtocol protocol) {
    if (consoleUniverse < 1) return std::nullopt;
    const bool sacn = protocol == NetProtocol::sacn;
    const int number = sacn ? consoleUniverse : settings.artNetUniverse(consoleUniverse);
    if (number < (sacn ? firstSACN : 0) || number > (sacn ? lastSACN : lastPortAddress)) return std::nullopt;
    return number;
}

bool DMXFrames::reachable(const PatchFixture& fixture, const PatchSettings& settings, NetProtocol protocol) {
    return fixture.patched() && fixture.address <= channelsOfUniverse && wireUniverse(fixture.universe, settings, protocol);
}

std::uint8_t DMXFrames::slotValue(double level) { return std::isnan(level) ? 0 : slot(level * full); }

void DMXFrames::light(DMXSender::Frame& frame, const PatchFixture& fixture, double level) {
    const auto set = [&](int offset, std::uint8_t value) {
        if (offset < 0 || offset > channelsOfUniverse - fixture.address) return;
        frame[static_cast<std::size_t>(fixture.address - 1 + offset)] = value;
    };
    if (fixture.highlight.empty()) set(0, slotValue(level));
    for (const auto& channel : fixture.highlight)
        set(channel.offset, channel.isIntensity() ? slotValue(level) : slot(channel.value));
}

std::uint8_t DMXFrames::nextSequence(std::uint8_t sequence, NetProtocol protocol) {
    ++sequence;
    return sequence == 0 && protocol == NetProtocol::artnet ? 1 : sequence;
}

std::vector<DMXSender::Target> DMXFrames::targets(int wireUniverse, const Ways& ways) {
    if (ways.protocol == NetProtocol::artnet) {
        if (ways.nodes.empty()) return {};
        return {{.universe = wireUniverse, .destinations = ways.nodes}};
    }
    if (ways.loopbackOnly) return {{.universe = wireUniverse, .destinations = {loopback}}};
    const auto group = netcore::SACN::multicastGroup(wireUniverse);
    if (ways.adapters.empty()) return {{.universe = wireUniverse, .destinations = {group}}};
    std::vector<DMXSender::Target> all;
    for (const auto adapter : ways.adapters)
        all.push_back({.universe = wireUniverse, .destinations = {group}, .interfaceIndex = adapter});
    return all;
}

DMXFrames::Foreign DMXFrames::foreignSources(const std::set<int>& universes, const PatchSettings& settings, const Sources& sources,
                                             base::SteadyTime now) {
    Foreign foreign;
    for (const int universe : universes) {
        for (const auto protocol : {NetProtocol::artnet, NetProtocol::sacn}) {
            const auto number = wireUniverse(universe, settings, protocol);
            if (!number) continue;
            for (const auto& source : sources({.proto = protocol, .number = *number})) {
                if (source.own || !active(source, now)) continue;
                foreign.universes.insert(universe);
                auto name = (source.name.empty() ? source.ip : source.name) + " (" + std::string(text(protocol)) + ")";
                if (std::ranges::find(foreign.names, name) == foreign.names.end()) foreign.names.push_back(std::move(name));
            }
        }
    }
    return foreign;
}

std::string DMXFrames::universeText(const std::set<int>& universes) {
    std::string text;
    for (auto run = universes.begin(); run != universes.end();) {
        const int first = *run;
        int last = first;
        while (++run != universes.end() && *run == last + 1) ++last;
        text += (text.empty() ? "Universum " : ", ") + runText(first, last);
    }
    return text;
}

std::string DMXFrames::artNetUniverseText(const std::set<int>& universes, const PatchSettings& settings) {
    std::string text;
    for (const int universe : universes)
        text += (text.empty() ? "Universum " : ", ") + std::to_string(universe) + " (" +
                netcore::ArtNet::label(settings.artNetUniverse(universe)) + ")";
    return text;
}

}  // namespace kestrelyne
