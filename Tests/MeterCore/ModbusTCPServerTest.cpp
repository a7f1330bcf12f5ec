#include "MeterCore/ModbusTCPServer.hpp"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <mutex>
#include <optional>
#include <thread>

#include "Base/SerialQueue.hpp"
#include "MeterCore/DemoDevice.hpp"
#include "MeterCore/JanitzaRegisterMap.hpp"
#include "MeterCore/ModbusError.hpp"
#include "MeterCore/ModbusFrame.hpp"
#include "MeterCore/ModbusTCPClient.hpp"
#include "MeterCore/ModbusVectors.hpp"
#include "MeterCore/TCPSocket.hpp"
#include "Support/ScriptedPeer.hpp"

namespace metercore {

using namespace std::chrono_literals;
using Registers = std::vector<std::uint16_t>;

namespace {

/// Every register holds its own address; what is written is kept.
class AddressTransport final : public ModbusTransport {
public:
    Registers readRegisters(std::uint8_t, std::uint16_t address, std::uint16_t count) override {
        if (const auto failure = currentFailure()) throw *failure;
        Registers registers(count);
        for (auto& word : registers) word = address++;
        return registers;
    }
    void writeSingleRegister(std::uint16_t address, std::uint16_t value) override {
        if (const auto failure = currentFailure()) throw *failure;
        const std::lock_guard lock(mutex_);
        written_.emplace_back(address, value);
    }
    void close() override {}

    void failWith(std::optional<ModbusError> failure) {
        const std::lock_guard lock(mutex_);
        failure_ = std::move(failure);
    }
    std::vector<std::pair<std::uint16_t, std::uint16_t>> written() const {
        const std::lock_guard lock(mutex_);
        return written_;
    }

private:
    std::optional<ModbusError> currentFailure() const {
        const std::lock_guard lock(mutex_);
        return failure_;
    }
    mutable std::mutex mutex_;
    std::optional<ModbusError> failure_;
    std::vector<std::pair<std::uint16_t, std::uint16_t>> written_;
};

class ModbusTCPServerTest : public testing::Test {
protected:
    ModbusTCPServerTest() { server.run(); }
    ~ModbusTCPServerTest() override {
        server.stop();
        base::SerialQueue::joinEnded();
    }

    base::FileDescriptor connectRaw() const { return TCPSocket::connect("127.0.0.1", server.port(), 2s); }
    ModbusTCPClient client(base::Seconds timeout = 2s) const { return {"127.0.0.1", server.port(), 1, timeout}; }

    std::shared_ptr<AddressTransport> device = std::make_shared<AddressTransport>();
    ModbusTCPServer server{0, device};
};

void sendAll(const base::FileDescriptor& socket, const Octets& bytes) {
    ASSERT_EQ(::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
}

/// What arrives until `size` bytes are there, the peer closes or falls silent.
Octets receive(const base::FileDescriptor& socket, std::size_t size) { return ScriptedPeer::Connection(socket.get()).read(size); }

/// The body of the answer to this request body.
Octets ask(const base::FileDescriptor& socket, const Octets& body) {
    Octets frame = {0x12, 0x34, 0, 0, 0, static_cast<std::uint8_t>(body.size() + 1), 7};
    frame.insert(frame.end(), body.begin(), body.end());
    sendAll(socket, frame);
    const auto head = receive(socket, ModbusFrame::headerSize);
    const auto header = ModbusFrame::parseHeader(head);
    if (!header) return {};
    EXPECT_EQ(header->transactionID, 0x1234);
    EXPECT_EQ(header->protocolID, 0);
    EXPECT_EQ(header->unitID, 7);
    return receive(socket, header->length - 1u);
}

bool closedByServer(const base::FileDescriptor& socket) { return ScriptedPeer::Connection(socket.get()).waitForClose(); }

/// While it lives, no further descriptor can be had.
class NoDescriptors {
public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &old_);
        const int firstFree = dup(0);
        ::close(firstFree);
        rlimit none = old_;
        none.rlim_cur = static_cast<rlim_t>(firstFree);
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &old_); }

private:
    rlimit old_{};
};

