#include "MeterCore/DemoDevice.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

#include "MeterCore/JanitzaRegisterMap.hpp"
#include "Support/FakeClock.hpp"

namespace metercore {

using namespace std::chrono_literals;

namespace {

ValueSet readAll(DemoDevice& device) {
    auto values =
        JanitzaRegisterMap::decode(device.readRegisters(3, JanitzaRegisterMap::startAddress, JanitzaRegisterMap::registerCount));
    for (const auto& block : JanitzaRegisterMap::extendedBlocks)
        values.overlay(JanitzaRegisterMap::decodeBlock(device.readRegisters(3, block.address, block.count), block.address));
    JanitzaRegisterMap::addDerived(values);
    return values;
}

ValueSet withFaults(DemoDevice::Faults faults, base::Seconds after = 0s) {
    FakeClock clock;
    DemoDevice device(clock, 1);
    device.setFaults(faults);
    EXPECT_EQ(device.faults(), faults);
    clock.advance(after);
    return readAll(device);
}

std::complex<double> phasor(const ValueSet& values, const JanitzaRegisterMap::PhasorIDs& ids, std::size_t k) {
    return {values.get(ids.real[k]).value_or(NAN), values.get(ids.imaginary[k]).value_or(NAN)};
}

}  // namespace

TEST(DemoDevice, DeliversEveryRowOfTheTable) {
    const auto values = withFaults({});
    for (const auto& row : JanitzaRegisterMap::all()) {
        const auto value = values.get(row.address);
        ASSERT_TRUE(value && std::isfinite(*value)) << row.name();
    }
    for (const int id : {19000, 19012, 19026, 19044, 19050, 19068, 19116, 802, 806, 924, 10085, 10873, 11641})
        EXPECT_GT(*values.get(id), 0) << id;
}

TEST(DemoDevice, ValuesDriftWithinTheirBounds) {
    FakeClock clock;
    DemoDevice device(clock, 7);
    double lowestU = 1000, highestU = 0;
    for (int second = 0; second < 400; ++second) {
        const auto values = readAll(device);
        for (int k = 0; k < 3; ++k) {
            const double u = *values.get(19000 + 2 * k), i = *values.get(19012 + 2 * k);
            lowestU = std::min(lowestU, u);
            highestU = std::max(highestU, u);
            EXPECT_NEAR(u, 230, 2.9);
            EXPECT_GE(i, 0);
            EXPECT_LE(i, 32 * 0.98 * 1.2 + 0.5);
            EXPECT_NEAR(*values.get(19044 + 2 * k), 0.93, 0.031);
            EXPECT_NEAR(*values.get(19006 + 2 * k), 230 * std::numbers::sqrt3, 6);
            EXPECT_NEAR(*values.get(11631 + 2 * k), 1.41, 0.02);
        }
        EXPECT_NEAR(*values.get(19050), 50, 0.02);
        EXPECT_EQ(values.get(19052), 1);
        EXPECT_LT(*values.get(10873), 0.03);
        clock.advance(1s);
    }
    EXPECT_LT(lowestU, 228);
    EXPECT_GT(highestU, 232);
}

TEST(DemoDevice, PowersFollowFromVoltageCurrentAndAngle) {
    const auto values = withFaults({}, 12s);
    double sumP = 0, sumS = 0;
    for (int k = 0; k < 3; ++k) {
        const double s = *values.get(19000 + 2 * k) * *values.get(19012 + 2 * k), cosPhi = *values.get(19044 + 2 * k);
        EXPECT_NEAR(*values.get(19028 + 2 * k), s, 0.01);
        EXPECT_NEAR(*values.get(19020 + 2 * k), s * cosPhi, 0.01);
        EXPECT_NEAR(*values.get(19036 + 2 * k), s * std::sqrt(1 - cosPhi * cosPhi), 0.01);
        sumP += *values.get(19020 + 2 * k);
        sumS += *values.get(19028 + 2 * k);
    }
    EXPECT_NEAR(*values.get(19026), sumP, 0.01);
    EXPECT_NEAR(*values.get(19034), sumS, 0.01);
}

TEST(DemoDevice, EnergyGrowsByThePowerOfTheTimeBetween) {
    FakeClock clock;
    DemoDevice device(clock, 1);
    auto before = readAll(device);
    for (const auto& [counter, power] : {std::pair{19054, 19020}, {19062, 19020}, {19078, 19028}, {19086, 19036}, {19094, 19036}}) {
        clock.advance(1s);
        const auto after = readAll(device);
        for (const int k : {0, 1, 2, 3}) {
            const double watts = *after.get(power + 2 * k);
            EXPECT_NEAR(*after.get(counter + 2 * k) - *before.get(counter + 2 * k), watts / 3600, watts / 3600 * 0.1)
                << counter + 2 * k;
        }
        before = after;
    }
    EXPECT_EQ(before.get(19076), 0) << "nothing is exported";
}

TEST(DemoDevice, ReadingTwiceAtOneTimeCountsNoEnergy) {
    FakeClock clock;
    DemoDevice device(clock, 1);
    EXPECT_EQ(readAll(device).get(19060), readAll(device).get(19060));
}

TEST(DemoDevice, TheSameClockAndSeedGiveTheSameValues) {
    FakeClock clock;
    DemoDevice first(clock, 3), second(clock, 3), other(clock, 4);
    const auto values = readAll(first);
    EXPECT_EQ(values, readAll(second));
    EXPECT_NE(values, readAll(other));
}

TEST(DemoDevice, OverloadMultipliesTheCurrents) {
    const auto normal = withFaults({}), faulty = withFaults({.overload = true});
    for (const int id : {19012, 19014, 19016}) EXPECT_NEAR(*faulty.get(id), 2.1 * *normal.get(id), 1e-3);
    EXPECT_NEAR(*faulty.get(19000), *normal.get(19000), 1e-3);
    // At the peak of the load the usual limit of a 63 A supply is passed.
    EXPECT_GT(*withFaults({.overload = true}, 70s).get(19016), 63);
    EXPECT_LT(*withFaults({}, 70s).get(19016), 63);
}

TEST(DemoDevice, PhaseLossTakesL3) {
    const auto values = withFaults({.phaseLoss = true});
    EXPECT_EQ(values.get(19004), 0);
    EXPECT_EQ(values.get(19016), 0);
    EXPECT_EQ(values.get(19024), 0);
    EXPECT_GT(*values.get(19000), 200);
    EXPECT_GT(*values.get(19014), 1);
    EXPECT_GT(*values.get(90000), 20) << "the unbalance shows";
}

TEST(DemoDevice, UndervoltageLowersL2) {
    const auto values = withFaults({.undervoltage = true});
    EXPECT_LT(*values.get(19002), 195);
    EXPECT_GT(*values.get(19002), 150);
    EXPECT_GT(*values.get(19000), 225);
    EXPECT_GT(*values.get(19004), 225);
}

TEST(DemoDevice, UnbalanceWeightsTheCurrents) {
    const auto normal = withFaults({}), faulty = withFaults({.unbalance = true});
    EXPECT_NEAR(*faulty.get(19012), 2.4 * *normal.get(19012), 1e-3);
    EXPECT_NEAR(*faulty.get(19014), 0.3 * *normal.get(19014), 1e-3);
    EXPECT_NEAR(*faulty.get(19016), 0.4 * *normal.get(19016), 1e-3);
    EXPECT_GT(*faulty.get(90002), 3 * *normal.get(90002));
}

TEST(DemoDevice, SymmetricalComponentsBelongToThePhasors) {
    FakeClock clock;
    DemoDevice device(clock, 1);
    device.readRegisters(3, 19000, 122);
    const auto values = device.extendedValues();
    const std::complex<double> a = std::polar(1.0, 2 * std::numbers::pi / 3);
    struct Row {
        JanitzaRegisterMap::PhasorIDs ids;
        int zero, negative, positive;
    };
    for (const auto& row :
         {Row{JanitzaRegisterMap::voltagePhasors, 802, 804, 806}, Row{JanitzaRegisterMap::currentPhasors, 920, 922, 924}}) {
        const auto l1 = phasor(values, row.ids, 0), l2 = phasor(values, row.ids, 1), l3 = phasor(values, row.ids, 2);
        EXPECT_NEAR(*values.get(row.zero), std::abs(l1 + l2 + l3) / 3, 1e-9);
        EXPECT_NEAR(*values.get(row.positive), std::abs(l1 + a * l2 + a * a * l3) / 3, 1e-9);
        EXPECT_NEAR(*values.get(row.negative), std::abs(l1 + a * a * l2 + a * l3) / 3, 1e-9);
        EXPECT_GT(*values.get(row.positive), 5 * *values.get(row.negative)) << "the field turns right";
    }
}

TEST(DemoDevice, TheNeutralIsShiftedTowards200Degrees) {
    FakeClock clock;
    DemoDevice device(clock, 1);
    const auto main = JanitzaRegisterMap::decode(device.readRegisters(3, 19000, 122));
    const auto values = device.extendedValues();
    for (std::size_t k = 0; k < 3; ++k) {
        const auto rotated =
            std::polar(*main.get(19000 + 2 * static_cast<int>(k)), -2 * std::numbers::pi / 3 * static_cast<double>(k));
        const auto shift = phasor(values, JanitzaRegisterMap::voltagePhasors, k) - rotated;
        EXPECT_NEAR(std::abs(shift), 2.5, 0.21);
        EXPECT_NEAR(std::arg(shift), -160 * std::numbers::pi / 180, 0.001) << "200 degrees";
    }
}

TEST(DemoDevice, TheNeutralCurrentIsTheSumOfThePhaseCurrents) {
    FakeClock clock;
    DemoDevice device(clock, 1);
    const auto main = JanitzaRegisterMap::decode(device.readRegisters(3, 19000, 122));
    const auto values = device.extendedValues();
    std::complex<double> sum = 0;
    for (std::size_t k = 0; k < 3; ++k) sum += phasor(values, JanitzaRegisterMap::currentPhasors, k);
    EXPECT_NEAR(*values.get(938), sum.real(), 1e-9);
    EXPECT_NEAR(*values.get(940), sum.imag(), 1e-9);
    EXPECT_NEAR(*main.get(19018), std::abs(sum), 1e-4);
    EXPECT_NEAR(*values.get(10085), std::abs(sum), 0.051);
    EXPECT_NEAR(*values.get(920), std::abs(sum) / 3, 1e-9);
}

TEST(DemoDevice, ARegisterWithoutValueReadsZero) {
    DemoDevice device;
    EXPECT_EQ(device.readRegisters(4, 30000, 125), std::vector<std::uint16_t>(125));
    EXPECT_EQ(device.readRegisters(3, 65535, 125), std::vector<std::uint16_t>(125));
    const auto tail = device.readRegisters(3, 19120, 4);
    EXPECT_NE(tail[0], 0);
    EXPECT_EQ(tail[2], 0);
    EXPECT_EQ(tail[3], 0);
}

TEST(DemoDevice, AReadMayBeginInTheMiddleOfAValue) {
    FakeClock clock;
    DemoDevice device(clock, 1), twin(clock, 1);
    const auto whole = device.readRegisters(3, 19000, 4);
    EXPECT_EQ(twin.readRegisters(3, 19001, 2), (std::vector{whole[1], whole[2]}));
}

TEST(DemoDevice, AcceptsAWriteAsTheMeterDoes) {
    DemoDevice device;
    EXPECT_NO_THROW(device.writeSingleRegister(506, 1));
}

}  // namespace metercore
