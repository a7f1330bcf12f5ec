#pragma once
// The application: it makes every store in a fixed order, owns it and joins it to the others. The faces (command line, web,
// desktop) are given this object.

#include <filesystem>
#include <memory>
#include <set>
#include <vector>

#include "Base/BackgroundPool.hpp"
#include "Base/MainLoop.hpp"
#include "Base/StoreWriter.hpp"
#include "Kestrelyne/App/SettingsStore.hpp"
#include "Kestrelyne/Lighting/DMXOutput.hpp"
#include "Kestrelyne/Lighting/PatchStore.hpp"
#include "Kestrelyne/Metering/DeviceStore.hpp"
#include "Kestrelyne/Metering/MonitorSeams.hpp"
#include "Kestrelyne/Network/NetworkMonitor.hpp"
#include "Kestrelyne/Remote/WebAPI.hpp"
#include "Kestrelyne/Remote/WebServer.hpp"
#include "Kestrelyne/Simulators/SimulatorCenter.hpp"

namespace kestrelyne {

struct ApplicationOptions {
    std::filesystem::path dataFolder;  // "Patch", "Einsätze", "Profile", "Sicherungen" lie in it, made by their owners
    std::filesystem::path webRoot;     // files of the web app
    bool demo = false;                 // simulators on, with alarm rules worth watching
};

/// Main thread. What it is given outlives it.
class KestrelyneApp {
public:
    /// Makes the stores; meters set to connect by themselves begin to be polled, and the network to be watched where its settings
    /// ask for it.
    KestrelyneApp(base::MainLoop& loop, SettingsStore& settings, base::StoreWriter& writer, ApplicationOptions options);
    KestrelyneApp(const KestrelyneApp&) = delete;
    KestrelyneApp& operator=(const KestrelyneApp&) = delete;

    /// The rest of the start sequence: the web server is attached, what earlier simulators left is removed.
    void start();
    /// Ends polling and listening, and begins to darken what the test light lights; never waits for a device.
    void stop();
    /// Resumes when the test light is dark and released and the patch is on disk; a matter of tenths of a second.
    base::Co<> settled();

    WebServer& web() { return web_; }
    DeviceStore& devices() { return devices_; }
    NetworkMonitor& network() { return network_; }
    SimulatorCenter& simulators() { return simulators_; }
    base::BackgroundPool& pool() { return pool_; }
    PatchStore& patch() { return patch_; }
    DMXOutput& testLight() { return testLight_; }
    base::WallTime startedAt() const { return startedAt_; }
    const base::MainLoop& loop() const { return loop_; }

private:
    NetworkServices networkServices(SettingsStore& settings);
    DMXNetwork dmxNetwork();
    void notePatchUniverses();
    std::vector<APIRoute> routes();
    void startDemo();

    base::MainLoop& loop_;
    const ApplicationOptions options_;
    const base::WallTime startedAt_;
    base::BackgroundPool pool_;
    MeteringServices metering_;
    DeviceStore devices_;
    PatchStore patch_;
    std::set<int> patchUniverses_, patchSACNUniverses_;  // asked for every second: made when the patch changes
    base::Subscription patchChanged_;
    NetworkMonitor network_;
    DMXOutput testLight_;
    SimulatorCenter simulators_;
    WebServer web_;
    WebAPI api_;
};

}  // namespace kestrelyne
