#include "Kestrelyne/Metering/ReadCycle.hpp"

#include <gtest/gtest.h>

#include "FakeMeter.hpp"

using namespace kestrelyne;
using metercore::ModbusError;

namespace {

class ReadCycleTest : public testing::Test {
protected:
    CycleReading run() { return ReadCycle{meter, refused, readExtremes, cancelled}(); }

    std::shared_ptr<FakeMeter> meter = std::make_shared<FakeMeter>();
    RefusedBlocks refused;
    std::function<std::optional<DeviceExtremes>(metercore::ModbusTransport&, RefusedBlocks&)> readExtremes;
    std::shared_ptr<std::atomic<bool>> cancelled = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace

TEST_F(ReadCycleTest, ReadsTheMainBlockTheExtendedBlocksAndDerives) {
    const auto reading = run();
    EXPECT_FALSE(reading.failure);
    EXPECT_EQ(reading.values.get(19000), 230);
    EXPECT_EQ(reading.values.get(19120), 230);
    EXPECT_EQ(reading.values.get(802), 230);
    EXPECT_EQ(reading.values.get(848), 230);
    EXPECT_EQ(reading.values.get(11641), 230);
    EXPECT_EQ(reading.values.get(90004), 100);
    for (const std::uint16_t block : {19000, 800, 900, 10085, 10873, 11631}) EXPECT_EQ(meter->reads(block), 1) << block;
}

TEST_F(ReadCycleTest, AFailingMainBlockEndsTheCycle) {
    meter->fail(19000, ModbusError::timeout());
    const auto reading = run();
    EXPECT_EQ(reading.failure, "Zeitüberschreitung – Gerät antwortet nicht");
    EXPECT_EQ(meter->reads(800), 0);
}

TEST_F(ReadCycleTest, ARefusedBlockIsRememberedAndTheNextOnesAreRead) {
    meter->fail(10873, ModbusError::exception(2));
    auto reading = run();
    EXPECT_FALSE(reading.failure);
    EXPECT_EQ(reading.refused, RefusedBlocks{10873});
    EXPECT_FALSE(reading.values.contains(10873));
    EXPECT_TRUE(reading.values.contains(11631));
    refused = reading.refused;
    reading = run();
    EXPECT_EQ(meter->reads(10873), 1);
    EXPECT_EQ(reading.refused, RefusedBlocks{10873});
}

TEST_F(ReadCycleTest, AnotherFailureEndsTheExtendedReadingOfThisCycleAlone) {
    meter->fail(10873, ModbusError::timeout());
    auto reading = run();
    EXPECT_FALSE(reading.failure);
    EXPECT_TRUE(reading.refused.empty());
    EXPECT_TRUE(reading.values.contains(10085));
    EXPECT_FALSE(reading.values.contains(11631));
    EXPECT_EQ(meter->reads(11631), 0);
    refused = reading.refused;
    reading = run();
    EXPECT_EQ(meter->reads(10873), 2);
}

TEST_F(ReadCycleTest, AsksForTheExtremesBehindAGoodReadingAndKeepsWhatTheyRefuse) {
    readExtremes = [](metercore::ModbusTransport&, RefusedBlocks& blocks) -> std::optional<DeviceExtremes> {
        blocks.insert(3358);
        return DeviceExtremes{{19000, {.max = 240}}};
    };
    auto reading = run();
    ASSERT_TRUE(reading.extremes);
    EXPECT_EQ(reading.extremes->at(19000).max, 240);
    EXPECT_EQ(reading.refused, RefusedBlocks{3358});
    meter->fail(19000, ModbusError::closed());
    reading = run();
    EXPECT_FALSE(reading.extremes);
}

TEST_F(ReadCycleTest, BeginsNoFurtherRequestWhenNobodyWaits) {
    meter->onRead = [this](std::uint16_t address) {
        if (address == 800) cancelled->store(true);
    };
    run();
    EXPECT_EQ(meter->reads(800), 1);
    EXPECT_EQ(meter->reads(900), 0);
}
