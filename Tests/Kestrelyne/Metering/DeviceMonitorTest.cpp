#include "Kestrelyne/Metering/DeviceMonitor.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <system_error>

#include "Base/File.hpp"
#include "FakeMeter.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

using namespace kestrelyne;
using metercore::ModbusError;
using metercore::ValueSet;

namespace {

class DeviceMonitorTest : public testing::Test {
protected:
    using Kind = MonitorStatus::Kind;

    DeviceMonitorTest() {
        services.makeTransport = [this](const Device&) {
            ++transports;
            return meter;
        };
    }
    // Runs one cycle that is due now to its end, good or not.
    [[nodiscard]] bool finishCycle() {
        const int done = *monitor.okCount() + *monitor.errorCount();
        return loop.runUntil([&] { return *monitor.okCount() + *monitor.errorCount() > done; });
    }
    [[nodiscard]] bool nextCycle(double seconds = 1) {
        const int done = *monitor.okCount() + *monitor.errorCount();
        loop.advance(base::Seconds(seconds));
        return loop.runUntil([&] { return *monitor.okCount() + *monitor.errorCount() > done; });
    }
    base::Moment now() { return loop.clock().moment(); }

    TestLoop loop;
    base::StoreWriter writer;
    SettingsStore settings;
    MeteringServices services{settings, writer, loop.clock()};
    std::shared_ptr<FakeMeter> meter = std::make_shared<FakeMeter>();
    int transports = 0;
    DeviceMonitor monitor{Device{}, services};
};

}  // namespace

TEST_F(DeviceMonitorTest, BeginsAtRestAndComesOnlineWithTheFirstReading) {
    EXPECT_EQ(monitor.status()->kind, Kind::idle);
    EXPECT_FALSE(monitor.isRunning());
    monitor.start();
    EXPECT_EQ(monitor.status()->kind, Kind::connecting);
    EXPECT_TRUE(monitor.isRunning());
    ASSERT_TRUE(finishCycle());
    EXPECT_EQ(monitor.status()->kind, Kind::online);
    EXPECT_EQ(monitor.values()->get(19000), 230);
    EXPECT_EQ(*monitor.lastUpdate(), now().wall);
    EXPECT_EQ(*monitor.minMaxSince(), now().wall);
    EXPECT_EQ(monitor.history()->size(19000), 1u);
    EXPECT_EQ(*monitor.okCount(), 1);
    monitor.start();
    EXPECT_EQ(transports, 1);
}

TEST_F(DeviceMonitorTest, PollsOnceAnInterval) {
    monitor.start();
    ASSERT_TRUE(finishCycle());
    loop.advance(base::Seconds(0.99));
    loop.runTurns();
    EXPECT_EQ(meter->reads(19000), 1);
    ASSERT_TRUE(nextCycle(0.02));
    EXPECT_EQ(meter->reads(19000), 2);
}

TEST_F(DeviceMonitorTest, AnIntervalBelowATenthOfASecondIsRaised) {
    auto device = *monitor.device();
    device.pollInterval = 0.05;
    monitor.update(device);
    monitor.start();
    ASSERT_TRUE(finishCycle());
    loop.advance(base::Seconds(0.09));
    loop.runTurns();
    EXPECT_EQ(meter->reads(19000), 1);
    ASSERT_TRUE(nextCycle(0.02));
}

TEST_F(DeviceMonitorTest, ASlowReadingIsFollowedByAShortPause) {
    meter->onRead = [this](std::uint16_t address) {
        if (address == 19000) loop.clock().advance(base::Seconds(3));
    };
    monitor.start();
    ASSERT_TRUE(finishCycle());
    EXPECT_EQ(*monitor.latency(), 3);
    loop.advance(base::Seconds(0.04));
    loop.runTurns();
    EXPECT_EQ(meter->reads(19000), 1);
    ASSERT_TRUE(nextCycle(0.02));
}

