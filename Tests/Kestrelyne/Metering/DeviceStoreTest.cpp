#include "Kestrelyne/Metering/DeviceStore.hpp"

#include <gtest/gtest.h>

#include "FakeMeter.hpp"
#include "Support/TestLoop.hpp"

using namespace kestrelyne;

namespace {

class DeviceStoreTest : public testing::Test {
protected:
    DeviceStoreTest() {
        services.makeTransport = [this](const Device&) { return meter; };
    }
    void stored(const std::vector<Device>& devices) { settings.setBlob("devices.v1", encodeDevices(devices)); }
    std::vector<Device> saved() const { return decodeDevices(*settings.blob("devices.v1")); }
    static Device named(std::string name) {
        Device device;
        device.name = std::move(name);
        return device;
    }

    TestLoop loop;
    base::StoreWriter writer;
    SettingsStore settings;
    MeteringServices services{settings, writer, loop.clock()};
    std::shared_ptr<FakeMeter> meter = std::make_shared<FakeMeter>();
};

}  // namespace

TEST_F(DeviceStoreTest, AnEmptySettingsStoreYieldsTheDemoMeterAtRest) {
    DeviceStore store(services);
    ASSERT_EQ(store.devices()->size(), 1u);
    EXPECT_EQ(store.devices()->front().name, "Demo UMG 96RM");
    EXPECT_EQ(store.devices()->front().kind, ConnectionKind::demo);
    EXPECT_FALSE(store.allMonitors().front()->isRunning());
    EXPECT_EQ(settings.blob("devices.v1"), std::nullopt);
}

TEST_F(DeviceStoreTest, AnEmptyOrDamagedListYieldsTheDemoMeterAndTheNextSaveReplacesIt) {
    for (const char* bytes : {"[]", "{", R"([{"kind":"Modem"}])"}) {
        settings.setBlob("devices.v1", bytes);
        DeviceStore store(services);
        ASSERT_EQ(store.devices()->size(), 1u) << bytes;
        EXPECT_EQ(store.devices()->front().name, "Demo UMG 96RM");
        store.add(named("Zwei"));
        EXPECT_EQ(saved().size(), 2u);
        EXPECT_EQ(saved().back().name, "Zwei");
    }
}

TEST_F(DeviceStoreTest, StartsTheMetersThatConnectByThemselves) {
    auto automatic = named("A");
    automatic.autoConnect = true;
    stored({automatic, named("B")});
    DeviceStore store(services);
    const auto monitors = store.allMonitors();
    ASSERT_EQ(monitors.size(), 2u);
    EXPECT_TRUE(monitors[0]->isRunning());
    EXPECT_FALSE(monitors[1]->isRunning());
}

TEST_F(DeviceStoreTest, AddingSavesAndStartsNothing) {
    DeviceStore store(services);
    auto device = named("Neu");
    device.autoConnect = true;
    store.add(device);
    EXPECT_EQ(saved().back(), device);
    EXPECT_FALSE(store.monitor(device.id)->isRunning());
    EXPECT_EQ(store.monitor(base::UUID::random()), nullptr);
    EXPECT_EQ(store.monitor(device.id), store.monitor(device.id));
}

TEST_F(DeviceStoreTest, UpdatingReachesTheStoreAndTheRunningMonitor) {
    auto device = named("Alt");
    stored({device});
    DeviceStore store(services);
    store.monitor(device.id)->start();
    device.name = "Neu";
    store.update(device);
    EXPECT_EQ(saved().front().name, "Neu");
    EXPECT_EQ(store.monitor(device.id)->device()->name, "Neu");
    EXPECT_TRUE(store.monitor(device.id)->isRunning());
    store.update(named("Unbekannt"));
    EXPECT_EQ(store.devices()->size(), 1u);
}

TEST_F(DeviceStoreTest, DeletingRemovesRulesLogAndSubMetersForGood) {
    const auto device = named("Weg");
    stored({device, named("Bleibt")});
    DeviceStore store(services);
    store.monitor(device.id)->alarms().upsert(AlarmRule{});
    store.monitor(device.id)->alarms().setCommLoss(true, 0);
    store.monitor(device.id)->alarms().communicationFailed(loop.clock().moment());
    settings.setBlob("submeters." + device.id.text(), "[]");
    ASSERT_TRUE(settings.blob("alarms." + device.id.text()));
    ASSERT_TRUE(settings.blob("alarmlog." + device.id.text()));
    EXPECT_EQ(*store.activeAlarmCount(), 1);
    store.remove(device.id);
    for (const char* prefix : {"alarms.", "alarmlog.", "submeters."})
        EXPECT_FALSE(settings.value(prefix + device.id.text())) << prefix;
    EXPECT_EQ(store.monitor(device.id), nullptr);
    EXPECT_EQ(saved().size(), 1u);
    EXPECT_EQ(*store.activeAlarmCount(), 0);
}

