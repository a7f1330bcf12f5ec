#pragma once
// Sends frames of slot values at a steady pace from a thread of its own, and leaves the wire dark and released.

#include <array>
#include <chrono>
#include <compare>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Base/Task.hpp"
#include "Kestrelyne/Network/LightingStates.hpp"

namespace kestrelyne {

/// Called by the main thread, which never waits for it; the queue "dmx.out" sends. What crosses between the two is copied when it
/// is handed over: no lock is held while sending.
class DMXSender {
public:
    static constexpr const char* sourceName = testSourceName;
    /// About 30 frames a second. A tick that comes late does not move those behind it; one that was missed is left out.
    static constexpr std::chrono::milliseconds tickLength{33};
    /// At the end of a universe: so many black frames, so far apart, and as long again until sACN is told the end.
    static constexpr int blackFrames = 3;
    static constexpr std::chrono::milliseconds blackPause{30};

    struct Target {
        int universe = 0;                               // as it goes on the wire
        std::vector<std::string> destinations{};        // addresses
        std::optional<std::uint32_t> interfaceIndex{};  // the adapter; absent: the routing table decides
        auto operator<=>(const Target&) const = default;
    };
    using Frame = std::array<std::uint8_t, 512>;
    using Frames = std::map<Target, Frame>;

    struct Ports {
        std::uint16_t artnet = 6454, sacn = 5568;
    };

    explicit DMXSender(Ports ports);
    /// As stop(): what was lit is still blacked out and released, by the queue alone.
    ~DMXSender();
    DMXSender(const DMXSender&) = delete;
    DMXSender& operator=(const DMXSender&) = delete;

    /// What is sent from now on, tick by tick; the first call begins the ticks with one at once. Whatever no longer reaches an
    /// address (its target is gone, its universe, its protocol) is blacked out and released there like everything at the end.
    void update(Frames frames, bool sacn, std::uint8_t priority);
    /// Black three times, 30 ms apart, then the end of the sACN streams. Returns at once; idempotent. What update() names again
    /// meanwhile goes on as if nothing had been.
    void stop();
    /// Resumes when nothing is sent any more and everything is released, about 90 ms after stop(); at once when nothing was sent.
    base::Co<> finished() const;
    /// Source port of what is sent; 0 when there is no socket.
    std::uint16_t port() const;

private:
    class Core;
    std::shared_ptr<Core> core_;
};

}  // namespace kestrelyne
