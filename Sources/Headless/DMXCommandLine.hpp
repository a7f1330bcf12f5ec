#pragma once
// The words of the command dmx.

#include <CLI/CLI.hpp>
#include <string>

#include "CommandLine.hpp"

namespace kestrelyne {

class DMXCommandLine {
public:
    explicit DMXCommandLine(CLI::App& app);
    DMXCommandLine(const DMXCommandLine&) = delete;
    DMXCommandLine& operator=(const DMXCommandLine&) = delete;

    bool parsed() const { return dmx_->parsed(); }
    /// Fills in the command when it was typed.
    void take(CommandLine& line) const;

private:
    CLI::App* startMode(CLI::App& start, const char* name, const char* help);
    void addStart();
    void addInteger(CLI::App& command, const char* name, const char* help, int lowest, int highest, int& target);
    void addNumber(CLI::App& command, const char* name, const char* help, double lowest, double highest,
                   std::optional<double>& target);

    CLI::App* dmx_ = nullptr;
    DMXWords words_;
};

}  // namespace kestrelyne