TEST_F(DeviceStoreTest, TheAlarmCountIsAssignedOnlyWhenItDiffers) {
    const auto device = named("A");
    stored({device, named("B")});
    DeviceStore store(services);
    AlarmRule rule;
    rule.address = 1;
    rule.delay = 0;
    for (auto* monitor : store.allMonitors()) {
        rule.id = base::UUID::random();
        monitor->alarms().upsert(rule);
    }
    int told = 0;
    const auto subscription = store.activeAlarmCount().observe([&told] { ++told; });
    for (auto* monitor : store.allMonitors()) monitor->applyValues({{1, 5.0}}, loop.clock().moment(), 0);
    EXPECT_EQ(*store.activeAlarmCount(), 2);
    EXPECT_EQ(told, 2);
    for (auto* monitor : store.allMonitors()) monitor->applyValues({{1, 5.0}}, loop.clock().moment(), 0);
    EXPECT_EQ(told, 2);
}

TEST_F(DeviceStoreTest, MonitorsComeInTheOrderOfTheList) {
    stored({named("C"), named("A"), named("B")});
    DeviceStore store(services);
    std::string order;
    for (const auto* monitor : store.allMonitors()) order += monitor->device()->name;
    EXPECT_EQ(order, "CAB");
}

TEST_F(DeviceStoreTest, StopsAllPolling) {
    auto automatic = named("A");
    automatic.autoConnect = true;
    stored({automatic});
    DeviceStore store(services);
    store.stopAll();
    EXPECT_FALSE(store.allMonitors().front()->isRunning());
}

TEST_F(DeviceStoreTest, OfMetersWithOneIdTheFirstCounts) {
    const auto first = named("Erster");
    auto second = first;
    second.name = "Zweiter";
    stored({first, second, named("Dritter")});
    DeviceStore store(services);
    ASSERT_EQ(store.devices()->size(), 2u);
    EXPECT_EQ(store.devices()->front().name, "Erster");
    EXPECT_EQ(store.devices()->back().name, "Dritter");
}

TEST_F(DeviceStoreTest, AMeterMayBeDeletedByItsOwnId) {
    const auto device = named("Weg");
    const auto stays = named("Bleibt");
    stored({device, stays});
    DeviceStore store(services);
    store.remove(store.monitor(device.id)->device()->id);
    ASSERT_EQ(saved().size(), 1u);
    EXPECT_EQ(saved().front().name, "Bleibt");
    EXPECT_EQ(settings.value("alarms." + device.id.text()), std::nullopt);
}

// A list that nobody made by hand must neither end the process nor hold up its start.
TEST_F(DeviceStoreTest, AVastListThatConnectsByItselfPollsOnlyAsManyAsThereIsRoomFor) {
    constexpr std::size_t count = 20000;
    std::vector<Device> devices(count);
    for (auto& device : devices) device.autoConnect = true;
    stored(devices);
    services.mostQueues = 3;
    DeviceStore store(services);
    std::size_t running = 0;
    for (const auto* monitor : store.allMonitors()) running += monitor->isRunning() ? 1 : 0;
    EXPECT_EQ(store.devices()->size(), count);
    EXPECT_EQ(running, 3u);
}

TEST_F(DeviceStoreTest, AKeyRemovedByHandBringsBackItsDefault) {
    auto device = named("Bühne");
    {
        DeviceStore store(services);
        store.add(device);
        store.monitor(device.id)->alarms().upsert(AlarmRule{});
        store.monitor(device.id)->alarms().setCommLoss(true, 0);
        store.monitor(device.id)->alarms().communicationFailed(loop.clock().moment());
    }
    settings.remove("alarms." + device.id.text());
    settings.remove("alarmlog." + device.id.text());
    {
        DeviceStore store(services);
        EXPECT_EQ(*store.monitor(device.id)->alarms().config(), AlarmConfig{});
        EXPECT_TRUE(store.monitor(device.id)->alarms().events()->empty());
    }
    settings.remove("devices.v1");
    const DeviceStore store(services);
    ASSERT_EQ(store.devices()->size(), 1u);
    EXPECT_EQ(store.devices()->front().name, "Demo UMG 96RM");
}
