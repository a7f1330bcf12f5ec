#include "Kestrelyne/Network/BonjourTable.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kestrelyne {

namespace {

using testing::ElementsAre;
using Key = BonjourTable::Key;
constexpr BonjourTable::Place left{.adapter = 2, .protocol = 0}, leftIPv6{.adapter = 2, .protocol = 1},
    right{.adapter = 3, .protocol = 0};

Key desk(BonjourTable::Place place) { return {.type = "_osc._udp.", .name = "Desk", .place = place}; }
BonjourTable::Answer at(std::string address, bool isIPv6 = false) {
    return {.host = "desk.local", .address = std::move(address), .isIPv6 = isIPv6, .txt = {{"version", "1.2.3"}}};
}
std::vector<std::string> namesIn(const BonjourTable& table) {
    std::vector<std::string> names;
    for (const auto& service : table.view().services) names.push_back(service.type + service.name);
    return names;
}

}  // namespace

TEST(BonjourTable, AServiceIsThereBeforeItIsResolved) {
    BonjourTable table({});
    EXPECT_TRUE(table.add(desk(left)));
    EXPECT_FALSE(table.add(desk(left))) << "known already";
    EXPECT_THAT(table.view().services, ElementsAre(BonjourBrowser::Service{.type = "_osc._udp.", .name = "Desk"}));
}

TEST(BonjourTable, AnswersFromAllAdaptersAreOneServiceWithIPv4InNaturalOrderFirst) {
    BonjourTable table({});
    for (const auto& place : {left, leftIPv6, right}) table.add(desk(place));
    table.resolve(desk(leftIPv6), at("fe80::1", true));
    table.resolve(desk(left), at("10.0.0.10"));
    table.resolve(desk(right), at("10.0.0.9"));
    EXPECT_THAT(table.view().services, ElementsAre(BonjourBrowser::Service{.type = "_osc._udp.",
                                                                           .name = "Desk",
                                                                           .host = "desk.local",
                                                                           .ips = {"10.0.0.9", "10.0.0.10", "fe80::1"},
                                                                           .txt = {{"version", "1.2.3"}}}));
}

TEST(BonjourTable, TheSameAddressOnTwoAdaptersIsOne) {
    BonjourTable table({});
    for (const auto& place : {left, right}) {
        table.add(desk(place));
        table.resolve(desk(place), at("10.0.0.9"));
    }
    EXPECT_THAT(table.view().services.at(0).ips, ElementsAre("10.0.0.9"));
}

TEST(BonjourTable, ALaterAnswerReplacesTheFormer) {
    BonjourTable table({});
    table.add(desk(left));
    table.resolve(desk(left), at("10.0.0.9"));
    table.resolve(desk(left), at("10.0.0.77"));
    EXPECT_THAT(table.view().services.at(0).ips, ElementsAre("10.0.0.77"));
}

TEST(BonjourTable, AServiceGoesWhenNoAdapterHearsIt) {
    BonjourTable table({});
    table.add(desk(left));
    table.add(desk(right));
    table.remove(desk(left));
    EXPECT_FALSE(table.contains(desk(left)));
    EXPECT_THAT(namesIn(table), ElementsAre("_osc._udp.Desk"));
    table.remove(desk(right));
    EXPECT_THAT(namesIn(table), ElementsAre());
    table.resolve(desk(right), at("10.0.0.9"));
    EXPECT_THAT(namesIn(table), ElementsAre()) << "an answer that comes late";
}

TEST(BonjourTable, ServicesAreSortedByTypeAndName) {
    BonjourTable table({});
    for (const auto& [type, name] : std::initializer_list<std::pair<const char*, const char*>>{
             {"_osc._udp.", "Desk 10"}, {"_osc._udp.", "Desk 9"}, {"_http._tcp.", "Node"}})
        table.add({.type = type, .name = name, .place = left});
    EXPECT_THAT(namesIn(table), ElementsAre("_http._tcp.Node", "_osc._udp.Desk 9", "_osc._udp.Desk 10"));
}

