#pragma once
// The words of the command rdm.

#include <CLI/CLI.hpp>
#include <string>

#include "CommandLine.hpp"

namespace kestrelyne {

class RDMCommandLine {
public:
    explicit RDMCommandLine(CLI::App& app);
    RDMCommandLine(const RDMCommandLine&) = delete;
    RDMCommandLine& operator=(const RDMCommandLine&) = delete;

    bool parsed() const { return rdm_->parsed(); }
    /// Fills in the command when it was typed.
    void take(CommandLine& line) const;

private:
    CLI::App* verb(const char* name, const char* help, RDMWords::Verb verb);
    CLI::App* deviceVerb(const char* name, const char* help, RDMWords::Verb verb);
    void addSwitch(CLI::App& command);
    void addNumber(CLI::App& command, const char* name, const char* help, int lowest, int highest);

    CLI::App* rdm_ = nullptr;
    RDMWords words_;
};

}  // namespace kestrelyne
