#include "Kestrelyne/Network/AddressWatch.hpp"

#include <gtest/gtest.h>

#include "Findings.hpp"

using namespace kestrelyne;

namespace {

const std::string macA = "0A:00:00:00:00:01", macB = "0A:00:00:00:00:02", macC = "0A:00:00:00:00:10";

class AddressWatchTest : public testing::Test {
protected:
    Lines note(double now, const std::string& ip, const std::string& mac, const std::string& interface = "eth0") {
        return told(watch.note(ip, mac, interface, at(now), config));
    }
    Lines check(double now) { return told(watch.check(at(now))); }

    NetConfig config;
    AddressWatch watch;
};

}  // namespace

// The table

TEST_F(AddressWatchTest, KeepsOneEntryForEachPairOfAddresses) {
    note(1, "10.0.0.10", macA);
    note(2, "10.0.0.9", macB);
    note(3, "10.0.0.9", macA);
    note(5, "10.0.0.10", macA, "eth1");
    check(5);
    ASSERT_EQ(watch.arpTable()->size(), 3U);
    std::vector<std::string> rows;
    for (const auto& entry : *watch.arpTable()) rows.push_back(entry.ip + " " + entry.mac);
    EXPECT_EQ(rows, (Lines{"10.0.0.9 " + macA, "10.0.0.9 " + macB, "10.0.0.10 " + macA}));
    const auto& last = watch.arpTable()->back();
    EXPECT_EQ(last.firstSeen.steady, at(1).steady) << "stays";
    EXPECT_EQ(last.lastSeen.steady, at(5).steady);
    EXPECT_EQ(last.interface, "eth1");
}

TEST_F(AddressWatchTest, HardwareAddressesAreUpperCase) {
    note(1, "10.0.0.9", "0a:0b:0c:0d:0e:0f");
    note(2, "10.0.0.9", "0A:0B:0C:0D:0E:0F");
    check(2);
    ASSERT_EQ(watch.arpTable()->size(), 1U);
    EXPECT_EQ(watch.arpTable()->front().mac, "0A:0B:0C:0D:0E:0F");
}

TEST_F(AddressWatchTest, NoAddressAndBroadcastAreNoDevices) {
    config.knownMACs = {{macA, ""}};
    for (const char* mac : {"00:00:00:00:00:00", "FF:FF:FF:FF:FF:FF", "ff:ff:ff:ff:ff:ff"})
        EXPECT_EQ(note(1, "10.0.0.9", mac), Lines{}) << mac;
    check(1);
    EXPECT_TRUE(watch.arpTable()->empty());
}

TEST_F(AddressWatchTest, ADeviceIsFoundWhereItWasLastSeen) {
    note(1, "10.0.0.9", macA);
    note(2, "10.0.0.10", macA);
    ASSERT_NE(watch.byMAC(macA), nullptr);
    EXPECT_EQ(watch.byMAC(macA)->ip, "10.0.0.10");
    note(3, "10.0.0.9", macA);
    EXPECT_EQ(watch.byMAC(macA)->ip, "10.0.0.9");
    EXPECT_EQ(watch.byMAC(macB), nullptr);
}

TEST_F(AddressWatchTest, EntriesOfYesterdayGo) {
    note(0, "10.0.0.9", macA);
    note(0, "10.0.0.10", macB);
    note(50000, "10.0.0.10", macB);
    check(86400);
    EXPECT_EQ(watch.arpTable()->size(), 2U);
    check(86461);
    ASSERT_EQ(watch.arpTable()->size(), 1U);
    EXPECT_EQ(watch.arpTable()->front().mac, macB);
    EXPECT_EQ(watch.byMAC(macA), nullptr);
    EXPECT_NE(watch.byMAC(macB), nullptr);
}

TEST_F(AddressWatchTest, AFloodOfInventedAddressesIsCountedAndDropped) {
    const auto ip = [](std::size_t number) {
        return "10." + std::to_string(number / 65536) + "." + std::to_string(number / 256 % 256) + "." +
               std::to_string(number % 256);
    };
    for (std::size_t number = 0; number < AddressWatch::mostEntries; ++number) note(1, ip(number), macA);
    EXPECT_EQ(watch.refused(), 0U);
    note(1, "192.168.0.1", macB);
    EXPECT_EQ(watch.refused(), 1U);
    EXPECT_EQ(watch.byMAC(macB), nullptr);
    note(2, ip(0), macA);
    EXPECT_EQ(watch.refused(), 1U) << "a known pair is never refused";
    check(2);
    EXPECT_EQ(watch.arpTable()->size(), AddressWatch::mostEntries);
    check(86500);
    note(86500, "192.168.0.1", macB);
    EXPECT_EQ(watch.refused(), 1U) << "there is room again";
}

TEST_F(AddressWatchTest, PublishesOnlyWhatHasChanged) {
    int tables = 0, conflicts = 0;
    const auto first = watch.arpTable().observe([&tables] { ++tables; });
    const auto second = watch.ipConflicts().observe([&conflicts] { ++conflicts; });
    note(1, "10.0.0.9", macA);
    note(1, "10.0.0.10", macB);
    EXPECT_EQ(tables, 0) << "not before the check";
    check(1);
    check(2);
    EXPECT_EQ(tables, 1);
    EXPECT_EQ(conflicts, 0);
    note(3, "10.0.0.9", macB);
    check(3);
    check(4);
    EXPECT_EQ(tables, 2);
    EXPECT_EQ(conflicts, 1);
}

// Devices nobody approved