bool connectTo(const base::FileDescriptor& socket, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return ::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

/// What the whole process has used of the processors.
base::Seconds processTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

std::string failureText(ModbusTransport& transport) {
    try {
        transport.readRegisters(3, 100, 2);
        return "";
    } catch (const ModbusError& error) {
        return error.description();
    }
}

}  // namespace

TEST_F(ModbusTCPServerTest, AnswersReadsOfBothKinds) {
    auto reader = client();
    EXPECT_EQ(reader.readRegisters(3, 100, 3), (Registers{100, 101, 102}));
    EXPECT_EQ(reader.readRegisters(4, 7, 1), Registers{7});
    EXPECT_EQ(reader.readRegisters(3, 0, 125).size(), 125u);
    EXPECT_EQ(server.requests(), 3u);
}

TEST_F(ModbusTCPServerTest, HandsAWriteToTheDevice) {
    auto writer = client();
    writer.writeSingleRegister(506, 1);
    EXPECT_EQ(device->written(), (std::vector<std::pair<std::uint16_t, std::uint16_t>>{{506, 1}}));
}

TEST_F(ModbusTCPServerTest, RefusesWhatItDoesNotServe) {
    const auto socket = connectRaw();
    EXPECT_EQ(ask(socket, {3, 0, 0, 0, 126}), (Octets{0x83, 2}));
    EXPECT_EQ(ask(socket, {3, 0, 0, 0, 0}), (Octets{0x83, 2}));
    EXPECT_EQ(ask(socket, {3, 0, 0, 0}), (Octets{0x83, 3}));
    EXPECT_EQ(ask(socket, {16, 0, 0, 0, 1, 2, 0, 0}), (Octets{0x90, 1}));
    EXPECT_EQ(ask(socket, {4, 0, 9, 0, 1}), (Octets{4, 2, 0, 9})) << "the connection goes on";
    EXPECT_EQ(server.requests(), 5u);
}

TEST_F(ModbusTCPServerTest, PassesOnTheDevicesFailure) {
    device->failWith(ModbusError::exception(6));
    auto reader = client();
    EXPECT_EQ(failureText(reader), "Modbus-Exception 6: Gerät beschäftigt");
    EXPECT_THROW(reader.writeSingleRegister(1, 1), ModbusError);
    device->failWith(ModbusError::timeout());
    EXPECT_EQ(failureText(reader), "Modbus-Exception 4: Gerätefehler");
    device->failWith(std::nullopt);
    EXPECT_EQ(failureText(reader), "");
}

TEST(ModbusTCPServer, WhateverADeviceThrowsBecomesAnAnswer) {
    struct Broken final : ModbusTransport {
        std::vector<std::uint16_t> readRegisters(std::uint8_t, std::uint16_t, std::uint16_t) override {
            throw std::runtime_error("broken");
        }
        void writeSingleRegister(std::uint16_t, std::uint16_t) override { throw std::runtime_error("broken"); }
        void close() override {}
    };
    ModbusTCPServer server(0, std::make_shared<Broken>());
    server.run();
    ModbusTCPClient client("127.0.0.1", server.port(), 1, 2s);
    for (int i = 0; i < 2; ++i) {
        try {
            client.readRegisters(3, 0, 1);
            FAIL() << "an answer came";
        } catch (const ModbusError& error) {
            EXPECT_EQ(error.description(), "Modbus-Exception 4: Gerätefehler");
        }
    }
}

TEST_F(ModbusTCPServerTest, SilentItReadsAndCountsButNeverAnswers) {
    server.setSilent(true);
    auto reader = client(0.2s);
    EXPECT_EQ(failureText(reader), "Zeitüberschreitung – Gerät antwortet nicht");
    EXPECT_EQ(server.requests(), 1u);
    server.setSilent(false);
    EXPECT_EQ(failureText(reader), "");
}

TEST_F(ModbusTCPServerTest, AGarbledLengthEndsTheConnection) {
    for (const std::uint8_t length : {0, 1}) {
        const auto socket = connectRaw();
        sendAll(socket, {0, 1, 0, 0, 0, length, 1});
        EXPECT_TRUE(closedByServer(socket)) << int{length};
    }
    const auto socket = connectRaw();
    sendAll(socket, {0, 1, 0, 0, 0xFF, 0xFF, 1});
    EXPECT_TRUE(closedByServer(socket)) << 65535;
    EXPECT_EQ(server.requests(), 0u);
}

