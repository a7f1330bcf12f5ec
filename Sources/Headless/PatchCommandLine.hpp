#pragma once
// The words of the command "patch".

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "CommandLine.hpp"

namespace kestrelyne {

class PatchCommandLine {
public:
    explicit PatchCommandLine(CLI::App& app);
    PatchCommandLine(const PatchCommandLine&) = delete;
    PatchCommandLine& operator=(const PatchCommandLine&) = delete;

    /// What stands against the words; empty when nothing does.
    std::string complaint() const;
    /// The command was typed.
    bool parsed() const { return patch_->parsed(); }
    /// Fills it in when it was typed.
    void take(CommandLine& line) const;

private:
    CLI::App* verb(const char* name, const char* help, PatchWords::Verb verb);
    void addFiles();
    void addEdits();
    void addSettings();
    /// A text of a fixture, under its key.
    void addText(CLI::App& command, const std::string& option, const std::string& key, const std::string& help);

    CLI::App* patch_ = nullptr;
    PatchWords words_;
    std::optional<std::string> distributor_, meter_;
};

}  // namespace kestrelyne