TEST_F(AddressWatchTest, AnUnknownDeviceIsToldOnceAsLoudAsTheSettingsSay) {
    struct Row {
        bool alarm;
        std::map<std::string, std::string> reference;
        Lines expected;
    };
    for (const auto& [alarm, reference, expected] :
         std::initializer_list<Row>{{true, {}, {}},
                                    {false, {}, {}},
                                    {true, {{macA, ""}}, {"alarm: Unbekanntes Gerät im Netz: 10.0.0.9 (" + macB + ")"}},
                                    {false, {{macA, ""}}, {"warning: Unbekanntes Gerät im Netz: 10.0.0.9 (" + macB + ")"}},
                                    {true, {{macA, ""}, {macB, ""}}, {}}}) {
        watch.clear();
        config.alarmNewDevices = alarm;
        config.knownMACs = reference;
        EXPECT_EQ(note(1, "10.0.0.9", macB), expected) << reference.size() << " approved, alarm " << alarm;
        EXPECT_EQ(note(2, "10.0.0.9", macB), Lines{}) << "once";
        EXPECT_EQ(note(3, "10.0.0.10", macB), Lines{}) << "once a device, not once an address";
    }
}

TEST_F(AddressWatchTest, TheReferenceIsComparedInUpperCase) {
    config.knownMACs = {{"0A:0B:0C:0D:0E:0F", ""}};
    EXPECT_EQ(note(1, "10.0.0.9", "0a:0b:0c:0d:0e:0f"), Lines{});
}

TEST_F(AddressWatchTest, ADeviceThatWasThereBeforeTheReferenceIsToldWhenSeenAgain) {
    note(1, "10.0.0.9", macB);
    config.knownMACs = {{macA, ""}};
    EXPECT_EQ(note(2, "10.0.0.9", macB).size(), 1U);
}

// Conflicts: who uses 10.0.0.9 at which time.

TEST_F(AddressWatchTest, TwoDevicesWithOneAddressWithinAMinuteAreAConflict) {
    const std::string comes = "alarm: IP-Konflikt: 10.0.0.9 wird von 2 Geräten benutzt (" + macA + ", " + macB + ")";
    const std::string goes = "info: IP-Konflikt 10.0.0.9 nicht mehr sichtbar";
    struct Row {
        double now;
        std::vector<std::string> seen;
        Lines expected;
    };
    for (const auto& [now, seen, expected] : std::initializer_list<Row>{{0, {macB}, {}},
                                                                        {60, {macA}, {comes}},
                                                                        {60.1, {}, {goes}},
                                                                        {70, {macB}, {comes}},
                                                                        {71, {}, {}},
                                                                        {100, {macA, macB}, {}},
                                                                        {130, {macA}, {}},
                                                                        {160, {}, {}},
                                                                        {161, {}, {goes}},
                                                                        {162, {}, {}},
                                                                        {191, {macB}, {}},  // 61 s after the other one
                                                                        {192, {}, {}}}) {
        for (const auto& mac : seen) note(now, "10.0.0.9", mac);
        EXPECT_EQ(check(now), expected) << "at " << now << " s";
    }
    EXPECT_TRUE(watch.ipConflicts()->empty());
}

TEST_F(AddressWatchTest, AConflictTellsWhoFightsInNaturalOrder) {
    note(10, "10.0.0.9", macC);
    note(11, "10.0.0.9", macB);
    note(12, "10.0.0.9", macA);
    EXPECT_EQ(check(12),
              Lines{"alarm: IP-Konflikt: 10.0.0.9 wird von 3 Geräten benutzt (" + macA + ", " + macB + ", " + macC + ")"});
    ASSERT_EQ(watch.ipConflicts()->size(), 1U);
    EXPECT_EQ(watch.ipConflicts()->front().ip, "10.0.0.9");
    EXPECT_EQ(watch.ipConflicts()->front().macs, (Lines{macA, macB, macC}));
    EXPECT_EQ(watch.ipConflicts()->front().since.steady, at(12).steady);
}

TEST_F(AddressWatchTest, AThirdDeviceJoinsTheConflictWithoutAnotherAlarm) {
    note(10, "10.0.0.9", macA);
    note(11, "10.0.0.9", macB);
    check(11);
    note(12, "10.0.0.9", macC);
    EXPECT_EQ(check(12), Lines{});
    EXPECT_EQ(watch.ipConflicts()->front().macs.size(), 3U);
    EXPECT_EQ(watch.ipConflicts()->front().since.steady, at(11).steady);
}

TEST_F(AddressWatchTest, ConflictsAreToldInTheOrderOfTheirAddresses) {
    for (const char* ip : {"10.0.0.10", "10.0.0.9"})
        for (const auto& mac : {macA, macB}) note(1, ip, mac);
    const auto lines = check(1);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].starts_with("alarm: IP-Konflikt: 10.0.0.9 ")) << lines[0];
    EXPECT_EQ(watch.ipConflicts()->at(1).ip, "10.0.0.10");
}

TEST_F(AddressWatchTest, OneDeviceWithManyAddressesIsNoConflict) {
    note(1, "10.0.0.9", macA);
    note(1, "10.0.0.10", macA);
    EXPECT_EQ(check(1), Lines{});
}

TEST_F(AddressWatchTest, WhatIsClearedIsForgottenWithoutAWord) {
    config.knownMACs = {{macC, ""}};
    note(1, "10.0.0.9", macA);
    note(1, "10.0.0.9", macB);
    check(1);
    watch.clear();
    EXPECT_TRUE(watch.arpTable()->empty());
    EXPECT_TRUE(watch.ipConflicts()->empty());
    EXPECT_EQ(watch.byMAC(macA), nullptr);
    EXPECT_EQ(check(2), Lines{});
    EXPECT_EQ(note(3, "10.0.0.9", macA).size(), 1U) << "announced anew";
    EXPECT_EQ(check(3), Lines{}) << "the other one was forgotten";
}
