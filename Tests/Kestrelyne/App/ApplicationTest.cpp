#include "Kestrelyne/App/Application.hpp"

#include <gtest/gtest.h>

#include "Kestrelyne/Metering/Device.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

using namespace kestrelyne;

namespace {

class ApplicationTest : public testing::Test {
protected:
    std::unique_ptr<KestrelyneApp> make(bool demo = false) {
        return std::make_unique<KestrelyneApp>(loop.loop(), settings, writer,
                                               ApplicationOptions{folder.path(), folder.path(), demo});
    }

    TestLoop loop{base::SystemClock::shared()};
    TemporaryFolder folder;
    base::StoreWriter writer;
    SettingsStore settings;
};

}  // namespace

TEST_F(ApplicationTest, StartsFromAnEmptyStoreWithTheDemoMeterAtRestAndNoListener) {
    const auto app = make();
    app->start();
    loop.runTurns();
    ASSERT_EQ(app->devices().devices()->size(), 1u);
    EXPECT_EQ(app->devices().devices()->front().name, "Demo UMG 96RM");
    EXPECT_FALSE(app->devices().allMonitors().front()->isRunning());
    EXPECT_FALSE(*app->web().running());
    EXPECT_FALSE(app->simulators().anyOn());
    EXPECT_EQ(&WebServer::shared(), &app->web());
    app->stop();
}

TEST_F(ApplicationTest, StartRemovesWhatEarlierSimulatorsLeft) {
    Device leftover, real;
    leftover.host = "127.0.0.1";
    leftover.port = 1502;
    settings.setBlob("devices.v1", encodeDevices({leftover, real}));
    const auto app = make();
    EXPECT_NE(app->devices().device(leftover.id), nullptr);
    app->start();
    EXPECT_EQ(app->devices().device(leftover.id), nullptr);
    EXPECT_NE(app->devices().device(real.id), nullptr);
    app->stop();
}

TEST_F(ApplicationTest, StopEndsPolling) {
    Device automatic;
    automatic.kind = ConnectionKind::demo;
    automatic.autoConnect = true;
    settings.setBlob("devices.v1", encodeDevices({automatic}));
    const auto app = make();
    app->start();
    auto* monitor = app->devices().monitor(automatic.id);
    ASSERT_TRUE(loop.runUntil([&] { return *monitor->okCount() > 0; }));
    app->stop();
    EXPECT_FALSE(monitor->isRunning());
}
