#include "NetCore/UPSSimulator.hpp"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <thread>

#include "Base/FileDescriptor.hpp"
#include "Base/SerialQueue.hpp"
#include "Base/Text.hpp"
#include "NetCore/NetError.hpp"
#include "NetCore/SNMPClient.hpp"
#include "NetCore/SocketAddress.hpp"
#include "NetCore/UPSReader.hpp"
#include "Support/WithoutSockets.hpp"

namespace netcore {

namespace {

class UPSSimulatorTest : public testing::Test {
protected:
    ~UPSSimulatorTest() override {
        simulator.stop();
        base::SerialQueue::joinEnded();
    }
    SNMPClient client(double timeout = 5, int retries = 0) const {
        return SNMPClient("127.0.0.1", "public", timeout, retries, simulator.port());
    }
    UPSSimulator simulator{0};
};

std::string failureOf(UPSSimulator& simulator) {
    try {
        simulator.run();
    } catch (const NetError& error) {
        return error.description();
    }
    return "";
}

base::FileDescriptor boundTo(std::uint16_t port) {
    base::FileDescriptor descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const auto address = socketAddress(INADDR_LOOPBACK, port);
    EXPECT_EQ(bind(descriptor.get(), generic(address), sizeof address), 0);
    return descriptor;
}

}  // namespace

TEST_F(UPSSimulatorTest, OurOwnReaderReadsItWhole) {
    simulator.run();
    EXPECT_TRUE(simulator.isRunning());
    const auto status = UPSReader::read(client());
    EXPECT_EQ(status.protocolName, "UPS-MIB (RFC 1628)");
    EXPECT_EQ(status.manufacturer, "Simulator");
    EXPECT_EQ(status.model, "SIM USV 10 kVA");
    EXPECT_EQ(status.source, UPSStatus::Source::online);
    EXPECT_EQ(status.battery, UPSStatus::Battery::normal);
    EXPECT_EQ(status.charge, 100);
    EXPECT_EQ(status.runtimeMinutes, 42);
    EXPECT_EQ(status.secondsOnBattery, 0);
    EXPECT_NEAR(status.batteryVoltage.value_or(0), 216, 10);
    EXPECT_EQ(status.batteryTemperature, 27);
    ASSERT_EQ(status.inputVoltage.size(), 3U);
    EXPECT_NEAR(status.inputVoltage[1], 230, 2);
    EXPECT_NEAR(status.inputFrequency.value_or(0), 50, 0.2);
    ASSERT_EQ(status.outputVoltage.size(), 3U);
    EXPECT_NEAR(status.outputVoltage[2], 230, 2);
    EXPECT_EQ(status.outputCurrent.size(), 3U);
    EXPECT_EQ(status.outputPowerW.size(), 3U);
    ASSERT_EQ(status.load.size(), 3U);
    EXPECT_NEAR(status.maxLoad().value_or(0), 44, 6);
    EXPECT_EQ(status.outputFrequency, 50);
    EXPECT_EQ(status.alarmCount, 0);
}

TEST_F(UPSSimulatorTest, FaultsAreSeenAtTheNextReading) {
    simulator.run();
    const UPSFaults faults{.onBattery = true, .lowBattery = true, .overload = true};
    simulator.setFaults(faults);
    EXPECT_EQ(simulator.faults(), faults);
    const auto status = UPSReader::read(client());
    EXPECT_EQ(status.source, UPSStatus::Source::battery);
    EXPECT_EQ(status.battery, UPSStatus::Battery::low);
    EXPECT_EQ(status.maxLoad(), 104);
    EXPECT_EQ(status.alarmCount, 3);
    EXPECT_EQ(status.inputVoltage, (std::vector<double>{0, 0, 0}));
    simulator.setFaults({});
    EXPECT_EQ(UPSReader::read(client()).source, UPSStatus::Source::online);
}

TEST_F(UPSSimulatorTest, SecondsOnBatteryGrowAndEndAtOnce) {
    simulator.run();
    const std::string oid = "1.3.6.1.2.1.33.1.2.2.0";
    const auto seconds = [&] { return client().get({oid}).at(oid).number().value_or(-1); };
    simulator.setFaults({.onBattery = true});
    EXPECT_EQ(seconds(), 0);
    // Another fault does not begin the time anew.
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    simulator.setFaults({.onBattery = true, .overload = true});
    EXPECT_GE(seconds(), 1);
    simulator.setFaults({.onBattery = false, .overload = true});
    EXPECT_EQ(seconds(), 0);
    simulator.setFaults({.onBattery = true});
    EXPECT_EQ(seconds(), 0) << "from now on, not from the first time";
}

TEST_F(UPSSimulatorTest, OfflineItIsUnreachable) {
    simulator.run();
    simulator.setFaults({.offline = true});
    try {
        UPSReader::read(client(0.1));
        FAIL() << "it was read";
    } catch (const NetError& error) {
        EXPECT_EQ(error.kind(), NetError::Case::timeout);
    }
    simulator.setFaults({});
    EXPECT_NO_THROW(UPSReader::read(client()));
}

TEST_F(UPSSimulatorTest, GarbageGetsNoAnswerAndTheNextRequestOne) {
    simulator.run();
    const auto sender = boundTo(0);
    const auto to = socketAddress(INADDR_LOOPBACK, simulator.port());
    for (const std::vector<std::uint8_t>& garbage :
         {std::vector<std::uint8_t>{}, {0x30}, {0x30, 0x84, 0xFF, 0xFF, 0xFF, 0xFF}, std::vector<std::uint8_t>(60000, 0x30)})
        ASSERT_GE(sendto(sender.get(), garbage.data(), garbage.size(), 0, generic(to), sizeof to), 0);
    EXPECT_NO_THROW(UPSReader::read(client()));
    pollfd waited{sender.get(), POLLIN, 0};
    EXPECT_EQ(poll(&waited, 1, 0), 0);
}

TEST_F(UPSSimulatorTest, ATakenPortIsTold) {
    simulator.run();
    UPSSimulator second(simulator.port());
    EXPECT_EQ(failureOf(second), "Port " + std::to_string(simulator.port()) + " belegt: " + base::errnoText(EADDRINUSE));
    EXPECT_FALSE(second.isRunning());
    simulator.stop();
    base::SerialQueue::joinEnded();
    EXPECT_EQ(failureOf(second), "") << "and tried again when it is free";
    second.stop();
}

TEST_F(UPSSimulatorTest, WithoutASocketItSaysSo) {
    std::string failure;
    if (!withoutSockets([&] { failure = failureOf(simulator); })) GTEST_SKIP() << "the system has no such filter";
    EXPECT_EQ(failure, "Port 0 belegt: " + base::errnoText(EMFILE));
}

TEST_F(UPSSimulatorTest, RunsAgainOnItsPortRightAfterStop) {
    simulator.run();
    const auto port = simulator.port();
    simulator.stop();
    base::SerialQueue::joinEnded();
    ASSERT_NO_THROW(boundTo(port)) << "nothing is left of it";
    UPSSimulator fixed(port);
    const SNMPClient reader("127.0.0.1", "public", 5, 0, port);
    for (int round = 0; round < 50; ++round) {
        ASSERT_EQ(failureOf(fixed), "") << round;
        EXPECT_EQ(UPSReader::read(reader).source, UPSStatus::Source::online) << round;
        fixed.stop();
    }
}

TEST_F(UPSSimulatorTest, RunningTwiceIsRunningOnce) {
    simulator.run();
    const auto port = simulator.port();
    simulator.run();
    EXPECT_EQ(simulator.port(), port);
    simulator.stop();
    simulator.stop();
    EXPECT_FALSE(simulator.isRunning());
}

TEST_F(UPSSimulatorTest, FaultsSetBeforeTheStartCount) {
    simulator.setFaults({.bypass = true});
    simulator.run();
    EXPECT_EQ(UPSReader::read(client()).source, UPSStatus::Source::bypass);
}

TEST(UPSSimulatorPort, IsThatOfTheSimulatedDevice) { EXPECT_EQ(UPSSimulator().port(), 1161); }

}  // namespace netcore