TEST_F(ModbusTCPServerTest, PutsRequestsTogetherFromSingleBytes) {
    const auto socket = connectRaw();
    for (const auto byte : vectors::requests.front().bytes) sendAll(socket, {byte});
    EXPECT_EQ(receive(socket, 15), (Octets{0, 1, 0, 0, 0, 9, 1, 3, 6, 0, 0x6B, 0, 0x6C, 0, 0x6D}));
}

TEST_F(ModbusTCPServerTest, AnswersSeveralRequestsOfOnePacketInOrder) {
    const auto socket = connectRaw();
    Octets bytes;
    constexpr int requests = 60;
    for (std::uint16_t i = 0; i < requests; ++i) {
        const auto request = ModbusFrame::encodeRequest(i, 1, 3, i, 1);
        bytes.insert(bytes.end(), request.begin(), request.end());
    }
    sendAll(socket, bytes);
    for (std::uint8_t i = 0; i < requests; ++i) EXPECT_EQ(receive(socket, 11), (Octets{0, i, 0, 0, 0, 5, 1, 3, 2, 0, i}));
}

TEST_F(ModbusTCPServerTest, AClientThatNeverReadsHoldsUpNobody) {
    const auto socket = TCPSocket::connect("127.0.0.1", server.port(), 0.2s);
    const auto request = ModbusFrame::encodeRequest(1, 1, 3, 0, 125);
    // Until its requests pile up as well: the server has stopped reading from it.
    std::size_t sent = 0;
    while (::send(socket.get(), request.data(), request.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(request.size())) ++sent;
    EXPECT_GT(sent, 100u);
    auto reader = client();
    for (int i = 0; i < 20; ++i) EXPECT_EQ(reader.readRegisters(3, 5, 1), Registers{5});

    // When it begins to read, everything that was asked comes.
    const auto answers = receive(socket, 100 * 259);
    ASSERT_EQ(answers.size(), 100u * 259);
    EXPECT_EQ(answers[99 * 259 + 8], 250);
}

TEST_F(ModbusTCPServerTest, TheConnectionThatAskedForNothingLongestGoesFirst) {
    const auto asking = connectRaw();
    ask(asking, {3, 0, 0, 0, 1});
    std::vector<base::FileDescriptor> idle;
    for (std::size_t i = 1; i < ModbusTCPServer::maximumConnections; ++i) idle.push_back(connectRaw());
    ask(idle.back(), {3, 0, 0, 0, 1});  // so that all before it have been let in
    EXPECT_EQ(ask(asking, {3, 0, 0, 0, 1}).size(), 4u) << "the limit is not passed yet";

    const auto further = connectRaw();
    EXPECT_TRUE(closedByServer(idle.front()));
    EXPECT_EQ(ask(further, {3, 0, 0, 0, 1}).size(), 4u);
    EXPECT_EQ(ask(asking, {3, 0, 0, 0, 1}).size(), 4u) << "the oldest, but not idle";
    EXPECT_EQ(ask(idle[1], {3, 0, 0, 0, 1}).size(), 4u);
}

TEST_F(ModbusTCPServerTest, SurvivesRunningOutOfDescriptors) {
    auto before = client();
    EXPECT_EQ(failureText(before), "");
    // The short round comes first: it lets the sanitizers see the code that follows a pause once while they have descriptors
    // themselves.
    for (const auto shortage : {20ms, 500ms}) {
        base::FileDescriptor waiting(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        std::string served;
        base::Seconds cpu{};
        {
            const NoDescriptors none;
            ASSERT_TRUE(connectTo(waiting, server.port()));
            const auto cpuBefore = processTime();
            std::this_thread::sleep_for(shortage);
            cpu = processTime() - cpuBefore;
            served = failureText(before);
        }
        EXPECT_EQ(served, "") << "open connections go on";
        EXPECT_LT(cpu, 0.5 * shortage + 20ms) << "the waiting connection does not keep the queue busy";
        EXPECT_EQ(ask(waiting, {3, 0, 3, 0, 1}), (Octets{3, 2, 0, 3})) << "it is let in when there is room again";
    }
}

TEST_F(ModbusTCPServerTest, ATakenPortIsToldWithItsReason) {
    ModbusTCPServer second(server.port(), device);
    try {
        second.run();
        FAIL() << "two servers on one port";
    } catch (const PortError& error) {
        EXPECT_EQ(error.description(), "Port " + std::to_string(server.port()) + " belegt: Address already in use");
    }
    EXPECT_FALSE(second.isRunning());
}

TEST_F(ModbusTCPServerTest, RunsAgainOnItsPortRightAfterStop) {
    const auto port = server.port();
    ModbusTCPServer again(port, device);
    auto reader = client();
    EXPECT_EQ(failureText(reader), "");
    server.stop();
    EXPECT_FALSE(server.isRunning());
    again.run();
    for (int round = 0; round < 20; ++round) {
        ModbusTCPClient other("127.0.0.1", port, 1, 2s);
        EXPECT_EQ(failureText(other), "");
        again.stop();
        again.run();
        again.run();
    }
    EXPECT_EQ(again.requests(), 20u);
}

TEST_F(ModbusTCPServerTest, StopClosesEveryConnection) {
    const auto socket = connectRaw();
    ask(socket, {3, 0, 0, 0, 1});
    server.stop();
    server.stop();
    EXPECT_TRUE(closedByServer(socket));
}

TEST(ModbusTCPServer, MayBeDestroyedAtAnyMoment) {
    for (int round = 0; round < 50; ++round) {
        auto server = std::make_unique<ModbusTCPServer>(std::uint16_t{0}, std::make_shared<AddressTransport>());
        server->run();
        std::thread caller([port = server->port()] {
            ModbusTCPClient client("127.0.0.1", port, 1, 2s);
            for (int i = 0; i < 20; ++i)
                if (!failureText(client).empty()) return;
        });
        if (round % 2 == 0) std::this_thread::yield();
        server.reset();
        caller.join();
    }
    base::SerialQueue::joinEnded();
}

TEST(ModbusTCPServer, ADeviceThatHangsDoesNotHoldUpItsEnd) {
    class Hanging final : public ModbusTransport {
    public:
        explicit Hanging(std::shared_ptr<std::timed_mutex> gate) : gate_(std::move(gate)) {}
        Registers readRegisters(std::uint8_t, std::uint16_t, std::uint16_t count) override {
            if (gate_->try_lock_for(10s)) gate_->unlock();
            return Registers(count);
        }
        void writeSingleRegister(std::uint16_t, std::uint16_t) override {}
        void close() override {}

    private:
        std::shared_ptr<std::timed_mutex> gate_;
    };
    const auto gate = std::make_shared<std::timed_mutex>();
    gate->lock();
    std::uint16_t port = 0;
    {
        ModbusTCPServer server(0, std::make_shared<Hanging>(gate));
        server.run();
        port = server.port();
        ModbusTCPClient client("127.0.0.1", port, 1, 0.1s);
        EXPECT_EQ(failureText(client), "Zeitüberschreitung – Gerät antwortet nicht");
    }
    // The port is free although the queue still waits for the device.
    ModbusTCPServer next(port, std::make_shared<DemoDevice>());
    EXPECT_NO_THROW(next.run());
    gate->unlock();
    next.stop();
    base::SerialQueue::joinEnded();
}

TEST(ModbusTCPServer, OffersTheSimulatedMeterWhole) {
    const auto meter = std::make_shared<DemoDevice>();
    ModbusTCPServer server(0, meter);
    server.run();
    ModbusTCPClient client("127.0.0.1", server.port(), 1, 2s);
    auto values =
        JanitzaRegisterMap::decode(client.readRegisters(3, JanitzaRegisterMap::startAddress, JanitzaRegisterMap::registerCount));
    EXPECT_EQ(values.size(), 61u);
    EXPECT_NEAR(*values.get(19000), 230, 4);
    meter->setFaults({.phaseLoss = true});
    values =
        JanitzaRegisterMap::decode(client.readRegisters(4, JanitzaRegisterMap::startAddress, JanitzaRegisterMap::registerCount));
    EXPECT_EQ(values.get(19004), 0);
    server.stop();
    base::SerialQueue::joinEnded();
}

}  // namespace metercore
