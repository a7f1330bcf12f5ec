#pragma once
// The commands, each answering the exit code of the process. What goes wrong beyond their own checks they throw: std::runtime_error
// with a German text, or ControlError with its code.

#include "CommandLine.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"

namespace kestrelyne {

/// Runs until a signal ends it; does not return then, but ends the process.
ExitCode runCommand(const Where& where, RunWords words);
ExitCode settingsCommand(const Where& where, const SettingsWords& words);
ExitCode webCommand(const Where& where, const WebWords& words);
ExitCode statusCommand(const Where& where, const StatusWords& words);

}  // namespace kestrelyne
