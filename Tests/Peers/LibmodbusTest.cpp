// Our client against the server of libmodbus, in this process on a thread of its own: functions 3, 4 and 6, exceptions,
// identifiers.

#include <gtest/gtest.h>
#include <modbus/modbus.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "MeterCore/ModbusError.hpp"
#include "MeterCore/ModbusTCPClient.hpp"

namespace {

constexpr int registerCount = 200;

// Serves one client after the other until it is destroyed.
class LibmodbusServer {
public:
    LibmodbusServer() {
        context_ = modbus_new_tcp("127.0.0.1", 0);
        modbus_set_slave(context_, 1);
        mapping_ = modbus_mapping_new(0, 0, registerCount, registerCount);
        for (int i = 0; i < registerCount; ++i) {
            mapping_->tab_registers[i] = static_cast<std::uint16_t>(1000 + i);
            mapping_->tab_input_registers[i] = static_cast<std::uint16_t>(60000 + i);
        }
        listener_ = modbus_tcp_listen(context_, 4);
        sockaddr_in address{};
        socklen_t length = sizeof address;
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~LibmodbusServer() {
        stop_ = true;
        ::shutdown(listener_, SHUT_RDWR);
        thread_.join();
        ::close(listener_);
        modbus_mapping_free(mapping_);
        modbus_free(context_);
    }
    std::uint16_t port() const { return port_; }

private:
    void serve() {
        std::uint8_t query[MODBUS_TCP_MAX_ADU_LENGTH];
        while (!stop_) {
            int listener = listener_;
            if (modbus_tcp_accept(context_, &listener) < 0) continue;
            for (;;) {
                const int length = modbus_receive(context_, query);
                if (length < 0) break;
                if (length > 0) modbus_reply(context_, query, length, mapping_);
            }
            modbus_close(context_);
        }
    }
    modbus_t* context_;
    modbus_mapping_t* mapping_;
    int listener_;
    std::uint16_t port_;
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

class LibmodbusTest : public testing::Test {
protected:
    LibmodbusServer server;
    metercore::ModbusTCPClient client{"127.0.0.1", server.port(), 1, base::Seconds(2)};
};

}  // namespace

TEST_F(LibmodbusTest, ReadsHoldingRegisters) {
    const auto registers = client.readRegisters(3, 10, 122);
    ASSERT_EQ(registers.size(), 122u);
    for (std::size_t i = 0; i < registers.size(); ++i) EXPECT_EQ(registers[i], 1010 + i);
}

TEST_F(LibmodbusTest, ReadsInputRegisters) {
    EXPECT_EQ(client.readRegisters(4, 0, 3), (std::vector<std::uint16_t>{60000, 60001, 60002}));
    EXPECT_EQ(client.readRegisters(4, 75, 125).back(), 60199);
}

TEST_F(LibmodbusTest, WritesOneRegister) {
    client.writeSingleRegister(5, 0xBEEF);
    EXPECT_EQ(client.readRegisters(3, 5, 1).front(), 0xBEEF);
}

TEST_F(LibmodbusTest, AnAddressItLacksIsExceptionTwoAndTheNextCallConnectsAgain) {
    try {
        client.readRegisters(3, 150, 100);
        FAIL();
    } catch (const metercore::ModbusError& error) {
        EXPECT_TRUE(error.isException());
        EXPECT_EQ(error.description(), "Modbus-Exception 2: Ungültige Registeradresse");
    }
    EXPECT_FALSE(client.isConnected());
    EXPECT_EQ(client.readRegisters(3, 0, 1).front(), 1000);
    EXPECT_THROW(client.writeSingleRegister(5000, 1), metercore::ModbusError);
}

TEST_F(LibmodbusTest, ManyReadsKeepTheirOrder) {
    for (std::uint16_t i = 0; i < 2000; ++i) ASSERT_EQ(client.readRegisters(3, i % 100, 1).front(), 1000 + i % 100);
}
