#include "ParserParts.hpp"

#include "Base/Text.hpp"

namespace kestrelyne {

namespace {

constexpr const char* options = "Optionen";
constexpr const char* commands = "Befehle";

}  // namespace

void speakGerman(CLI::App& app) {
    const auto words = std::make_shared<CLI::Formatter>();
    for (const auto& [english, german] : std::initializer_list<std::pair<const char*, const char*>>{{"Usage", "Aufruf"},
                                                                                                    {"OPTIONS", "OPTIONEN"},
                                                                                                    {"Options", "Optionen"},
                                                                                                    {"Positionals", "Werte"},
                                                                                                    {"Subcommands", "Befehle"},
                                                                                                    {"SUBCOMMAND", "BEFEHL"},
                                                                                                    {"SUBCOMMANDS", "BEFEHLE"},
                                                                                                    {"REQUIRED", "nötig"},
                                                                                                    {"TEXT", "WERT"}})
        words->label(english, german);
    words->column_width(34);
    app.formatter(words);
    app.option_defaults()->group(options);
    app.set_help_flag("-h,--help", "Diese Hilfe");
}

void groupCommand(CLI::App& command) {
    command.group(commands);
    command.get_help_ptr()->group(options);
    for (auto* below : command.get_subcommands({})) groupCommand(*below);
}

CLI::Validator checked(const std::string& fault, std::function<bool(const std::string&)> fits) {
    return CLI::Validator(
        [fault, fits](const std::string& word) { return fits(word) ? std::string() : "„" + word + "“ ist " + fault; }, "");
}

std::optional<int> portOf(const std::string& word) {
    constexpr long long highest = 65535;
    const auto port = base::parseInteger(word);
    if (!port || *port < 0 || *port > highest) return std::nullopt;
    return static_cast<int>(*port);
}

void SwitchWords::add(CLI::App& command, const std::string& name, const std::string& on, const std::string& off,
                      const std::string& group) {
    name_ = name;
    auto* onOption = command.add_flag("--" + name, on_, on);
    auto* offOption = command.add_flag("--no-" + name, off_, off);
    if (group.empty()) return;
    onOption->group(group);
    offOption->group(group);
}

std::optional<bool> SwitchWords::value() const {
    if (!on_ && !off_) return std::nullopt;
    return on_;
}

}  // namespace kestrelyne
