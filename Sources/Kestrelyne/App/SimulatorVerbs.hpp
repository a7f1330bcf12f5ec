#pragma once
// The verbs of the control socket that switch the built-in simulators and their faults.

#include "Kestrelyne/App/Application.hpp"
#include "Kestrelyne/App/ControlServer.hpp"

namespace kestrelyne {

/// simulator.show, simulator.switch ("name": "meter" or "light", "on"), simulator.fault ("name", "on"); each answers the state of
/// all. What is given outlives the server.
void addSimulatorVerbs(ControlServer& server, KestrelyneApp& app);

/// That state as a person reads it in a terminal.
std::string simulatorReport(const nlohmann::json& state);

}  // namespace kestrelyne
