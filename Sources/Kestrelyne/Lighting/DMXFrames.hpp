#pragma once
// What the test light sends, and who stands against it: universes, slot values, addresses, foreign sources. Pure functions; any
// thread.

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "Kestrelyne/Lighting/DMXSender.hpp"
#include "Kestrelyne/Lighting/Patch.hpp"
#include "Kestrelyne/Network/LightingStates.hpp"

namespace kestrelyne::DMXFrames {

/// As a console's universe goes on the wire; absent when the protocol has no such number, or the console (which counts from 1).
std::optional<int> wireUniverse(int consoleUniverse, const PatchSettings& settings, NetProtocol protocol);

/// The lamp has a place on the wire: it is patched, within 512 channels, in a universe that the protocol has.
bool reachable(const PatchFixture& fixture, const PatchSettings& settings, NetProtocol protocol);

/// A share of full, 0…1, as a slot value: rounded, so that one half is 128.
std::uint8_t slotValue(double level);

/// Lights a reachable lamp: the channels of its highlight, of which the level scales the intensities alone; without a highlight
/// its first channel. Where lamps share a channel the last one counts; channels beyond 512 are left out.
void light(DMXSender::Frame& frame, const PatchFixture& fixture, double level);

/// The number behind this one. sACN uses all 256 (ANSI E1.31-2018, 6.7.2); Art-Net leaves 0 out, which would say that nobody counts
/// and switch the receiver's ordering off for a frame (Art-Net 4, "ArtDmx", Sequence).
std::uint8_t nextSequence(std::uint8_t sequence, NetProtocol protocol);

/// Ways of a universe to those who take it.
struct Ways {
    NetProtocol protocol = NetProtocol::artnet;
    std::vector<std::string> nodes{};       // of this universe, for Art-Net
    std::vector<std::uint32_t> adapters{};  // for sACN; none: the routing table decides
    bool loopbackOnly = false;              // sACN goes to this computer instead of to the group
};
/// None when nobody takes it.
std::vector<DMXSender::Target> targets(int wireUniverse, const Ways& ways);

/// Senders that are not ours.
struct Foreign {
    std::vector<std::string> names{};  // "Pult (sACN)", each once
    std::set<int> universes{};         // where they send, as the console counts

    bool operator==(const Foreign&) const = default;
};
/// The sources of a universe now, of whatever state.
using Sources = std::function<std::vector<DMXSourceView>(const UniverseKey& key)>;
/// In both protocols, whichever is sent: sACN by the console's universe, Art-Net by the mapped one.
Foreign foreignSources(const std::set<int>& universes, const PatchSettings& settings, const Sources& sources, base::SteadyTime now);

/// "Universum 1–4, 7": as the console counts.
std::string universeText(const std::set<int>& universes);
/// "Universum 3 (0:0:2), 4 (0:0:3)": with what Art-Net calls them.
std::string artNetUniverseText(const std::set<int>& universes, const PatchSettings& settings);

}  // namespace kestrelyne::DMXFrames
