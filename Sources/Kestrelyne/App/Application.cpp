#include "Kestrelyne/App/Application.hpp"

#include "Kestrelyne/Metering/AlarmPreset.hpp"
#include "Kestrelyne/Remote/MeteringRoutes.hpp"

namespace kestrelyne {

namespace {
constexpr std::size_t poolThreads = 16;
}

KestrelyneApp::KestrelyneApp(base::MainLoop& loop, SettingsStore& settings, base::StoreWriter& writer, ApplicationOptions options)
    : loop_(loop),
      options_(std::move(options)),
      startedAt_(loop.clock().now()),
      pool_("kestrelyne.pool", poolThreads),
      metering_{settings, writer, loop.clock()},
      devices_(metering_),
      web_({.settings = settings, .pool = pool_, .webRoot = options_.webRoot}),
      api_(web_, meteringRoutes(devices_)) {
    web_.registerShared();
    web_.setRoute([this](HTTPRequest request) { return api_.route(std::move(request)); });
}

void KestrelyneApp::start() {
    web_.attach();
    simulators_.cleanupLeftovers(devices_);
    if (options_.demo) startDemo();
}

void KestrelyneApp::startDemo() {
    // The throw-away store begins with one meter at rest; the demo shows the simulated one alone.
    const auto stored = *devices_.devices();
    for (const auto& device : stored) devices_.remove(device.id);
    simulators_.setMeter(true, devices_);
    for (auto* monitor : devices_.allMonitors())
        for (const auto preset :
             {AlarmPreset::overvoltage, AlarmPreset::undervoltage, AlarmPreset::overcurrent, AlarmPreset::starPoint})
            for (auto rule : rules(preset)) monitor->alarms().upsert(std::move(rule));
}

void KestrelyneApp::stop() {
    simulators_.stopAll(devices_);
    devices_.stopAll();
    web_.setRoute(nullptr);
}

}  // namespace kestrelyne