TEST_F(DeviceMonitorTest, AFailureIsCountedShownAndTriedAgain) {
    monitor.start();
    ASSERT_TRUE(finishCycle());
    meter->fail(19000, ModbusError::timeout());
    ASSERT_TRUE(nextCycle());
    EXPECT_EQ(*monitor.status(), (MonitorStatus{Kind::error, "Zeitüberschreitung – Gerät antwortet nicht"}));
    EXPECT_EQ(*monitor.errorCount(), 1);
    EXPECT_EQ(monitor.values()->get(19000), 230);
    EXPECT_EQ(*monitor.lastUpdate(), now().wall - std::chrono::seconds(1));
    meter->heal(19000);
    ASSERT_TRUE(nextCycle());
    EXPECT_EQ(monitor.status()->kind, Kind::online);
}

TEST_F(DeviceMonitorTest, FailuresReachTheAlarms) {
    monitor.alarms().setCommLoss(true, 2);
    meter->fail(19000, ModbusError::closed());
    monitor.start();
    ASSERT_TRUE(finishCycle());
    ASSERT_TRUE(nextCycle());
    EXPECT_FALSE(*monitor.alarms().commLost());
    ASSERT_TRUE(nextCycle());
    EXPECT_TRUE(*monitor.alarms().commLost());
}

TEST_F(DeviceMonitorTest, ARefusedBlockIsNotAskedAgainUntilTheRestart) {
    meter->fail(10873, ModbusError::exception(2));
    monitor.start();
    ASSERT_TRUE(finishCycle());
    ASSERT_TRUE(nextCycle());
    ASSERT_TRUE(nextCycle());
    EXPECT_EQ(meter->reads(10873), 1);
    monitor.stop();
    monitor.start();
    ASSERT_TRUE(finishCycle());
    EXPECT_EQ(meter->reads(10873), 2);
}

TEST_F(DeviceMonitorTest, ATimeoutInAnExtendedBlockKeepsTheReadingAndIsTriedEachCycle) {
    meter->fail(10873, ModbusError::timeout());
    monitor.start();
    ASSERT_TRUE(finishCycle());
    ASSERT_TRUE(nextCycle());
    EXPECT_EQ(*monitor.okCount(), 2);
    EXPECT_EQ(*monitor.errorCount(), 0);
    EXPECT_EQ(monitor.status()->kind, Kind::online);
    EXPECT_EQ(meter->reads(10873), 2);
}

TEST_F(DeviceMonitorTest, StopDuringAReadAppliesNothingAfterwards) {
    meter->hold();
    monitor.start();
    loop.runTurns();
    meter->waitForRead();
    monitor.stop();
    EXPECT_EQ(monitor.status()->kind, Kind::idle);
    EXPECT_FALSE(monitor.isRunning());
    meter->release();
    ASSERT_TRUE(loop.runUntilSeen([&] { return meter->closed() == 1; }));
    loop.advance(base::Seconds(5));
    loop.runTurns();
    EXPECT_EQ(*monitor.okCount(), 0);
    EXPECT_TRUE(monitor.values()->empty());
    EXPECT_EQ(monitor.status()->kind, Kind::idle);
    EXPECT_EQ(meter->reads(800), 0);
}

TEST_F(DeviceMonitorTest, StoppingKeepsTheValuesAndEndsTheAlarms) {
    AlarmRule rule;
    rule.address = 19000;
    rule.threshold = 100;
    rule.delay = 0;
    monitor.alarms().upsert(rule);
    monitor.start();
    ASSERT_TRUE(finishCycle());
    EXPECT_EQ(monitor.alarms().activeCount(), 1);
    monitor.stop();
    EXPECT_EQ(monitor.alarms().activeCount(), 0);
    EXPECT_EQ(monitor.values()->get(19000), 230);
    EXPECT_EQ(monitor.history()->size(19000), 1u);
}

