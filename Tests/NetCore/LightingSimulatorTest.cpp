#include "NetCore/LightingSimulator.hpp"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include "Base/FileDescriptor.hpp"
#include "Base/SerialQueue.hpp"
#include "NetCore/ArtNet.hpp"
#include "NetCore/NetError.hpp"
#include "NetCore/SACNData.hpp"
#include "Support/WithoutSockets.hpp"

namespace netcore {

namespace {

// A receiver on a free port of the loopback address.
class Receiver {
public:
    Receiver() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        socklen_t length = sizeof address;
        getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
    }
    std::uint16_t port() const { return port_; }
    /// Empty when nothing comes within the time.
    std::vector<std::uint8_t> next(int milliseconds) const {
        pollfd waited{socket_.get(), POLLIN, 0};
        if (poll(&waited, 1, milliseconds) != 1) return {};
        std::vector<std::uint8_t> bytes(2048);
        const auto size = recv(socket_.get(), bytes.data(), bytes.size(), 0);
        bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return bytes;
    }
    void drain() const {
        while (!next(0).empty()) {}
    }

private:
    base::FileDescriptor socket_{::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    std::uint16_t port_ = 0;
};

constexpr int patience = 5000;  // ms

class LightingSimulatorTest : public testing::Test {
protected:
    ~LightingSimulatorTest() override {
        simulator.stop();
        base::SerialQueue::joinEnded();
    }
    Receiver artnet, sacn;
    LightingSimulator simulator{{.artnet = artnet.port(), .sacn = sacn.port()}};
};

}  // namespace

TEST_F(LightingSimulatorTest, SendsTwentyFiveTimesASecond) {
    simulator.setConfig({.artnetUniverses = 0, .sacnUniverses = 1, .faults = {.timecodeStopped = true}});
    const auto begun = std::chrono::steady_clock::now();
    simulator.run();
    constexpr int ticks = 26;
    for (int i = 0; i < ticks; ++i) {
        const auto view = SACN::viewData(sacn.next(patience));
        ASSERT_TRUE(view);
        EXPECT_EQ(view->universe, 60001);
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begun;
    EXPECT_GE(took.count(), 0.99) << "twenty-five pauses of 40 ms";
    EXPECT_LE(took.count(), 3) << "not a fraction of that rate";
    EXPECT_EQ(artnet.next(0), std::vector<std::uint8_t>());
}

TEST_F(LightingSimulatorTest, AChangedNumberOfUniversesCountsFromTheNextTick) {
    simulator.setConfig({.artnetUniverses = 1, .sacnUniverses = 0, .faults = {.timecodeStopped = true}});
    simulator.run();
    ASSERT_FALSE(artnet.next(patience).empty());
    EXPECT_TRUE(sacn.next(0).empty());
    simulator.setConfig({.artnetUniverses = 0, .sacnUniverses = 2});
    ASSERT_TRUE(SACN::viewData(sacn.next(patience)));
    artnet.drain();
    const auto packet = ArtNet::parse(artnet.next(patience));
    ASSERT_TRUE(packet);
    EXPECT_TRUE(std::holds_alternative<ArtNet::TimeCode>(*packet));
}

TEST_F(LightingSimulatorTest, StoppedItSendsNothingMoreAndCanBeginAnew) {
    simulator.run();
    simulator.run();
    EXPECT_TRUE(simulator.isRunning());
    ASSERT_FALSE(artnet.next(patience).empty());
    simulator.stop();
    simulator.stop();
    EXPECT_FALSE(simulator.isRunning());
    base::SerialQueue::joinEnded();
    artnet.drain();
    sacn.drain();
    EXPECT_TRUE(artnet.next(100).empty());
    EXPECT_TRUE(sacn.next(0).empty());
    simulator.run();
    const auto view = SACN::viewData(sacn.next(patience));
    ASSERT_TRUE(view);
    EXPECT_EQ(view->sequence, 1);
}

TEST_F(LightingSimulatorTest, NumbersOfUniversesAreClamped) {
    EXPECT_EQ(simulator.config(), LightingSimulator::Config{});
    simulator.setConfig({.artnetUniverses = -1, .sacnUniverses = 1001, .faults = {.nodeOffline = true}});
    EXPECT_EQ(simulator.config(),
              (LightingSimulator::Config{.artnetUniverses = 0, .sacnUniverses = 1000, .faults = {.nodeOffline = true}}));
}

TEST_F(LightingSimulatorTest, WithoutASocketItTellsWhy) {
    std::string text;
    LightingSimulator unlucky;
    const bool ran = withoutSockets([&] {
        try {
            unlucky.run();
        } catch (const NetError& error) {
            text = error.description();
            EXPECT_EQ(error.kind(), NetError::Case::socket);
        }
    });
    if (!ran) GTEST_SKIP() << "this system filters no system calls";
    EXPECT_FALSE(unlucky.isRunning());
    EXPECT_TRUE(text.starts_with("Netzwerkfehler: Der Licht-Simulator kann nicht senden: ")) << text;
}

}  // namespace netcore
