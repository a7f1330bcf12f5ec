#pragma once
// Sends Art-Net and sACN to this computer's loopback address as a console and a node would, with the typical faults on demand.

#include <memory>

#include "NetCore/LightingScene.hpp"

namespace netcore {

/// Works on a queue of its own, "lighting.sim", 25 times a second. Owned and called by one thread, which nothing in here holds up.
class LightingSimulator {
public:
    using Faults = LightingFaults;
    using Config = LightingConfig;
    using Ports = LightingPorts;

    explicit LightingSimulator(Ports ports);
    LightingSimulator() : LightingSimulator(Ports{}) {}
    ~LightingSimulator();
    LightingSimulator(const LightingSimulator&) = delete;
    LightingSimulator& operator=(const LightingSimulator&) = delete;

    /// Begins anew with tick and timecode. Does nothing while it runs. Throws NetError::socket when there is no socket to be had.
    void run();
    /// No tick begins after this. May run again afterwards; nothing happens while it does not run.
    void stop();
    bool isRunning() const { return session_ != nullptr; }

    Config config() const;
    /// Counts from the next tick on. Numbers of universes are clamped to 0…1000.
    void setConfig(Config config);

private:
    struct Shared;
    class Session;

    const Ports ports_;
    std::shared_ptr<Shared> shared_;
    std::shared_ptr<Session> session_;  // while it runs
};

}  // namespace netcore
