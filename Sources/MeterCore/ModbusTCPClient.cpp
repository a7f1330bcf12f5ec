#include "MeterCore/ModbusTCPClient.hpp"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "MeterCore/ModbusError.hpp"
#include "MeterCore/TCPSocket.hpp"

namespace metercore {

namespace {

// Answers to other requests that one call passes over: far more than are ever late, so that a meter that sends nothing else cannot
// hold its queue for ever.
constexpr int mostPassedOver = 1000;

// The socket's own time limit shows as EAGAIN.
ModbusError failureOf(int error) { return error == EAGAIN ? ModbusError::timeout() : ModbusError::connect(base::errnoText(error)); }

}  // namespace

ModbusTCPClient::ModbusTCPClient(std::string host, std::uint16_t port, std::uint8_t unitID, base::Seconds timeout,
                                 std::string interface)
    : host_(std::move(host)), port_(port), unitID_(unitID), timeout_(timeout), interface_(std::move(interface)) {}

template <class Evaluate>
auto ModbusTCPClient::exchange(std::uint8_t function, std::uint16_t address, std::uint16_t value, Evaluate evaluate) {
    base::Lock lock(mutex_);
    if (!socket_) open();
    try {
        ++transactionID_;
        send(ModbusFrame::encodeRequest(transactionID_, unitID_, function, address, value));
        const auto size = receiveAnswer(transactionID_);
        auto result = evaluate(base::Bytes(received_).subspan(ModbusFrame::headerSize, size - ModbusFrame::headerSize));
        consume(size);
        return result;
    } catch (const ModbusError&) {
        drop();
        throw;
    }
}

bool ModbusTCPClient::isConnected() const {
    base::Lock lock(mutex_);
    return static_cast<bool>(socket_);
}

void ModbusTCPClient::connect() {
    base::Lock lock(mutex_);
    drop();
    open();
}

void ModbusTCPClient::close() {
    base::Lock lock(mutex_);
    drop();
}

std::vector<std::uint16_t> ModbusTCPClient::readRegisters(std::uint8_t function, std::uint16_t address, std::uint16_t count) {
    KESTRELYNE_REQUIRE(function == ModbusFrame::readHoldingRegisters || function == ModbusFrame::readInputRegisters,
                       "registers are read with function 3 or 4");
    KESTRELYNE_REQUIRE(count >= 1 && count <= maximumCount, "a request reads 1 to 125 registers");
    return exchange(function, address, count, [function, count](base::Bytes body) {
        auto answer = ModbusFrame::parseReadAnswer(body, function, count);
        if (const auto* error = std::get_if<ModbusError>(&answer)) throw *error;
        return std::get<std::vector<std::uint16_t>>(std::move(answer));
    });
}

void ModbusTCPClient::writeSingleRegister(std::uint16_t address, std::uint16_t value) {
    exchange(ModbusFrame::writeSingleRegister, address, value, [address, value](base::Bytes body) {
        if (const auto error = ModbusFrame::checkWriteAnswer(body, address, value)) throw *error;
        return true;
    });
}

void ModbusTCPClient::open() { socket_ = TCPSocket::connect(host_, port_, timeout_, interface_); }

void ModbusTCPClient::drop() {
    socket_.reset();
    receivedSize_ = 0;
}

void ModbusTCPClient::send(base::Bytes frame) {
    while (!frame.empty()) {
        const auto sent = ::send(socket_.get(), frame.data(), frame.size(), MSG_NOSIGNAL);
        if (sent >= 0)
            frame = frame.subspan(static_cast<std::size_t>(sent));
        else if (errno != EINTR)
            throw failureOf(errno);
    }
}

std::size_t ModbusTCPClient::receiveAnswer(std::uint16_t transactionID) {
    for (int passedOver = 0; passedOver <= mostPassedOver; ++passedOver) {
        fill(ModbusFrame::headerSize);
        const auto header = *ModbusFrame::parseHeader(base::Bytes(received_).first(receivedSize_));
        if (!ModbusFrame::lengthIsValid(header)) throw ModbusError::invalidResponse("Länge " + std::to_string(header.length));
        const auto size = ModbusFrame::frameSize(header);
        fill(size);
        if (header.transactionID == transactionID) return size;
        // The late answer to a request that has timed out.
        consume(size);
    }
    throw ModbusError::timeout();
}

void ModbusTCPClient::fill(std::size_t size) {
    while (receivedSize_ < size) {
        const auto count = recv(socket_.get(), received_.data() + receivedSize_, received_.size() - receivedSize_, 0);
        if (count > 0)
            receivedSize_ += static_cast<std::size_t>(count);
        else if (count == 0)
            throw ModbusError::closed();
        else if (errno != EINTR)
            throw failureOf(errno);
    }
}

void ModbusTCPClient::consume(std::size_t size) {
    std::copy(received_.begin() + static_cast<std::ptrdiff_t>(size), received_.begin() + static_cast<std::ptrdiff_t>(receivedSize_),
              received_.begin());
    receivedSize_ -= size;
}

}  // namespace metercore