TEST(BonjourTable, TypesAreBrowsedWhileTheyAreFixedAnnouncedOrInUse) {
    BonjourTable table({"_osc._udp."});
    EXPECT_THAT(table.browsedTypes(), ElementsAre("_osc._udp."));
    EXPECT_THAT(table.view().types, ElementsAre()) << "nobody has announced it";
    table.addType(left, "_ipp._tcp.");
    table.addType(right, "_ipp._tcp.");
    EXPECT_THAT(table.browsedTypes(), ElementsAre("_ipp._tcp.", "_osc._udp."));
    EXPECT_THAT(table.view().types, ElementsAre("_ipp._tcp."));
    table.removeType(left, "_ipp._tcp.");
    EXPECT_THAT(table.view().types, ElementsAre("_ipp._tcp."));
    const Key printer{.type = "_ipp._tcp.", .name = "Printer", .place = right};
    table.add(printer);
    table.removeType(right, "_ipp._tcp.");
    EXPECT_THAT(table.view().types, ElementsAre());
    EXPECT_THAT(table.browsedTypes(), ElementsAre("_ipp._tcp.", "_osc._udp."));
    table.remove(printer);
    EXPECT_THAT(table.browsedTypes(), ElementsAre("_osc._udp."));
    table.removeType(right, "_ipp._tcp.");
}

TEST(BonjourTable, AFloodOfTypesIsRefusedAndCounted) {
    BonjourTable table({"_fixed._tcp."});
    for (int i = 0; i < 100; ++i) table.addType(left, "_t" + std::to_string(i) + "._tcp.");
    EXPECT_EQ(table.browsedTypes().size(), BonjourTable::mostTypes);
    EXPECT_EQ(table.view().refused, 37u);
    table.addType(right, "_t0._tcp.");
    table.addType(left, "_fixed._tcp.");
    EXPECT_EQ(table.view().refused, 37u) << "known types have room";
}

TEST(BonjourTable, AFloodOfServicesIsRefusedAndCounted) {
    BonjourTable table({});
    for (int i = 0; i < 2010; ++i) table.add({.type = "_osc._udp.", .name = std::to_string(i), .place = left});
    EXPECT_EQ(table.view().services.size(), BonjourTable::mostServices);
    EXPECT_EQ(table.view().refused, 10u);
    EXPECT_TRUE(table.add({.type = "_osc._udp.", .name = "0", .place = right}));
    table.remove({.type = "_osc._udp.", .name = "1", .place = left});
    EXPECT_TRUE(table.add(desk(left))) << "room again";
}

TEST(BonjourTable, AFloodOfAnnouncementsIsRefusedAndCounted) {
    BonjourTable table({});
    const auto announcement = [](int number, int adapter) {
        return Key{.type = "_osc._udp.", .name = std::to_string(number), .place = {.adapter = adapter, .protocol = 0}};
    };
    for (int adapter = 0; adapter < 10; ++adapter)
        for (int number = 0; number < 1000; ++number) table.add(announcement(number, adapter));
    EXPECT_EQ(table.view().refused, 2000u);
    EXPECT_FALSE(table.add(announcement(7, 0))) << "known already";
    EXPECT_FALSE(table.contains(announcement(7, 9)));
    EXPECT_EQ(table.view().refused, 2000u);
    table.remove(announcement(7, 0));
    table.remove(announcement(7, 0));
    EXPECT_TRUE(table.add(announcement(7, 9))) << "room again";
    EXPECT_FALSE(table.add(announcement(7, 0)));
    table.clear();
    EXPECT_TRUE(table.add(announcement(7, 9)));
}

TEST(BonjourTable, ClearForgetsAllButTheCountOfRefusals) {
    BonjourTable table({"_osc._udp."});
    for (int i = 0; i < 100; ++i) table.addType(left, "_t" + std::to_string(i) + "._tcp.");
    table.add(desk(left));
    table.clear();
    EXPECT_EQ(table.view().refused, 37u);
    EXPECT_TRUE(table.view().services.empty() && table.view().types.empty());
    EXPECT_THAT(table.browsedTypes(), ElementsAre("_osc._udp."));
}

}  // namespace kestrelyne
