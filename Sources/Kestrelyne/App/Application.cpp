#include "Kestrelyne/App/Application.hpp"

#include <algorithm>
#include <iterator>

#include "Kestrelyne/Metering/AlarmPreset.hpp"
#include "Kestrelyne/Remote/EventRoutes.hpp"
#include "Kestrelyne/Remote/MeteringRoutes.hpp"
#include "Kestrelyne/Remote/NetworkRoutes.hpp"

namespace kestrelyne {

namespace {
constexpr std::size_t poolThreads = 16;

/// The demo hears and sends inside this computer alone: nothing of it reaches a network that somebody works on.
NetworkServices networkServices(SettingsStore& settings, base::BackgroundPool& pool, const base::Clock& clock,
                                AlarmOutlets& outlets, bool demo) {
    NetworkServices services{.settings = settings, .pool = pool, .clock = clock, .outlets = outlets};
    if (!demo) {
        services.readLocalUPS = [ups = std::make_shared<netcore::LocalUPS>()] { return ups->read(); };
        return services;
    }
    services.loopbackOnly = true;
    services.listInterfaces = [] { return std::vector<netcore::NetInterface>(); };
    services.readARPTable = [] { return std::optional<std::vector<netcore::ARPRow>>(); };
    services.bonjour = false;
    services.watchAdapters = false;
    return services;
}

}  // namespace

KestrelyneApp::KestrelyneApp(base::MainLoop& loop, SettingsStore& settings, base::StoreWriter& writer, ApplicationOptions options)
    : loop_(loop),
      options_(std::move(options)),
      startedAt_(loop.clock().now()),
      pool_("kestrelyne.pool", poolThreads),
      metering_{settings, writer, loop.clock()},
      devices_(metering_),
      network_(networkServices(settings, pool_, loop.clock(), metering_.outlets, options_.demo)),
      web_({.settings = settings, .pool = pool_, .webRoot = options_.webRoot}),
      api_(web_, routes()) {
    web_.registerShared();
    web_.setRoute([this](HTTPRequest request) { return api_.route(std::move(request)); });
}

std::vector<APIRoute> KestrelyneApp::routes() {
    std::vector<APIRoute> all;
    for (auto part : {meteringRoutes(devices_, &network_), networkRoutes(&network_), eventRoutes(devices_, &network_)})
        std::ranges::move(part, std::back_inserter(all));
    return all;
}

void KestrelyneApp::start() {
    web_.attach();
    simulators_.cleanupLeftovers(devices_, network_);
    if (options_.demo) startDemo();
}

void KestrelyneApp::startDemo() {
    // The throw-away store begins with one meter at rest; the demo shows the simulated one alone.
    const auto stored = *devices_.devices();
    for (const auto& device : stored) devices_.remove(device.id);
    network_.start();
    simulators_.setLighting(true);
    simulators_.setMeter(true, devices_);
    simulators_.setUPS(true, network_);
    for (auto* monitor : devices_.allMonitors())
        for (const auto preset :
             {AlarmPreset::overvoltage, AlarmPreset::undervoltage, AlarmPreset::overcurrent, AlarmPreset::starPoint})
            for (auto rule : rules(preset)) monitor->alarms().upsert(std::move(rule));
}

void KestrelyneApp::stop() {
    simulators_.stopAll(devices_, network_);
    network_.stop();
    devices_.stopAll();
    web_.setRoute(nullptr);
}

}  // namespace kestrelyne
