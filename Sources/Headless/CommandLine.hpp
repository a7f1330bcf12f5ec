#pragma once
// The words of the command line.

#include <filesystem>
#include <optional>
#include <string>
#include <variant>

namespace kestrelyne {

/// Which program and which stores are meant.
struct Where {
    std::optional<std::filesystem::path> data;    // --data: both trees below this folder
    std::optional<std::filesystem::path> socket;  // --socket: this running program and no other
    bool system = false;                          // --system: the service of this computer
};

struct RunWords {
    std::optional<bool> web, lan;
    std::optional<int> port;  // 0…65535
    std::optional<std::string> pin;
    bool demo = false;
    bool showPIN = false;  // the program has thought of the PIN, nobody else knows it
};

struct SettingsWords {
    enum class Verb { list, get, set, remove, exportFile, importFile };
    Verb verb = Verb::list;
    std::optional<std::string> key;
    std::string value;                // "-" reads standard input
    std::optional<std::string> type;  // as typed
    std::string file;                 // "-" is standard input or output
};

struct WebWords {
    enum class Verb { show, set, logoutAll, tailscale, qr };
    Verb verb = Verb::show;
    std::string field, value;
    bool on = false;
};

struct StatusWords {
    bool json = false;
};

struct CommandLine {
    Where where;
    std::variant<RunWords, SettingsWords, WebWords, StatusWords> command;
};

/// What was typed; or, when there is nothing left to do (help, version, wrong words, told already), the exit code.
std::variant<CommandLine, int> parseCommandLine(int count, char** words);

}  // namespace kestrelyne
