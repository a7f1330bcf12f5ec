#pragma once
// The words of the command line.

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

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
    std::optional<bool> monitor;  // the network is watched from the start
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

struct MonitorWords {
    enum class Verb { start, stop, status, show, set, knownList, knownTake, knownForget, clearLight, clearNetwork };
    Verb verb = Verb::status;
    std::string field, value;
    bool json = false;
};

/// What is not named stays as it is, or has its default.
struct DeviceWords {
    enum class Verb { list, add, edit, remove };
    Verb verb = Verb::list;
    std::string device;  // as typed: id, name or address
    std::optional<std::string> name, ip, role, community, extraOIDs, notes;
    std::optional<int> snmpPort;  // 1…65535
    std::optional<bool> snmp, alarmOnOffline;
    bool json = false;
};

struct AdapterWords {
    enum class Verb { list, use, role, label };
    Verb verb = Verb::list;
    std::vector<std::string> names;  // of use
    std::string name, value;         // of role and label
    bool json = false;
};

struct UniversesWords {
    bool watch = false;
    bool json = false;
};

struct VersionsWords {
    bool json = false;
};

struct SimulatorWords {
    enum class Verb { show, switched, fault };
    Verb verb = Verb::show;
    std::string name;
    bool on = false;
};

struct CommandLine {
    Where where;
    std::variant<RunWords, SettingsWords, WebWords, StatusWords, MonitorWords, DeviceWords, AdapterWords, UniversesWords,
                 VersionsWords, SimulatorWords>
        command;
};

/// What was typed; or, when there is nothing left to do (help, version, wrong words, told already), the exit code.
std::variant<CommandLine, int> parseCommandLine(int count, char** words);

}  // namespace kestrelyne
