#include "Kestrelyne/Lighting/RDMAddressing.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace kestrelyne {

namespace {

using netcore::RDM::UID;

constexpr UID a{1, 1}, b{1, 2}, c{1, 3}, unknown{9, 9};

RDMDeviceState device(const UID& uid, const std::string& label, int universe, int address, int footprint) {
    RDMDeviceState device{.uid = uid, .universe = universe, .label = label};
    device.info.emplace();
    device.info->startAddress = address;
    device.info->footprint = footprint;
    return device;
}

std::vector<std::string> namesOf(const std::vector<const RDMDeviceState*>& devices) {
    std::vector<std::string> names;
    for (const auto* met : devices) names.push_back(met->label);
    return names;
}

TEST(RDMSequentialPlan, PutsOneBehindTheOther) {
    const std::vector devices = {device(a, "A", 1, 0, 16), device(b, "B", 1, 0, 16)};
    EXPECT_EQ(sequentialPlan(devices, {a, b}, 1, 0), (std::vector<RDMPlacing>{{a, "A", 1, 16}, {b, "B", 17, 32}}));
    EXPECT_EQ(sequentialPlan(devices, {a, b}, 1, 2), (std::vector<RDMPlacing>{{a, "A", 1, 16}, {b, "B", 19, 34}}));
}

TEST(RDMSequentialPlan, FollowsTheGivenOrderAndPassesOverUnknownDevices) {
    const std::vector devices = {device(a, "A", 1, 0, 5), device(b, "B", 1, 0, 7)};
    EXPECT_EQ(sequentialPlan(devices, {b, unknown, a}, 10, 0), (std::vector<RDMPlacing>{{b, "B", 10, 16}, {a, "A", 17, 21}}));
}

TEST(RDMSequentialPlan, ADeviceWithoutSlotsCountsAsOneSlot) {
    std::vector devices = {device(a, "A", 1, 0, 0), device(b, "", 1, 0, 4), device(c, "C", 1, 0, 2)};
    devices[1].info.reset();
    EXPECT_EQ(sequentialPlan(devices, {a, b, c}, 1, 0),
              (std::vector<RDMPlacing>{{a, "A", 1, 1}, {b, "0001:00000002", 2, 2}, {c, "C", 3, 4}}));
}

TEST(RDMSequentialPlan, TellsWhatLiesBeyondTheUniverse) {
    const std::vector devices = {device(a, "A", 1, 0, 10), device(b, "B", 1, 0, 10)};
    EXPECT_EQ(sequentialPlan(devices, {a, b}, 500, 0), (std::vector<RDMPlacing>{{a, "A", 500, 509}, {b, "B", 510, 519}}));
    constexpr int far = std::numeric_limits<int>::max();
    EXPECT_EQ(sequentialPlan(devices, {a, b}, far, far).back(), (RDMPlacing{b, "B", far, far}));
}

TEST(RDMOverlaps, AreRangesThatShareASlot) {
    const std::vector devices = {device(a, "A", 1, 10, 5)};
    struct Row {
        int address, footprint;
        bool meets;
    };
    for (const auto& [address, footprint, meets] :
         std::initializer_list<Row>{{1, 9, false}, {1, 10, true}, {14, 1, true}, {15, 1, false}, {12, 1, true}, {1, 512, true}})
        EXPECT_EQ(!overlaps(devices, 1, address, footprint, unknown).empty(), meets) << address << "+" << footprint;
}

TEST(RDMOverlaps, AreOfOtherDevicesOfTheUniverseWithAKnownAddress) {
    std::vector devices = {device(a, "A", 1, 10, 5),
                           device(b, "B", 2, 10, 5),
                           device(c, "C", 1, 12, 5),
                           device({1, 4}, "ohne Adresse", 1, 0, 20),
                           device({1, 5}, "ohne Slots", 1, 11, 0),
                           device({1, 6}, "unbekannt", 1, 10, 5)};
    devices.back().info.reset();
    EXPECT_EQ(namesOf(overlaps(devices, 1, 1, 100, a)), std::vector<std::string>{"C"});
    EXPECT_EQ(namesOf(overlaps(devices, 1, 1, 100, unknown)), (std::vector<std::string>{"A", "C"}));
    EXPECT_EQ(namesOf(overlaps(devices, 2, 1, 100, unknown)), std::vector<std::string>{"B"});
}

TEST(RDMDeviceName, IsTheLabelElseMakerAndModelElseTheUID) {
    RDMDeviceState device{.uid = a, .manufacturer = "Maker", .model = "Spot", .label = "Front 1"};
    EXPECT_EQ(device.displayName(), "Front 1");
    device.label.clear();
    EXPECT_EQ(device.displayName(), "Maker Spot");
    device.manufacturer.clear();
    EXPECT_EQ(device.displayName(), "Spot");
    device.model.clear();
    EXPECT_EQ(device.displayName(), "");
    EXPECT_EQ(nameOf(device), "0001:00000001");
}

}  // namespace

}  // namespace kestrelyne
