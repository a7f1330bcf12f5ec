#pragma once
// Which program a command speaks of, and whether it runs.

#include <memory>
#include <optional>
#include <string>

#include "CommandLine.hpp"
#include "Kestrelyne/App/ControlClient.hpp"
#include "Kestrelyne/App/Folders.hpp"

namespace kestrelyne {

/// The folders that the words name. Throws std::runtime_error.
Folders foldersOf(const Where& where);

/// A connection to a running program, with what to say about it.
struct RunningProgram {
    std::unique_ptr<ControlClient> client;
    std::string description;  // "Laufendes Programm (Prozess 12, /run/…)"
};
/// Absent when no program runs there. Throws ControlError when one runs that cannot be reached.
std::optional<RunningProgram> findRunningProgram(const Where& where);

/// The same for what cannot do without: throws ControlError (notRunning) when no program runs there.
RunningProgram needRunningProgram(const Where& where);

/// The process that holds these folders now; absent when none does, 0 when it does not say.
std::optional<int> runningProcess(const Folders& folders);

/// The first line of standard input without its end; empty at its end.
std::string lineOfStandardInput();

}  // namespace kestrelyne
