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
ExitCode monitorCommand(const Where& where, const MonitorWords& words);
ExitCode deviceCommand(const Where& where, const DeviceWords& words);
ExitCode adapterCommand(const Where& where, const AdapterWords& words);
/// With `watch` it returns when standard output is closed; a signal ends it.
ExitCode universesCommand(const Where& where, const UniversesWords& words);
ExitCode versionsCommand(const Where& where, const VersionsWords& words);
ExitCode simulatorCommand(const Where& where, const SimulatorWords& words);
ExitCode patchCommand(const Where& where, const PatchWords& words);
ExitCode dmxCommand(const Where& where, const DMXWords& words);
ExitCode rdmCommand(const Where& where, const RDMWords& words);

}  // namespace kestrelyne
