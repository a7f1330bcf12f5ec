#include "RDMCommandLine.hpp"

#include "Base/Text.hpp"
#include "ParserParts.hpp"

namespace kestrelyne {

namespace {

constexpr const char* asJSON = "Als JSON";
constexpr const char* whichDevice = "RDM-Kennung, etwa 7FF0:0000ABCD";
constexpr int highestByte = 255, highestAddress = 65535, slots = 512;

}  // namespace

RDMCommandLine::RDMCommandLine(CLI::App& app) {
    using Verb = RDMWords::Verb;
    rdm_ = app.add_subcommand("rdm", "Scheinwerfer mit RDM, an einem laufenden Programm");
    rdm_->require_subcommand(1);
    verb("scan", "Sucht und liest alle Geräte", Verb::scan)->add_flag("--json", words_.json, asJSON);
    verb("list", "Was der letzte Scan fand", Verb::list)->add_flag("--json", words_.json, asJSON);
    verb("sensors", "Liest alle Sensoren neu", Verb::sensors)->add_flag("--json", words_.json, asJSON);
    deviceVerb("show", "Alles über ein Gerät", Verb::show)->add_flag("--json", words_.json, asJSON);
    addSwitch(*verb("write", "Schreiben erlauben oder sperren; nach dem Start gesperrt", Verb::write));
    addSwitch(*deviceVerb("identify", "Ein Gerät sich zeigen lassen", Verb::identify));
    addNumber(*deviceVerb("address", "Die DMX-Adresse setzen", Verb::address), "N", "1 bis 512", 0, highestAddress);
    addNumber(*deviceVerb("mode", "Den Modus setzen", Verb::mode), "N", "wie „rdm show“ sie zählt", 0, highestByte);
    deviceVerb("label", "Den Namen setzen", Verb::label)
        ->add_option("TEXT", words_.text, "höchstens 32 Bytes; ein leerer löscht ihn")
        ->required();
    addNumber(*deviceVerb("lamp", "Die Lampe schalten", Verb::lamp), "STATE", "0 aus, 1 an, 2 zünden, 3 Bereitschaft", 0,
              highestByte);
    deviceVerb("reset", "Neu starten", Verb::reset)->add_flag("--cold", words_.cold, "Wie nach dem Einschalten");
    auto* sequential = verb("sequential", "Geräte eines Universums hintereinander adressieren", Verb::sequential);
    sequential->add_option("UID", words_.uids, whichDevice)->required();
    addNumber(*sequential, "--start", "erste Adresse, 1 bis 512", 1, slots);
    sequential
        ->add_option_function<std::string>(
            "--gap", [this](const std::string& word) { words_.gap = static_cast<int>(base::parseInteger(word).value_or(0)); },
            "freie Kanäle dazwischen")
        ->check(checked("keine Zahl von 0 bis 511", [](const std::string& word) {
            const auto number = base::parseInteger(word);
            return number && *number >= 0 && *number < slots;
        }));
    sequential->add_flag("--dry-run", words_.dryRun, "Nur zeigen");
    sequential->add_flag("--json", words_.json, asJSON);
    groupCommand(*rdm_);
}

CLI::App* RDMCommandLine::verb(const char* name, const char* help, RDMWords::Verb verb) {
    auto* command = rdm_->add_subcommand(name, help);
    command->callback([this, verb] { words_.verb = verb; });
    return command;
}

CLI::App* RDMCommandLine::deviceVerb(const char* name, const char* help, RDMWords::Verb verb) {
    auto* command = this->verb(name, help, verb);
    command->add_option("UID", words_.uid, whichDevice)->required();
    return command;
}

void RDMCommandLine::addSwitch(CLI::App& command) {
    command.add_option_function<std::string>("on|off", [this](const std::string& word) { words_.on = word == "on"; })
        ->check(checked("weder on noch off", [](const std::string& word) { return word == "on" || word == "off"; }))
        ->required();
}

void RDMCommandLine::addNumber(CLI::App& command, const char* name, const char* help, int lowest, int highest) {
    const auto fits = [lowest, highest](const std::string& word) {
        const auto number = base::parseInteger(word);
        return number && *number >= lowest && *number <= highest;
    };
    command
        .add_option_function<std::string>(
            name, [this](const std::string& word) { words_.number = static_cast<int>(base::parseInteger(word).value_or(0)); }, help)
        ->check(checked("keine Zahl von " + std::to_string(lowest) + " bis " + std::to_string(highest), fits))
        ->required();
}

void RDMCommandLine::take(CommandLine& line) const {
    if (parsed()) line.command = words_;
}

}  // namespace kestrelyne
