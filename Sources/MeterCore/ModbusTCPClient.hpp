#pragma once
// Reads and writes the registers of one meter over Modbus TCP (Modbus Messaging on TCP/IP V1.0b).

#include <array>
#include <cstddef>
#include <string>

#include "Base/Clock.hpp"
#include "Base/FileDescriptor.hpp"
#include "Base/Mutex.hpp"
#include "MeterCore/ModbusFrame.hpp"
#include "MeterCore/ModbusTransport.hpp"

namespace metercore {

/// Connects at the first call. Any failure of a call closes the connection, an exception answer of the meter included, and the next
/// call connects again; there is no retry and no pause in here.
/// Any thread may call; one request is under way at a time, and a close waits for it, at most one time limit.
class ModbusTCPClient final : public ModbusTransport {
public:
    /// `timeout` limits the connecting and each single read or write of the socket. An empty interface name binds to no adapter.
    ModbusTCPClient(std::string host, std::uint16_t port, std::uint8_t unitID, base::Seconds timeout, std::string interface = {});

    const std::string& host() const { return host_; }
    std::uint16_t port() const { return port_; }
    std::uint8_t unitID() const { return unitID_; }
    base::Seconds timeout() const { return timeout_; }
    const std::string& interface() const { return interface_; }

    bool isConnected() const;
    /// Drops an open connection and makes a new one. Throws ModbusError.
    void connect();
    void close() override;
    std::vector<std::uint16_t> readRegisters(std::uint8_t function, std::uint16_t address, std::uint16_t count) override;
    void writeSingleRegister(std::uint16_t address, std::uint16_t value) override;

private:
    template <class Evaluate>
    auto exchange(std::uint8_t function, std::uint16_t address, std::uint16_t value, Evaluate evaluate);
    void open() KESTRELYNE_REQUIRES(mutex_);
    void drop() KESTRELYNE_REQUIRES(mutex_);
    void send(base::Bytes frame) KESTRELYNE_REQUIRES(mutex_);
    /// Waits for the answer with this id and tells the size of its frame, which then stands at the beginning of `received_`.
    std::size_t receiveAnswer(std::uint16_t transactionID) KESTRELYNE_REQUIRES(mutex_);
    void fill(std::size_t size) KESTRELYNE_REQUIRES(mutex_);
    void consume(std::size_t size) KESTRELYNE_REQUIRES(mutex_);

    const std::string host_;
    const std::uint16_t port_;
    const std::uint8_t unitID_;
    const base::Seconds timeout_;
    const std::string interface_;

    mutable base::Mutex mutex_;
    base::FileDescriptor socket_ KESTRELYNE_GUARDED_BY(mutex_);
    std::uint16_t transactionID_ KESTRELYNE_GUARDED_BY(mutex_) = 0;
    // What has arrived and is not yet used; room for the longest frame, so that most answers take one system call.
    std::array<std::uint8_t, ModbusFrame::maximumSize> received_ KESTRELYNE_GUARDED_BY(mutex_);
    std::size_t receivedSize_ KESTRELYNE_GUARDED_BY(mutex_) = 0;
};

}  // namespace metercore
