#pragma once
// What the lighting simulator plays: a console and a node, with the faults a show network knows, as the datagrams of one tick after
// another.

#include <array>
#include <cstdint>
#include <vector>

#include "Base/Clock.hpp"
#include "NetCore/ArtNetHeader.hpp"
#include "NetCore/SACNRoot.hpp"

namespace netcore {

struct LightingFaults {
    bool sacnConflict = false;     // a second source of the same priority on the first sACN universe
    bool artnetDropout = false;    // the first Art-Net universe is silent
    bool nodeOffline = false;      // the node does not reply
    bool timecodeStopped = false;  // no timecode is sent
    bool operator==(const LightingFaults&) const = default;
};

struct LightingConfig {
    int artnetUniverses = 4, sacnUniverses = 4;  // 0…mostUniverses each
    LightingFaults faults{};
    bool operator==(const LightingConfig&) const = default;
};

/// Receiving ports.
struct LightingPorts {
    std::uint16_t artnet = ArtNet::port, sacn = SACN::port;
};

/// One thread at a time; no clock, no socket.
class LightingScene {
public:
    // Far from any console's universes, so that nothing collides.
    static constexpr int firstArtNet = 1792;  // "7:0:0"
    static constexpr int firstSACN = 60001;
    static constexpr int mostUniverses = 1000;  // of each protocol; more count as this
    static constexpr int ticksPerSecond = 25;
    static constexpr const char* nodeIP = "127.0.0.50";

    struct Datagram {
        std::uint16_t port = 0;
        std::vector<std::uint8_t> bytes;
    };

    explicit LightingScene(LightingPorts ports) : ports_(ports) {}
    LightingScene() : LightingScene(LightingPorts{}) {}

    /// The datagrams of the next tick, in the order in which they are to be sent; `time` is what has passed since the start, not
    /// negative.
    std::vector<Datagram> step(const LightingConfig& config, std::chrono::nanoseconds time);

    /// The slot values of a universe at a time: each moves by a sine, with its neighbours as a running wave, every universe apart.
    static std::array<std::uint8_t, 512> frame(int universe, double seconds);

private:
    const LightingPorts ports_;
    std::uint64_t tick_ = 0;
    std::uint8_t sequence_ = 0;
};

}  // namespace netcore
