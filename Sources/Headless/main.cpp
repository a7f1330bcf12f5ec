#include <fmt/format.h>
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "Base/Text.hpp"
#include "CommandLine.hpp"
#include "Commands.hpp"
#include "Say.hpp"

namespace {

using namespace kestrelyne;

struct Carrier {
    const Where& where;
    ExitCode operator()(const RunWords& words) const { return runCommand(where, words); }
    ExitCode operator()(const SettingsWords& words) const { return settingsCommand(where, words); }
    ExitCode operator()(const WebWords& words) const { return webCommand(where, words); }
    ExitCode operator()(const StatusWords& words) const { return statusCommand(where, words); }
    ExitCode operator()(const MonitorWords& words) const { return monitorCommand(where, words); }
    ExitCode operator()(const DeviceWords& words) const { return deviceCommand(where, words); }
    ExitCode operator()(const AdapterWords& words) const { return adapterCommand(where, words); }
    ExitCode operator()(const UniversesWords& words) const { return universesCommand(where, words); }
    ExitCode operator()(const VersionsWords& words) const { return versionsCommand(where, words); }
    ExitCode operator()(const SimulatorWords& words) const { return simulatorCommand(where, words); }
    ExitCode operator()(const PatchWords& words) const { return patchCommand(where, words); }
    ExitCode operator()(const DMXWords& words) const { return dmxCommand(where, words); }
    ExitCode operator()(const RDMWords& words) const { return rdmCommand(where, words); }
};

// It may quote names from the network.
void complain(std::string_view text) {
    std::string lines;
    for (const auto line : base::split(text, '\n', true)) lines += base::printable(line) + "\n";
    say(stderr, "kestrelyne: {}", lines);
}

ExitCode carryOut(const CommandLine& line) {
    try {
        return std::visit(Carrier{line.where}, line.command);
    } catch (const ControlError& error) {
        complain(error.what());
        return error.code();
    } catch (const std::exception& error) {
        complain(error.what());
        return ExitCode::failed;
    }
}

}  // namespace

int main(int count, char** words) {
    // A peer that closes is an error of write(), not the end.
    signal(SIGPIPE, SIG_IGN);
    const auto parsed = parseCommandLine(count, words);
    if (const auto* code = std::get_if<int>(&parsed)) return *code;
    const auto code = carryOut(std::get<CommandLine>(parsed));
    std::cout.flush();
    // What was asked for and could not be written was not done.
    const auto outcome = code == ExitCode::done && !std::cout ? ExitCode::failed : code;
    // Threads may still be inside calls that block; nothing waits for them.
    std::_Exit(static_cast<int>(outcome));
}
