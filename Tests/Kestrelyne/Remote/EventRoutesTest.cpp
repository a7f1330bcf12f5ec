#include "Kestrelyne/Remote/EventRoutes.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Kestrelyne/Network/MonitorBench.hpp"
#include "RouteCall.hpp"

namespace kestrelyne {

using nlohmann::ordered_json;

namespace {

class EventRoutesTest : public testing::Test, protected MonitorBench {
protected:
    ordered_json events(const NetworkMonitor* network) {
        return ordered_json::parse(answerOf(time, eventRoutes(store, network).front()).body)["events"];
    }
    DeviceMonitor& meter() { return *store.allMonitors().front(); }
    void pass() { time.clock().advance(base::Seconds(1)); }

    base::StoreWriter writer;
    MeteringServices services{settings, writer, time.clock()};
    DeviceStore store{services};
};

}  // namespace

TEST_F(EventRoutesTest, EventsOfAllMetersNewestFirst) {
    Device second;
    second.name = "Zwei";
    store.add(second);
    meter().alarms().setCommLoss(true, 0);
    store.monitor(second.id)->alarms().setCommLoss(true, 0);
    meter().alarms().communicationFailed(now());
    pass();
    store.monitor(second.id)->alarms().communicationFailed(now());
    pass();
    meter().applyValues({}, now(), 0);
    const auto json = events(nullptr);
    ASSERT_EQ(json.size(), 3u);
    EXPECT_EQ(json[0], (ordered_json{{"time", base::secondsSince1970(now().wall)},
                                     {"source", "Demo UMG 96RM"},
                                     {"level", "info"},
                                     {"text", "Behoben: Kommunikation wiederhergestellt"}}));
    EXPECT_EQ(json[1]["source"], "Zwei");
    EXPECT_EQ(json[1]["level"], "alarm");
    EXPECT_EQ(json[2]["source"], "Demo UMG 96RM");
}

TEST_F(EventRoutesTest, NetworkAndMetersStandInOneListByTime) {
    make();
    meter().alarms().setCommLoss(true, 0);
    monitor->log(NetEvent::Level::info, "eins", networkSource);
    pass();
    meter().alarms().communicationFailed(now());
    pass();
    monitor->log(NetEvent::Level::warning, "drei", powerSource);
    monitor->log(NetEvent::Level::alarm, "vier \"laut\" \xFF", networkSource);
    const auto json = events(monitor.get());
    ASSERT_EQ(json.size(), 4u);
    EXPECT_EQ(json[0], (ordered_json{{"time", base::secondsSince1970(now().wall)},
                                     {"source", "Netzwerk"},
                                     {"level", "alarm"},
                                     {"text", "vier \"laut\" \uFFFD"}}));
    EXPECT_EQ(json[1]["text"], "drei") << "of one instant, in the order of the log";
    EXPECT_EQ(json[1]["level"], "warning");
    EXPECT_EQ(json[1]["source"], "Strom");
    EXPECT_EQ(json[2]["source"], "Demo UMG 96RM");
    EXPECT_EQ(json[3]["text"], "eins");
    EXPECT_EQ(json[3]["level"], "info");
}

TEST_F(EventRoutesTest, OneInstantKeepsItsOrderOverBothLogs) {
    make();
    meter().alarms().setCommLoss(true, 0);
    meter().alarms().communicationFailed(now());
    monitor->log(NetEvent::Level::info, "zugleich", networkSource);
    const auto json = events(monitor.get());
    ASSERT_EQ(json.size(), 2u);
    EXPECT_EQ(json[0]["text"], "zugleich");
    EXPECT_EQ(events(monitor.get()), json);
}

TEST_F(EventRoutesTest, TheLast150OfTheNetworkCount) {
    make();
    for (int n = 0; n < 200; ++n) {
        pass();
        monitor->log(NetEvent::Level::info, std::to_string(n), networkSource);
    }
    const auto json = events(monitor.get());
    ASSERT_EQ(json.size(), 150u);
    EXPECT_EQ(json.front()["text"], "199");
    EXPECT_EQ(json.back()["text"], "50");
}

TEST_F(EventRoutesTest, TheNewest5000EventsAreAnswered) {
    make();
    AlarmRule rule;
    rule.address = 19050;
    rule.delay = 0;
    rule.notify = rule.sound = false;
    rule.threshold = 5;
    monitor->log(NetEvent::Level::info, "am Anfang", networkSource);
    for (int n = 0; n < 5; ++n) store.add(Device{});
    for (auto* device : store.allMonitors()) {
        device->alarms().upsert(rule);
        for (int i = 0; i < 1000; ++i) {
            pass();
            device->alarms().evaluate({{19050, i % 2 == 0 ? 9.0 : 1.0}}, now());
        }
    }
    pass();
    monitor->log(NetEvent::Level::info, "am Ende", networkSource);
    const auto json = events(monitor.get());
    ASSERT_EQ(json.size(), 5000u);
    EXPECT_EQ(json[0]["text"], "am Ende");
    for (std::size_t i = 1; i < json.size(); ++i) ASSERT_LT(json[i]["time"], json[i - 1]["time"]);
}

}  // namespace kestrelyne
