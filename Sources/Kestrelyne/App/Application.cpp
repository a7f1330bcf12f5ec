#include "Kestrelyne/App/Application.hpp"

#include <algorithm>
#include <iterator>

#include "Kestrelyne/Metering/AlarmPreset.hpp"
#include "Kestrelyne/Remote/EventRoutes.hpp"
#include "Kestrelyne/Remote/LightingRoutes.hpp"
#include "Kestrelyne/Remote/MeteringRoutes.hpp"
#include "Kestrelyne/Remote/NetworkRoutes.hpp"
#include "Kestrelyne/Simulators/DemoPatch.hpp"

namespace kestrelyne {

namespace {
constexpr std::size_t poolThreads = 16;

}  // namespace

KestrelyneApp::KestrelyneApp(base::MainLoop& loop, SettingsStore& settings, base::StoreWriter& writer, ApplicationOptions options)
    : loop_(loop),
      options_(std::move(options)),
      startedAt_(loop.clock().now()),
      pool_("kestrelyne.pool", poolThreads),
      metering_{settings, writer, loop.clock()},
      devices_(metering_),
      patch_(options_.dataFolder, writer),
      network_(networkServices(settings)),
      testLight_(patch_, dmxNetwork(), {}),
      web_({.settings = settings, .pool = pool_, .webRoot = options_.webRoot}),
      api_(web_, routes()) {
    notePatchUniverses();
    patchChanged_ = patch_.patch().observe([this] { notePatchUniverses(); });
    network_.setTestPort(testLight_.senderPort());
    patch_.registerShared();
    testLight_.registerShared();
    web_.registerShared();
    web_.setRoute([this](HTTPRequest request) { return api_.route(std::move(request)); });
}

/// The demo hears and sends inside this computer alone: nothing of it reaches a network that somebody works on.
NetworkServices KestrelyneApp::networkServices(SettingsStore& settings) {
    NetworkServices services{.settings = settings, .pool = pool_, .clock = loop_.clock(), .outlets = metering_.outlets};
    services.seams.patchUniverses = [this] { return patchUniverses_; };
    services.seams.patchSACNUniverses = [this] { return patchSACNUniverses_; };
    if (!options_.demo) {
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

DMXNetwork KestrelyneApp::dmxNetwork() {
    return {.running = [this] { return *network_.isRunning(); },
            .sources = [this](const UniverseKey& key) { return network_.dmxSources(key); },
            .nodes = [this](int universe) { return network_.nodesOf(universe); },
            .adapters =
                [this] {
                    std::vector<std::uint32_t> indices;
                    for (const auto& interface : network_.interfacesFor(AdapterRole::lighting)) indices.push_back(interface.index);
                    return indices;
                },
            .hear = [this](const std::set<int>& universes) { network_.hearUniverses(universes); },
            .loopbackOnly = options_.demo,
            .log = [this](NetEvent::Level level, std::string text) { network_.log(level, std::move(text), networkSource); },
            .now = [this] { return loop_.clock().steadyNow(); }};
}

void KestrelyneApp::notePatchUniverses() {
    patchUniverses_.clear();
    patchSACNUniverses_.clear();
    for (const auto& fixture : patch_.fixtures()) {
        if (!fixture.patched()) continue;
        patchUniverses_.insert(patch_.settings().artNetUniverse(fixture.universe));
        patchSACNUniverses_.insert(fixture.universe);
    }
}

std::vector<APIRoute> KestrelyneApp::routes() {
    std::vector<APIRoute> all;
    for (auto part :
         {meteringRoutes(devices_, &network_, &patch_), networkRoutes(&network_, &patch_), eventRoutes(devices_, &network_),
          lightingRoutes({.web = web_, .patch = patch_, .dmx = testLight_, .rdm = &network_.rdm(), .log = [this](std::string text) {
                              network_.log(NetEvent::Level::info, std::move(text), networkSource);
                          }})})
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
    const auto meters = *devices_.devices();
    patch_.set(demoPatch(meters.empty() ? std::nullopt : std::optional(meters.front().id)));
    // The simulated node puts out other universes; sACN reaches this computer alone.
    auto options = *testLight_.options();
    options.proto = DMXOutput::Proto::sacn;
    testLight_.setOptions(std::move(options));
    for (auto* monitor : devices_.allMonitors())
        for (const auto preset :
             {AlarmPreset::overvoltage, AlarmPreset::undervoltage, AlarmPreset::overcurrent, AlarmPreset::starPoint})
            for (auto rule : rules(preset)) monitor->alarms().upsert(std::move(rule));
}

void KestrelyneApp::stop() {
    testLight_.stop();
    simulators_.stopAll(devices_, network_);
    network_.stop();
    devices_.stopAll();
    web_.setRoute(nullptr);
}

base::Co<> KestrelyneApp::settled() {
    co_await testLight_.finished();
    co_await patch_.flush();
}

}  // namespace kestrelyne