TEST_F(DeviceMonitorTest, AnUpdateRestartsARunningMonitorAndLeavesAStoppedOneStopped) {
    auto device = *monitor.device();
    device.name = "Neu";
    monitor.update(device);
    EXPECT_FALSE(monitor.isRunning());
    EXPECT_EQ(monitor.alarms().deviceName, "Neu");
    EXPECT_EQ(monitor.device()->name, "Neu");
    monitor.start();
    ASSERT_TRUE(finishCycle());
    monitor.update(device);
    EXPECT_TRUE(monitor.isRunning());
    EXPECT_EQ(transports, 2);
    ASSERT_TRUE(finishCycle());
}

TEST_F(DeviceMonitorTest, AppliesInOneOrder) {
    std::vector<std::string> order;
    struct SubMeters final : SubMeterUpdates {
        explicit SubMeters(std::vector<std::string>& told) : order(told) {}
        void update(const ValueSet& values) override { order.push_back("sub-meters " + std::to_string(values.size())); }
        std::vector<std::string>& order;
    };
    services.seams.makeSubMeters = [&order](const base::UUID&) { return std::make_unique<SubMeters>(order); };
    DeviceMonitor watched(Device{}, services);
    const auto note = [&order](const char* what) { return [&order, what] { order.emplace_back(what); }; };
    const auto a = watched.values().observe(note("values"));
    const auto b = watched.extremes().observe(note("extremes"));
    const auto c = watched.history().observe(note("history"));
    const auto d = watched.lastUpdate().observe(note("lastUpdate"));
    const auto e = watched.latency().observe(note("latency"));
    const auto f = watched.okCount().observe(note("okCount"));
    const auto g = watched.status().observe(note("status"));
    const auto h = watched.alarms().statesChanged().listen(note("alarms"));
    const auto i = watched.minMaxSince().observe(note("minMaxSince"));
    watched.applyValues({{19000, 1.0}}, now(), 0.1);
    EXPECT_EQ(order, (std::vector<std::string>{"values", "extremes", "minMaxSince", "history", "lastUpdate", "latency", "okCount",
                                               "status", "alarms", "sub-meters 1"}));
    order.clear();
    watched.applyValues({{19000, 1.0}}, now(), 0.1);
    EXPECT_EQ(std::count(order.begin(), order.end(), "minMaxSince"), 0);
    EXPECT_NE(watched.subMeters(), nullptr);
}

TEST_F(DeviceMonitorTest, NaNStandsInTheValuesAndNowhereElse) {
    monitor.applyValues({{19000, 5.0}}, now(), 0);
    monitor.applyValues({{19000, NAN}}, now(), 0);
    EXPECT_TRUE(std::isnan(*monitor.values()->get(19000)));
    EXPECT_EQ(monitor.extremes()->min(19000), 5);
    EXPECT_EQ(monitor.extremes()->max(19000), 5);
    EXPECT_EQ(monitor.history()->size(19000), 1u);
}

TEST_F(DeviceMonitorTest, ResettingTheExtremesBeginsAtTheCurrentValues) {
    monitor.applyValues({{1, 5.0}, {2, 5.0}}, now(), 0);
    monitor.applyValues({{1, 9.0}}, now(), 0);
    loop.advance(base::Seconds(60));
    monitor.resetMinMax();
    EXPECT_EQ(monitor.extremes()->min(1), 9);
    EXPECT_EQ(monitor.extremes()->find(2), nullptr);
    EXPECT_EQ(*monitor.minMaxSince(), now().wall);
    EXPECT_EQ(monitor.extremes()->find(1)->maxTime, now().wall);
}

