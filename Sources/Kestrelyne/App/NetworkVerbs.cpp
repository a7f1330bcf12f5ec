#include "Kestrelyne/App/NetworkVerbs.hpp"

#include <utility>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/App/ControlVerbs.hpp"
#include "Kestrelyne/App/NetworkEdits.hpp"
#include "Kestrelyne/App/NetworkState.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

/// The verbs with what they work on; lives as long as the server's handlers.
class Verbs {
public:
    Verbs(NetworkMonitor& network, SettingsStore& settings, base::StoreWriter& writer)
        : network_(network), settings_(settings), writer_(writer) {}

    base::Co<JSON> start(JSON) {
        network_.start();
        co_return networkState(network_);
    }
    base::Co<JSON> stop(JSON) {
        network_.stop();
        co_return networkState(network_);
    }
    base::Co<JSON> status(JSON) { co_return networkState(network_); }
    base::Co<JSON> universes(JSON) { co_return universeStates(network_); }
    base::Co<JSON> versions(JSON) { co_return versionList(network_); }
    base::Co<JSON> show(JSON) { co_return monitorFields(*network_.config()); }
    base::Co<JSON> known(JSON) { co_return knownAddresses(*network_.config()); }
    base::Co<JSON> devices(JSON) { co_return deviceList(); }
    base::Co<JSON> adapters(JSON) {
        // While it rests the monitor may not know them.
        const auto& seen = *network_.adapters().interfaces();
        co_return adapterStates(*network_.isRunning() ? seen : netcore::NetInterface::list(), *network_.config());
    }

    base::Co<JSON> clearLight(JSON) {
        network_.clearLightingData();
        co_return networkState(network_);
    }
    base::Co<JSON> clearNetwork(JSON) {
        network_.clearNetworkData();
        co_return networkState(network_);
    }

    base::Co<JSON> takeKnown(JSON) {
        const auto failedBefore = settings_.failedWrites();
        network_.markKnown(*network_.addresses().arpTable());
        co_await untilSaved(settings_, writer_, failedBefore);
        co_return knownAddresses(*network_.config());
    }
    /// An edit of the settings; answers what it was about.
    base::Co<JSON> edit(JSON request) {
        auto config = *network_.config();
        auto changed = editNetConfig(config, request);
        const auto failedBefore = settings_.failedWrites();
        network_.setConfig(std::move(config));
        co_await untilSaved(settings_, writer_, failedBefore);
        co_return changed;
    }
    /// The same of a device: its state starts anew.
    base::Co<JSON> putDevice(JSON request) {
        auto config = *network_.config();
        auto changed = editNetConfig(config, request);
        NetDevice device;
        from_json(changed, device);
        const auto failedBefore = settings_.failedWrites();
        network_.upsert(std::move(device));
        co_await untilSaved(settings_, writer_, failedBefore);
        co_return changed;
    }
    base::Co<JSON> removeDevice(JSON request) {
        auto config = *network_.config();
        auto gone = editNetConfig(config, request);
        NetDevice device;
        from_json(gone, device);
        const auto failedBefore = settings_.failedWrites();
        network_.remove(device.id);
        co_await untilSaved(settings_, writer_, failedBefore);
        co_return gone;
    }

private:
    JSON deviceList() const {
        return deviceStates(*network_.config(), *network_.reachability().states(), *network_.snmp().readings(),
                            network_.clock().steadyNow());
    }

    NetworkMonitor& network_;
    SettingsStore& settings_;
    base::StoreWriter& writer_;
};

}  // namespace

void addNetworkVerbs(ControlServer& server, KestrelyneApp& app, SettingsStore& settings, base::StoreWriter& writer) {
    const auto verbs = std::make_shared<Verbs>(app.network(), settings, writer);
    const auto add = [&](const char* name, base::Co<JSON> (Verbs::*verb)(JSON)) {
        server.add(name, [verbs, verb](JSON request) { return ((*verbs).*verb)(std::move(request)); });
    };
    add("monitor.start", &Verbs::start);
    add("monitor.stop", &Verbs::stop);
    add("monitor.status", &Verbs::status);
    add("monitor.show", &Verbs::show);
    add("monitor.set", &Verbs::edit);
    add("monitor.known", &Verbs::known);
    add("monitor.takeKnown", &Verbs::takeKnown);
    add("monitor.forgetKnown", &Verbs::edit);
    add("monitor.clearLight", &Verbs::clearLight);
    add("monitor.clearNetwork", &Verbs::clearNetwork);
    add("device.list", &Verbs::devices);
    add("device.add", &Verbs::putDevice);
    add("device.edit", &Verbs::putDevice);
    add("device.remove", &Verbs::removeDevice);
    add("adapter.list", &Verbs::adapters);
    add("adapter.use", &Verbs::edit);
    add("adapter.role", &Verbs::edit);
    add("adapter.label", &Verbs::edit);
    add("universes", &Verbs::universes);
    add("versions", &Verbs::versions);
}

}  // namespace kestrelyne
