#include "NetCore/RDMParameters.hpp"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace netcore::RDM {

namespace {

using Data = std::vector<std::uint8_t>;

Data bytes(std::string_view text) { return {text.begin(), text.end()}; }

Data joined(Data head, std::string_view text) {
    head.insert(head.end(), text.begin(), text.end());
    return head;
}

const Data sensor{3, 0, 1, 2, 0x80, 0x00, 0x7F, 0xFF, 0xFF, 0xEC, 0x03, 0x52, 0x03};

}  // namespace

TEST(RDMDeviceInfo, IsReadWhole) {
    const Data data{1, 0, 0x01, 0x02, 0x05, 0x06, 0x0A, 0x0B, 0x0C, 0x0D, 0x00, 0x11, 2, 5, 0x01, 0xFE, 0x00, 0x09, 4};
    DeviceInfo expected;
    expected.modelID = 0x0102;
    expected.category = 0x0506;
    expected.softwareVersionID = 0x0A0B0C0D;
    expected.footprint = 17;
    expected.personality = 2;
    expected.personalityCount = 5;
    expected.startAddress = 510;
    expected.sensorCount = 4;
    EXPECT_EQ(DeviceInfo(data), expected);
    for (std::size_t size = 0; size < data.size(); ++size)
        EXPECT_EQ(DeviceInfo(base::Bytes(data).first(size)), DeviceInfo()) << size;
}

TEST(RDMSensorDefinition, IsReadWhole) {
    const auto read = SensorDefinition::parse(joined(sensor, std::string_view("Temp \xFF\0hidden", 13)));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->number, 3);
    EXPECT_EQ(read->type, 0);
    EXPECT_EQ(read->unit, 1);
    EXPECT_EQ(read->prefix, 2);
    EXPECT_EQ(read->normalMax, 850);
    EXPECT_EQ(read->description, "Temp \uFFFD");
    EXPECT_EQ(SensorDefinition::parse(sensor)->description, "");
    for (std::size_t size = 0; size < sensor.size(); ++size) EXPECT_FALSE(SensorDefinition::parse(base::Bytes(sensor).first(size)));
}

TEST(RDMSensorDefinition, AnUpperLimitMayBeNegative) {
    auto cold = sensor;
    cold[10] = 0xFF;
    cold[11] = 0xF6;
    EXPECT_EQ(SensorDefinition::parse(cold)->normalMax, -10);
}

TEST(RDMSensorDefinition, TheFactorFollowsThePrefix) {
    const auto factor = [](int prefix) {
        SensorDefinition definition;
        definition.prefix = prefix;
        return definition.factor();
    };
    EXPECT_EQ(factor(0), 1.0);
    EXPECT_EQ(factor(1), 0.1);
    EXPECT_EQ(factor(2), 0.01);
    EXPECT_EQ(factor(3), 0.001);
    EXPECT_EQ(factor(5), 0.001);
    EXPECT_EQ(factor(0x13), 0.001);
}

TEST(RDMPersonality, IsReadWhole) {
    const auto read = Personality::parse(joined({2, 0x00, 0x26}, std::string_view(" Extended \0x", 12)));
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, (Personality{.number = 2, .footprint = 38, .description = "Extended"}));
    EXPECT_EQ(Personality::parse(Data{1, 0, 1})->description, "");
    EXPECT_FALSE(Personality::parse(Data{1, 0}));
}

TEST(RDMSensorValue, IsThePresentOne) {
    EXPECT_EQ(sensorValue(Data{4, 0xFF, 0x9C, 0x7F, 0xFF}), (SensorValue{.number = 4, .value = -100}));
    EXPECT_EQ(sensorValue(Data{0, 0x01, 0x00}), (SensorValue{.number = 0, .value = 256}));
    EXPECT_FALSE(sensorValue(Data{4, 1}));
}

TEST(RDMSupportedPIDs, AreThoseOfCompletePairs) {
    EXPECT_EQ(supportedPIDs(Data{0x00, 0x82, 0x02}), (std::set<std::uint16_t>{0x0082}));
    EXPECT_EQ(supportedPIDs(Data{0x10, 0x00, 0x00, 0x82, 0x10, 0x00}), (std::set<std::uint16_t>{0x0082, 0x1000}));
    EXPECT_TRUE(supportedPIDs(Data{}).empty());
}

TEST(RDMText, EndsAtTheFirstZero) {
    EXPECT_EQ(text(bytes("  MAC Viper ")), "MAC Viper");
    EXPECT_EQ(text(bytes(std::string_view("a\0b", 3))), "a");
    EXPECT_EQ(text(Data{}), "");
    EXPECT_EQ(text(Data{'a', 0xC3}), "a\uFFFD");
}

}  // namespace netcore::RDM
