#include "NetCore/SwitchTemperatures.hpp"

#include "NetCore/SwitchFixture.hpp"

using namespace netcore;
using namespace netcore::switches;

TEST(SwitchReader, ReadsTemperaturesOfTheEntityTable) {
    auto target = switchOf(anyMaker);
    setEntitySensor(target, entitySensors, 1, 8, 42);
    setEntitySensor(target, entitySensors, 2, 8, 420);
    target.set(entitySensors + ".2.2", 8);
    target.set(entitySensors + ".3.2", 1);
    setEntitySensor(target, entitySensors, 3, 8, 420);
    target.set(entitySensors + ".2.3", 9);
    target.set(entitySensors + ".3.3", 1);
    setEntitySensor(target, entitySensors, 4, 10, 3000);  // rpm
    target.set(entitySensors + ".1.5", 8);                // no value
    setEntitySensor(target, entitySensors, 6, 8, -7);
    target.set(physical + ".7.3", "CPU");
    const auto status = read(target);
    ASSERT_EQ(status.temperatures.size(), 4u);
    EXPECT_EQ(status.temperatures[0], (SwitchStatus::Sensor{"CPU", 42.0}));
    EXPECT_EQ(status.temperatures[1], (SwitchStatus::Sensor{"Sensor 1", 42.0}));
    EXPECT_EQ(status.temperatures[2].name, "Sensor 2");
    EXPECT_DOUBLE_EQ(status.temperatures[2].celsius, 0.042);
    EXPECT_EQ(status.temperatures[3], (SwitchStatus::Sensor{"Sensor 6", -7.0}));
    EXPECT_FALSE(walked(target, environment + ".3")) << "the first source that has any is the last";
}

TEST(SwitchReader, LeavesOutATemperatureThatOverflows) {
    auto target = switchOf(anyMaker);
    setEntitySensor(target, entitySensors, 1, 8, 42);
    target.set(entitySensors + ".2.1", 1000);
    setEntitySensor(target, entitySensors, 2, 8, 0);
    target.set(entitySensors + ".2.2", 1000);
    setEntitySensor(target, entitySensors, 3, 8, 30);
    EXPECT_EQ(read(target).temperatures, (Sensors{{"Sensor 3", 30}}));
}

TEST(SwitchReader, LeavesOutTemperaturesWhoseScaleOrNameIsNotAnswered) {
    for (const auto& lost : {entitySensors + ".2", entitySensors + ".3", physical + ".7"}) {
        auto target = switchOf(anyMaker);
        setEntitySensor(target, entitySensors, 1, 8, 415);
        target.set(entitySensors + ".3.1", 1);
        target.set(physical + ".7.1", "CPU");
        EXPECT_EQ(read(target).temperatures, (Sensors{{"CPU", 41.5}}));
        target.fail(lost);
        EXPECT_EQ(read(target).temperatures, Sensors()) << lost;
    }
    auto target = switchOf(anyMaker);
    target.set(environment + ".3.1006", gauge(38));
    target.fail(environment + ".2");
    EXPECT_EQ(read(target).temperatures, Sensors());
}

TEST(SwitchReader, AsksAnySwitchForTheEnvironmentTable) {
    auto target = switchOf(anyMaker);
    setEntitySensor(target, entitySensors, 1, 10, 3000);
    target.set(environment + ".3.1006", gauge(38));
    target.set(environment + ".2.1006", "SW#1, Sensor#1");
    target.set(environment + ".3.1007", gauge(45));
    target.set(environment + ".3.1008", "n/a");
    EXPECT_EQ(read(target).temperatures, (Sensors{{"SW#1, Sensor#1", 38}, {"Sensor 1007", 45}}));
}

TEST(SwitchReader, AsksACiscoForItsOwnSensorsAndItsLoadLast) {
    auto target = switchOf(cisco);
    setEntitySensor(target, ciscoSensors, 1004, 8, 335);
    target.set(ciscoSensors + ".3.1004", 1);
    target.set(physical + ".7.1004", "Inlet");
    target.set(ciscoLoad + ".1", "n/a");
    target.set(ciscoLoad + ".2", gauge(17));
    target.set(ciscoLoad + ".3", gauge(90));
    const auto status = read(target);
    EXPECT_EQ(status.vendor, "Cisco");
    EXPECT_EQ(status.temperatures, (Sensors{{"Inlet", 33.5}}));
    EXPECT_EQ(status.cpuPercent, 17);
}

TEST(SwitchReader, ReadsTheLoadOfACiscoWithoutAnySensor) {
    auto target = switchOf(cisco);
    target.set(ciscoLoad + ".1", gauge(5));
    EXPECT_EQ(read(target).cpuPercent, 5);
    EXPECT_EQ(read(switchOf(cisco)).cpuPercent, std::nullopt);
}

TEST(SwitchReader, TellsNoLoadOfACiscoWithTemperaturesElsewhere) {
    for (const bool entity : {true, false}) {
        auto target = switchOf(cisco);
        target.set(ciscoLoad + ".1", gauge(5));
        if (entity)
            setEntitySensor(target, entitySensors, 1, 8, 40);
        else
            target.set(environment + ".3.1", gauge(40));
        const auto status = read(target);
        EXPECT_EQ(status.temperatures.size(), 1u);
        EXPECT_EQ(status.cpuPercent, std::nullopt);
        EXPECT_FALSE(walked(target, ciscoSensors + ".1"));
        EXPECT_FALSE(walked(target, ciscoLoad));
    }
}

TEST(SwitchReader, AsksOnlyACiscoOfTheLargeSeriesForItsTables) {
    for (const auto* maker : {anyMaker, ciscoBusiness, netgear, luminex}) {
        auto target = switchOf(maker);
        read(target);
        EXPECT_FALSE(walked(target, ciscoSensors + ".1")) << maker;
        EXPECT_FALSE(walked(target, ciscoLoad)) << maker;
    }
}
