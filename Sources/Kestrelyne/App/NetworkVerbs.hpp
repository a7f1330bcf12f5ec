#pragma once
// The verbs of the control socket that concern the show network.

#include "Base/StoreWriter.hpp"
#include "Kestrelyne/App/Application.hpp"
#include "Kestrelyne/App/ControlServer.hpp"
#include "Kestrelyne/App/SettingsStore.hpp"

namespace kestrelyne {

/// monitor.start, monitor.stop, monitor.status, monitor.show, monitor.set, monitor.known, monitor.takeKnown, monitor.forgetKnown,
/// monitor.clearLight, monitor.clearNetwork, device.list, device.add, device.edit, device.remove, adapter.list, adapter.use,
/// adapter.role, adapter.label, universes. What is given outlives the server.
void addNetworkVerbs(ControlServer& server, KestrelyneApp& app, SettingsStore& settings, base::StoreWriter& writer);

}  // namespace kestrelyne
