#pragma once
// What a running program does when it is asked over its control socket. Each verb has saved what it changed before it answers.

#include <nlohmann/json_fwd.hpp>

#include "Base/StoreWriter.hpp"
#include "Base/Task.hpp"
#include "Kestrelyne/App/Application.hpp"
#include "Kestrelyne/App/ControlServer.hpp"
#include "Kestrelyne/App/SettingsStore.hpp"

namespace kestrelyne {

/// status, web.show, web.set (field, value), web.logoutAll, web.tailscale (on), and those of the show network. What is given
/// outlives the server.
void addControlVerbs(ControlServer& server, KestrelyneApp& app, SettingsStore& settings, base::StoreWriter& writer);

/// Waits until every change so far is on disk; `failedBefore` is what settings.failedWrites() said before the change. Throws
/// ControlError when a write has failed since.
base::Co<> untilSaved(const SettingsStore& settings, base::StoreWriter& writer, std::size_t failedBefore);

/// "fields" of the web settings, "urls", "httpsURL" (null without one), "running", "requests", "lastClient", "errors", "tailscale".
nlohmann::json webState(const WebServer& web);

/// Switches `tailscale serve` and waits for it. Throws ControlError with what stands against it.
base::Co<> switchTailscale(WebServer& web, bool on);
/// Waits until Tailscale has been asked anew.
base::Co<> askTailscale(WebServer& web);

}  // namespace kestrelyne
