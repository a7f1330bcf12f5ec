#pragma once
// The verbs of the control socket that switch the test light.

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "Kestrelyne/App/ControlServer.hpp"
#include "Kestrelyne/Lighting/DMXOutput.hpp"
#include "Kestrelyne/Lighting/PatchStore.hpp"

namespace kestrelyne {

/// Each answers dmxState().
///   dmx.start   as dmxRequest() reads it; what was refused is an error with the text of `blockedBy`
///   dmx.stop
///   dmx.status
/// What is given outlives the server.
void addDMXVerbs(ControlServer& server, DMXOutput& output, const PatchStore& patch);

/// "sending", "mode" ("off", "fixtures", "raw", "all", "chase"), with it "fixtures" (ids) or "universe", "channel", "value";
/// "level", "proto", "priority", "step", "universes" (the filter); "blockedBy" (null when nothing stood against it),
/// "currentFixture" ("id", "name", "address"; null without one), "chaseIndex", "sent" (the console's universes that go out now),
/// "withoutNode".
nlohmann::json dmxState(const DMXOutput& output);

/// That state as a person reads it in a terminal.
std::string dmxReport(const nlohmann::json& state);

}  // namespace kestrelyne
