#pragma once
// An SNMP v2c agent on this computer's loopback address that answers as a three-phase UPS of 10 kVA would (RFC 1628), with the
// typical faults on demand.

#include <cstdint>
#include <memory>

#include "NetCore/UPSAgent.hpp"

namespace netcore {

/// Works on a queue of its own, "ups.sim". Owned and called by one thread, which nothing in here holds up.
class UPSSimulator {
public:
    using Faults = UPSFaults;
    static constexpr std::uint16_t standardPort = 1161;

    /// On 127.0.0.1; port 0 takes a free one (tests).
    explicit UPSSimulator(std::uint16_t port = standardPort);
    ~UPSSimulator();
    UPSSimulator(const UPSSimulator&) = delete;
    UPSSimulator& operator=(const UPSSimulator&) = delete;

    /// Time begins anew. Throws NetError::protocolError "Port 1161 belegt: <reason>". Does nothing while it runs.
    void run();
    /// The port is free when this returns.
    void stop();
    bool isRunning() const { return session_ != nullptr; }
    /// Where it listens while it runs, else where it would.
    std::uint16_t port() const;

    Faults faults() const;
    /// `onBattery` newly set begins the time on battery; cleared it ends it.
    void setFaults(Faults faults);

private:
    struct Shared;
    class Session;

    const std::uint16_t port_;
    std::shared_ptr<Shared> shared_;
    std::shared_ptr<Session> session_;  // while it runs
    std::weak_ptr<Session> ending_;     // the one before, while its queue still works
};

}  // namespace netcore
