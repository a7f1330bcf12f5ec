#pragma once
// Pieces of the command line parser that its families share.

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>

namespace kestrelyne {

/// Help and headings in German, for the whole tree below.
void speakGerman(CLI::App& app);
/// The headings of a command and of all commands below it.
void groupCommand(CLI::App& command);

/// A check of a value, with what is said of one that does not fit.
CLI::Validator checked(const std::string& fault, std::function<bool(const std::string&)> fits);
/// 0…65535
std::optional<int> portOf(const std::string& word);

/// An option and its opposite: --web, --no-web.
class SwitchWords {
public:
    void add(CLI::App& command, const std::string& name, const std::string& on, const std::string& off,
             const std::string& group = "");
    std::optional<bool> value() const;
    /// Both were given.
    bool contradicts() const { return on_ && off_; }
    const std::string& name() const { return name_; }

private:
    std::string name_;
    bool on_ = false, off_ = false;
};

}  // namespace kestrelyne
