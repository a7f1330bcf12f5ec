#include "NetCore/NUTClient.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Support/ScriptedPeer.hpp"

namespace netcore {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Connection = ScriptedPeer::Connection;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string textOf(const Octets& bytes) { return {bytes.begin(), bytes.end()}; }

const std::string firstRequest = "LIST UPS\n", secondRequest = "LIST VAR rack\n", farewell = "LOGOUT\n";
const std::string list = "BEGIN LIST UPS\nUPS rack \"\"\nEND LIST UPS\n";

}  // namespace

TEST(NUTClient, AsksAndTakesItsLeave) {
    std::string heard;
    ScriptedPeer server({[&](Connection& connection) {
        heard += textOf(connection.read(firstRequest.size()));
        connection.send(bytesOf(list));
        heard += textOf(connection.read(secondRequest.size()));
        connection.send(bytesOf("BEGIN LIST VAR rack\nVAR rack ups.status \"OL\"\nEND LIST VAR rack\n"));
        heard += textOf(connection.read(farewell.size()));
        connection.waitForClose();
    }});
    const auto devices = readNUTDevices(server.port(), 5s);
    server.join();
    EXPECT_EQ(heard, firstRequest + secondRequest + farewell);
    ASSERT_TRUE(devices);
    ASSERT_EQ(devices->size(), 1U);
    EXPECT_EQ(devices->front().variables.at("ups.status"), "OL");
}

TEST(NUTClient, WhereNobodyListensNobodyIs) {
    std::uint16_t port = 0;
    {
        const ScriptedPeer probe({});
        port = probe.port();
    }
    const auto begun = Clock::now();
    EXPECT_FALSE(readNUTDevices(port, 5s));
    EXPECT_LT(Clock::now() - begun, 2s) << "refused at once";
}

TEST(NUTClient, AServerThatClosesEarlyIsNone) {
    ScriptedPeer server({[](Connection& connection) {
        connection.read(firstRequest.size());
        connection.send(bytesOf(list.substr(0, 20)));
    }});
    EXPECT_FALSE(readNUTDevices(server.port(), 5s));
    server.join();
}

TEST(NUTClient, AServerOfAnotherKindIsNone) {
    ScriptedPeer server({[](Connection& connection) {
        connection.send(bytesOf("HTTP/1.1 400 Bad Request\r\n\r\n"));
        connection.waitForClose();
    }});
    const auto begun = Clock::now();
    EXPECT_FALSE(readNUTDevices(server.port(), 5s));
    EXPECT_LT(Clock::now() - begun, 2s);
    server.join();
}

TEST(NUTClient, ASilentServerIsLeftAfterTheTimeLimit) {
    ScriptedPeer server({[](Connection& connection) { connection.waitForClose(); }});
    const auto begun = Clock::now();
    EXPECT_FALSE(readNUTDevices(server.port(), base::Seconds(0.3)));
    EXPECT_GE(Clock::now() - begun, 290ms);
    EXPECT_LT(Clock::now() - begun, 3s);
    server.join();
}

// Each byte alone comes well within the limit; the whole does not.
TEST(NUTClient, AServerThatDripsIsLeftAfterTheTimeLimit) {
    std::atomic<bool> left = false;
    ScriptedPeer server({[&](Connection& connection) {
        constexpr int mostDrops = 500;
        for (int i = 0; i < mostDrops && !left; ++i) {
            connection.send(bytesOf("B"));
            std::this_thread::sleep_for(20ms);
        }
    }});
    const auto begun = Clock::now();
    EXPECT_FALSE(readNUTDevices(server.port(), base::Seconds(0.3)));
    EXPECT_LT(Clock::now() - begun, 3s);
    left = true;
    server.join();
}

}  // namespace netcore
