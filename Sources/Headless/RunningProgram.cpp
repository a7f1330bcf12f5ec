#include "RunningProgram.hpp"

#include <fmt/format.h>

#include <chrono>
#include <iostream>
#include <thread>

#include "Kestrelyne/App/ControlPath.hpp"
#include "Kestrelyne/App/InstanceLock.hpp"

namespace kestrelyne {

namespace {

/// Absent when nobody listens there.
std::optional<RunningProgram> reach(const std::filesystem::path& socket, int pid) {
    try {
        auto client = std::make_unique<ControlClient>(socket);
        return RunningProgram{std::move(client), pid > 0 ? fmt::format("Laufendes Programm (Prozess {}, {})", pid, socket.string())
                                                         : fmt::format("Laufendes Programm ({})", socket.string())};
    } catch (const ControlError& error) {
        if (error.code() == ExitCode::notRunning) return std::nullopt;
        throw;
    }
}

}  // namespace

Folders foldersOf(const Where& where) {
    if (where.data) return Folders::below(*where.data);
    if (where.system) return Folders::ofSystemService();
    return Folders::standard(processEnvironment());
}

std::optional<RunningProgram> findRunningProgram(const Where& where) {
    if (where.socket) {
        auto found = reach(*where.socket, 0);
        if (!found) throw ControlError("An „" + where.socket->string() + "“ läuft kein Programm.", ExitCode::notRunning);
        return found;
    }
    if (where.system) {
        // The service's folders are closed to most; its socket is not.
        if (auto found = reach(ControlPath::ofSystemService().path, 0)) return found;
    }
    // A program that is just starting has its lock before its socket.
    constexpr int attempts = 50;
    constexpr auto pause = std::chrono::milliseconds(100);
    const auto folders = foldersOf(where);
    for (int i = 0; i < attempts; ++i) {
        const auto holder = InstanceLock::holder(folders.settings);
        if (!holder) return std::nullopt;
        if (auto found = reach(holder->socket, holder->pid)) return found;
        std::this_thread::sleep_for(pause);
    }
    throw ControlError("Ein Programm benutzt „" + folders.settings.string() + "“, antwortet aber nicht.");
}

RunningProgram needRunningProgram(const Where& where) {
    if (auto running = findRunningProgram(where)) return std::move(*running);
    throw ControlError("Es läuft kein Programm mit den Einstellungen in „" + foldersOf(where).settings.string() + "“.",
                       ExitCode::notRunning);
}

std::optional<int> runningProcess(const Folders& folders) {
    const auto holder = InstanceLock::holder(folders.settings);
    if (!holder) return std::nullopt;
    return holder->pid;
}

std::string lineOfStandardInput() {
    std::string line;
    std::getline(std::cin, line);
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

}  // namespace kestrelyne
