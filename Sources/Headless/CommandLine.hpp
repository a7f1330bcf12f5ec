#pragma once
// The words of the command line.

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
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
    bool rdmWrite = false;        // RDM devices may be changed, in this run
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

struct RDMWords {
    enum class Verb { scan, list, show, sensors, write, identify, address, mode, label, lamp, reset, sequential };
    Verb verb = Verb::list;
    std::string uid;                // as typed
    std::vector<std::string> uids;  // of sequential
    bool on = false;                // of write and identify
    int number = 0;                 // address, mode, state of the lamp, first address of sequential
    std::string text;
    bool cold = false, dryRun = false;
    int gap = 0;
    bool json = false;
};

/// What is not named stays as it is.
struct PatchWords {
    enum class Verb { importFile, exportFile, list, edit, remove, settings };
    Verb verb = Verb::list;
    std::string file;  // of export "-": standard output
    bool replace = false, dryRun = false;
    std::vector<std::string> map;  // "COLUMN=FIELD"
    std::string query;
    std::vector<std::string> fixtures;
    bool all = false;
    std::map<std::string, std::string> texts;  // by the key of the field
    std::optional<int> universe, footprint;
    std::optional<std::string> address;                        // as typed
    std::optional<std::string> offset, breakerAmps, voltage;   // numbers as typed
    std::optional<std::pair<std::string, std::string>> meter;  // of a distributor, by its id
    bool json = false;
};

/// What is not named stays as it is.
struct DMXWords {
    enum class Verb { start, stop, status };
    Verb verb = Verb::status;
    std::string mode;                   // of start: "fixtures", "all", "chase", "raw"
    std::vector<std::string> fixtures;  // numbers or ids, as typed
    int universe = 1, channel = 1, value = 0;
    std::optional<double> level, priority, step;
    std::optional<std::string> proto;  // "artnet", "sacn"
    std::optional<std::vector<int>> universes;
    bool json = false;
};

struct CommandLine {
    Where where;
    std::variant<RunWords, SettingsWords, WebWords, StatusWords, MonitorWords, DeviceWords, AdapterWords, UniversesWords,
                 VersionsWords, SimulatorWords, RDMWords, PatchWords, DMXWords>
        command;
};

/// What was typed; or, when there is nothing left to do (help, version, wrong words, told already), the exit code.
std::variant<CommandLine, int> parseCommandLine(int count, char** words);

}  // namespace kestrelyne