TEST_F(DeviceMonitorTest, TheMetersOwnExtremesAreReadInTheFirstAndEveryFifteenthCycleAndOnDemand) {
    std::atomic<int> asked = 0;
    services.seams.readExtremes = [&asked](metercore::ModbusTransport&, RefusedBlocks&) -> std::optional<DeviceExtremes> {
        if (++asked == 3) return std::nullopt;
        return DeviceExtremes{{19000, {.min = static_cast<double>(asked)}}};
    };
    monitor.start();
    ASSERT_TRUE(finishCycle());
    EXPECT_EQ(asked, 1);
    for (int cycle = 2; cycle <= 15; ++cycle) ASSERT_TRUE(nextCycle());
    EXPECT_EQ(asked, 1);
    ASSERT_TRUE(nextCycle());
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(monitor.deviceMinMax()->at(19000).min, 2);
    monitor.refreshDeviceMinMax();
    ASSERT_TRUE(nextCycle());
    EXPECT_EQ(asked, 3);
    EXPECT_EQ(monitor.deviceMinMax()->at(19000).min, 2);
    ASSERT_TRUE(nextCycle());
    EXPECT_EQ(asked, 3);
}

TEST_F(DeviceMonitorTest, AWishForTheExtremesOutlivesAFailedCycle) {
    std::atomic<int> asked = 0;
    services.seams.readExtremes = [&asked](metercore::ModbusTransport&, RefusedBlocks&) -> std::optional<DeviceExtremes> {
        ++asked;
        return std::nullopt;
    };
    monitor.start();
    ASSERT_TRUE(finishCycle());
    meter->fail(19000, ModbusError::closed());
    monitor.refreshDeviceMinMax();
    ASSERT_TRUE(nextCycle());
    EXPECT_EQ(asked, 1);
    meter->heal(19000);
    ASSERT_TRUE(nextCycle());
    EXPECT_EQ(asked, 2);
}

TEST_F(DeviceMonitorTest, TheMemoryIsMadeOnFirstUse) {
    EXPECT_EQ(monitor.memory(), nullptr);
    int made = 0;
    services.seams.makeMemory = [&made](const Device&) {
        ++made;
        return std::make_unique<DeviceMemory>();
    };
    EXPECT_EQ(made, 0);
    EXPECT_NE(monitor.memory(), nullptr);
    EXPECT_EQ(monitor.memory(), monitor.memory());
    EXPECT_EQ(made, 1);
}

TEST_F(DeviceMonitorTest, ASimulatedMeterHasTheJanitzaProfile) {
    Device device;
    device.profileID = "eastron-sdm630";
    device.kind = ConnectionKind::demo;
    const DeviceMonitor demo(device, services);
    EXPECT_TRUE(demo.profile().isJanitzaNative);
}

TEST_F(DeviceMonitorTest, RecordsReadingsAndEndsWithTheMonitor) {
    const TemporaryFolder folder;
    const auto path = folder / "strom.csv";
    bool begun = false;
    const auto body = [](DeviceMonitor& recorded, std::filesystem::path file, bool& done) -> base::Co<> {
        co_await recorded.startRecording(std::move(file));
        done = true;
    };
    const base::Task task("record", body(monitor, path, begun));
    ASSERT_TRUE(loop.runUntil([&] { return begun; }));
    EXPECT_EQ(*monitor.recordingPath(), path);
    // Of a meter of any maker: the mapped ids fill the columns.
    const ValueSet set{{19000, 231.5}, {802, 4.0}};
    monitor.applyValues(set, now(), 0);
    monitor.stop();
    EXPECT_EQ(*monitor.recordingPath(), std::nullopt);
    monitor.applyValues(set, now(), 0);
    const auto expected = CSVRecorder::header() + CSVRecorder::line(now().wall, set);
    bool flushed = false;
    const auto flush = [](base::StoreWriter& used, bool& done) -> base::Co<> {
        co_await used.flush();
        done = true;
    };
    const base::Task flushing("flush", flush(writer, flushed));
    ASSERT_TRUE(loop.runUntil([&] { return flushed; }));
    EXPECT_EQ(base::readFile(path), expected);
}

TEST_F(DeviceMonitorTest, ARecordingThatCannotBeginIsTold) {
    bool told = false;
    const auto body = [](DeviceMonitor& recorded, bool& failed) -> base::Co<> {
        try {
            co_await recorded.startRecording("/nonexistent/x.csv");
        } catch (const std::system_error&) {
            failed = true;
        }
    };
    const base::Task task("record", body(monitor, told));
    ASSERT_TRUE(loop.runUntil([&] { return told; }));
    EXPECT_EQ(*monitor.recordingPath(), std::nullopt);
}

