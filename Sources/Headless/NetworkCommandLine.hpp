#pragma once
// The words of the commands of the show network: monitor, device, adapter, universes, versions.

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "CommandLine.hpp"
#include "ParserParts.hpp"

namespace kestrelyne {

class NetworkCommandLine {
public:
    explicit NetworkCommandLine(CLI::App& app);
    NetworkCommandLine(const NetworkCommandLine&) = delete;
    NetworkCommandLine& operator=(const NetworkCommandLine&) = delete;

    /// What stands against the words; empty when nothing does.
    std::string complaint() const;
    /// One of its commands was typed.
    bool parsed() const;
    /// Fills in the command that was typed.
    void take(CommandLine& line) const;

private:
    CLI::App* monitorVerb(CLI::App& parent, const char* name, const char* help, MonitorWords::Verb verb);
    CLI::App* deviceVerb(const char* name, const char* help, DeviceWords::Verb verb);
    CLI::App* adapterVerb(const char* name, const char* help, AdapterWords::Verb verb);
    void addMonitor(CLI::App& app);
    void addDevice(CLI::App& app);
    void addAdapter(CLI::App& app);
    void addUniverses(CLI::App& app);
    void addVersions(CLI::App& app);
    void addDeviceFields(CLI::App& command, SwitchWords& snmp, SwitchWords& alarm);

    CLI::App *monitor_ = nullptr, *device_ = nullptr, *adapter_ = nullptr, *universes_ = nullptr, *versions_ = nullptr;
    MonitorWords monitorWords_;
    DeviceWords deviceWords_;
    AdapterWords adapterWords_;
    UniversesWords universesWords_;
    VersionsWords versionsWords_;
    // One of each for "add" and for "edit".
    SwitchWords newSNMP_, newAlarm_, editedSNMP_, editedAlarm_;
    std::optional<std::string> port_;
};

}  // namespace kestrelyne
