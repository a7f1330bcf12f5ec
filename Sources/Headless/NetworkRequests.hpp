#pragma once
// Where the commands of the show network go: to a running program, or to stores that no program has open. What is asked, and where
// the answer comes from, is told on standard error.

#include <functional>
#include <nlohmann/json_fwd.hpp>

#include "CommandLine.hpp"
#include "Kestrelyne/Network/NetConfig.hpp"

namespace kestrelyne {

/// The answer of the running program. Throws ControlError (notRunning) when none runs.
nlohmann::json askRunningProgram(const Where& where, const nlohmann::json& request);

/// The answer of the running program, else what `ofStores` makes of the stored settings. Makes no store where there is none.
nlohmann::json readNetwork(const Where& where, const nlohmann::json& request,
                           const std::function<nlohmann::json(const NetConfig&)>& ofStores);

/// An edit of the settings (see NetworkEdits.hpp) by the running program, else in the stores; saved when it returns.
nlohmann::json changeNetwork(const Where& where, const nlohmann::json& request);

/// The answer as JSON for other programs, on one line with an indent of -1. ASCII alone: what a name from the network holds moves
/// no terminal.
void printJSON(const nlohmann::json& answer, int indent = 2);

}  // namespace kestrelyne