TEST_F(DeviceMonitorTest, RawReadsUseTheRunningConnectionOrATemporaryOne) {
    std::vector<std::uint16_t> words;
    const auto body = [](DeviceMonitor& asked, std::vector<std::uint16_t>& result) -> base::Co<> {
        result = co_await asked.readRaw(3, 500, 2);
    };
    base::Task task("raw", body(monitor, words));
    ASSERT_TRUE(loop.runUntil([&] { return words.size() == 2; }));
    EXPECT_EQ(transports, 1);
    EXPECT_EQ(meter->closed(), 1);
    EXPECT_EQ(*monitor.okCount(), 0);
    monitor.start();
    ASSERT_TRUE(finishCycle());
    words.clear();
    task = base::Task("raw", body(monitor, words));
    ASSERT_TRUE(loop.runUntil([&] { return words.size() == 2; }));
    EXPECT_EQ(transports, 2);
    EXPECT_EQ(meter->closed(), 1);
}

TEST_F(DeviceMonitorTest, AFailingRawReadClosesTheTemporaryConnectionAndTells) {
    meter->fail(500, ModbusError::exception(2));
    std::string told;
    const auto body = [](DeviceMonitor& asked, std::string& text) -> base::Co<> {
        try {
            co_await asked.readRaw(3, 500, 2);
        } catch (const ModbusError& error) {
            text = error.description();
        }
    };
    const base::Task task("raw", body(monitor, told));
    ASSERT_TRUE(loop.runUntil([&] { return !told.empty(); }));
    EXPECT_EQ(told, "Modbus-Exception 2: Ungültige Registeradresse");
    EXPECT_EQ(meter->closed(), 1);
}

TEST_F(DeviceMonitorTest, TellsTheAgeOfItsLastReadingByTheSteadyClock) {
    EXPECT_EQ(monitor.age(), std::nullopt);
    monitor.applyValues({{1, 1.0}}, now(), 0);
    loop.clock().jumpWall(base::Seconds(-3600));
    loop.clock().advance(base::Seconds(7));
    EXPECT_EQ(monitor.age()->count(), 7);
}

TEST_F(DeviceMonitorTest, DestroyingItDuringAReadDoesNotWait) {
    auto gone = std::make_unique<DeviceMonitor>(Device{}, services);
    meter->hold();
    gone->start();
    loop.runTurns();
    meter->waitForRead();
    gone.reset();
    meter->release();
    loop.runTurns();
}

TEST_F(DeviceMonitorTest, WithoutRoomForAnotherQueueItStaysAtRestAndSaysSo) {
    services.mostQueues = 1;
    auto first = std::make_unique<DeviceMonitor>(Device{}, services);
    first->start();
    EXPECT_TRUE(first->isRunning());
    monitor.start();
    EXPECT_FALSE(monitor.isRunning());
    EXPECT_EQ(*monitor.status(), (MonitorStatus{Kind::error, "zu viele Messgeräte gleichzeitig"}));
    monitor.stop();
    EXPECT_EQ(monitor.status()->kind, Kind::idle);
    first.reset();
    monitor.start();
    ASSERT_TRUE(finishCycle());
    EXPECT_EQ(monitor.status()->kind, Kind::online);
}

TEST_F(DeviceMonitorTest, ExtremesThatCannotBeReadDoNotEndThePolling) {
    services.seams.readExtremes = [](metercore::ModbusTransport&, RefusedBlocks&) -> std::optional<DeviceExtremes> {
        throw ModbusError::timeout();
    };
    monitor.start();
    ASSERT_TRUE(finishCycle());
    EXPECT_EQ(monitor.status()->kind, Kind::online);
    ASSERT_TRUE(nextCycle());
    EXPECT_EQ(*monitor.okCount(), 2);
}
