#include "Kestrelyne/Lighting/RDMSensors.hpp"

#include <gtest/gtest.h>

namespace kestrelyne {

namespace {

RDMDeviceState lamp(double value, double limit) {
    return {.uid = {0x7FF0, 0xABCD},
            .label = "Spot 1",
            .sensors = {{.number = 2, .name = "Lampe", .isTemperature = true, .normalMax = limit, .value = value}}};
}

TEST(RDMSensorUnit, HasTheSignOfItsCode) {
    struct Row {
        int code;
        const char* unit;
    };
    for (const auto& [code, unit] : std::initializer_list<Row>{{0, ""},
                                                               {1, "°C"},
                                                               {2, "V DC"},
                                                               {3, "V AC (Spitze)"},
                                                               {4, "V AC"},
                                                               {5, "A DC"},
                                                               {6, "A AC (Spitze)"},
                                                               {7, "A AC"},
                                                               {8, "Hz"},
                                                               {9, "Ω"},
                                                               {10, "W"},
                                                               {11, ""},
                                                               {255, ""},
                                                               {-1, ""}})
        EXPECT_EQ(sensorUnit(code), unit) << code;
}

TEST(RDMSensor, IsMadeOfItsDefinition) {
    const auto sensor =
        sensorOf(3, {.number = 3, .type = 0, .unit = 1, .prefix = 1, .normalMax = 805, .description = "Temperatur Kopf"});
    EXPECT_EQ(sensor.number, 3);
    EXPECT_EQ(sensor.name, "Temperatur Kopf");
    EXPECT_EQ(sensor.unit, "°C");
    EXPECT_TRUE(sensor.isTemperature);
    EXPECT_DOUBLE_EQ(sensor.factor, 0.1);
    EXPECT_DOUBLE_EQ(sensor.normalMax.value(), 80.5);
    EXPECT_FALSE(sensor.value);
    EXPECT_EQ(sensorOf(4, {.unit = 10, .description = ""}).name, "Sensor 4");
    EXPECT_FALSE(sensorOf(4, {.unit = 10, .description = ""}).isTemperature);
}

TEST(RDMSensor, ALimitThatIsNoneIsAbsent) {
    for (const int none : {0, -1, -32768, 32767})
        EXPECT_FALSE(sensorOf(0, {.normalMax = none, .description = ""}).normalMax) << none;
    EXPECT_EQ(sensorOf(0, {.normalMax = 1, .description = ""}).normalMax, 1);
    EXPECT_EQ(sensorOf(0, {.normalMax = 32766, .description = ""}).normalMax, 32766);
}

TEST(RDMHottestSensor, IsAmongTheTemperaturesWithAValue) {
    RDMDeviceState device{.sensors = {{.name = "Leistung", .value = 900},
                                      {.name = "kühl", .isTemperature = true, .value = 40},
                                      {.name = "heiß", .isTemperature = true, .value = 70},
                                      {.name = "still", .isTemperature = true}}};
    ASSERT_NE(device.hottest(), nullptr);
    EXPECT_EQ(device.hottest()->name, "heiß");
    device.sensors = {{.name = "Leistung", .value = 900}, {.name = "still", .isTemperature = true}};
    EXPECT_EQ(device.hottest(), nullptr);
}

// A value at the limit warns, once; three degrees below it the warning can come again.
TEST(TemperatureWarnings, KeepAGapOfThreeDegrees) {
    TemperatureWarnings warnings;
    struct Row {
        double value;
        std::size_t said;
    };
    for (const auto& [value, said] : std::initializer_list<Row>{
             {79.9, 0}, {80, 1}, {80, 0}, {95, 0}, {78, 0}, {80, 0}, {77.1, 0}, {80, 0}, {77, 0}, {79, 0}, {80, 1}, {81, 0}})
        EXPECT_EQ(warnings.step(lamp(value, 80)).size(), said) << value;
}

TEST(TemperatureWarnings, TheGapHoldsForTenthsAsTheyAreCounted) {
    TemperatureWarnings warnings;
    EXPECT_EQ(warnings.step(lamp(693 * 0.1, 693 * 0.1)).size(), 1u);
    EXPECT_EQ(warnings.step(lamp(663 * 0.1, 693 * 0.1)).size(), 0u);
    EXPECT_EQ(warnings.step(lamp(693 * 0.1, 693 * 0.1)).size(), 1u);
}

TEST(TemperatureWarnings, TellWhoIsHowHotInWholeDegrees) {
    TemperatureWarnings warnings;
    EXPECT_EQ(warnings.step(lamp(81.9, 80.5)), std::vector<std::string>{"Spot 1 (7FF0:0000ABCD): Lampe 81 °C über 80 °C"});
}

TEST(TemperatureWarnings, ComeForNothingElse) {
    TemperatureWarnings warnings;
    auto device = lamp(99, 80);
    device.sensors[0].isTemperature = false;
    EXPECT_TRUE(warnings.step(device).empty());
    device = lamp(99, 80);
    device.sensors[0].normalMax.reset();
    EXPECT_TRUE(warnings.step(device).empty());
    device = lamp(99, 80);
    device.sensors[0].value.reset();
    EXPECT_TRUE(warnings.step(device).empty());
}

TEST(TemperatureWarnings, ComeForEachSensorByItself) {
    TemperatureWarnings warnings;
    auto device = lamp(90, 80);
    device.sensors.push_back({.number = 3, .name = "Treiber", .isTemperature = true, .normalMax = 80, .value = 85});
    EXPECT_EQ(warnings.step(device).size(), 2u);
    device.uid.device = 1;
    EXPECT_EQ(warnings.step(device).size(), 2u);
    EXPECT_EQ(warnings.step(device).size(), 0u);
}

}  // namespace

}  // namespace kestrelyne
