#pragma once
// Offers any ModbusTransport as a Modbus TCP server on this computer's loopback address.

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "MeterCore/ModbusTransport.hpp"

namespace metercore {

/// "Port <n> belegt: <reason>".
class PortError : public std::runtime_error {
public:
    PortError(std::uint16_t port, const std::string& reason)
        : std::runtime_error("Port " + std::to_string(port) + " belegt: " + reason) {}
    std::string description() const { return what(); }
};

/// Works on a queue of its own, "modbus.sim", where the device's calls run too. Owned and called by one thread, which nothing in
/// here holds up. At most `maximumConnections` stay open: a further one ends the connection that has asked for nothing longest.
class ModbusTCPServer {
public:
    static constexpr std::size_t maximumConnections = 64;

    /// Port 0 takes any free one.
    ModbusTCPServer(std::uint16_t port, std::shared_ptr<ModbusTransport> device);
    ~ModbusTCPServer();
    ModbusTCPServer(const ModbusTCPServer&) = delete;
    ModbusTCPServer& operator=(const ModbusTCPServer&) = delete;

    /// Listens on 127.0.0.1. Does nothing while it runs. Throws PortError when the port cannot be had.
    void run();
    /// Stops listening at once, so that `run` can follow; connections are closed on the queue. May run again afterwards.
    void stop();
    bool isRunning() const { return session_ != nullptr; }

    /// The port it listens on; as given while it does not run.
    std::uint16_t port() const;

    /// Accept and read, but never answer: the fault of a meter that hangs. Any thread.
    void setSilent(bool silent);
    bool silent() const;
    /// Requests served since construction, silent ones included. Any thread.
    std::uint64_t requests() const;

private:
    struct Shared;
    class Session;

    const std::uint16_t port_;
    std::shared_ptr<Shared> shared_;
    std::shared_ptr<Session> session_;  // while it runs
};

}  // namespace metercore
