#include "DMXCommandLine.hpp"

#include <algorithm>

#include "Base/Text.hpp"
#include "ParserParts.hpp"

namespace kestrelyne {

namespace {

constexpr int highestUniverse = 63999, channels = 512, full = 255;
constexpr double highestPriority = 200, shortestStep = 0.05, longestStep = 3600;

/// "1-4,7"; absent when it is none, or names more universes than there are.
std::optional<std::vector<int>> universesOf(const std::string& word) {
    std::vector<int> universes;
    for (const auto part : base::split(word, ',', true)) {
        const auto ends = base::split(part, '-', true);
        const auto first = base::parseInteger(base::trimmed(ends.front())), last = base::parseInteger(base::trimmed(ends.back()));
        if (ends.size() > 2 || !first || !last || *first < 1 || *last < *first || *last > highestUniverse) return std::nullopt;
        for (auto universe = *first; universe <= *last; ++universe) universes.push_back(static_cast<int>(universe));
    }
    std::ranges::sort(universes);
    universes.erase(std::unique(universes.begin(), universes.end()), universes.end());
    return universes;
}

/// With a point or, as people type it here, with a comma.
std::optional<double> numberOf(std::string word) {
    std::ranges::replace(word, ',', '.');
    return base::parseDouble(word);
}

std::string plain(double number) {
    auto text = std::to_string(number);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) text.pop_back();
    return text;
}

}  // namespace

DMXCommandLine::DMXCommandLine(CLI::App& app) {
    using Verb = DMXWords::Verb;
    dmx_ = app.add_subcommand("dmx", "Lampen ohne Pult leuchten lassen, an einem laufenden Programm");
    dmx_->require_subcommand(1);
    addStart();
    auto* stop = dmx_->add_subcommand("stop", "Abdunkeln und freigeben");
    stop->callback([this] { words_.verb = Verb::stop; });
    auto* status = dmx_->add_subcommand("status", "Was gesendet wird und was dagegen stand");
    status->callback([this] { words_.verb = Verb::status; });
    status->add_flag("--json", words_.json, "Als JSON");
    groupCommand(*dmx_);
}

CLI::App* DMXCommandLine::startMode(CLI::App& start, const char* name, const char* help) {
    auto* command = start.add_subcommand(name, help);
    command->callback([this, name] {
        words_.verb = DMXWords::Verb::start;
        words_.mode = name;
    });
    return command;
}

void DMXCommandLine::addStart() {
    auto* start = dmx_->add_subcommand("start", "Beginnt, wo sonst niemand sendet; was schon leuchtet, wird ersetzt");
    start->require_subcommand(1);
    startMode(*start, "fixtures", "Einzelne Lampen")
        ->add_option("ID", words_.fixtures, "Nummern des Pultes oder Kennungen")
        ->required();
    startMode(*start, "all", "Alle Lampen");
    startMode(*start, "chase", "Eine Lampe nach der anderen");
    auto* raw = startMode(*start, "raw", "Ein einzelner Kanal");
    addInteger(*raw, "UNIVERSE", "wie das Pult es zählt", 1, highestUniverse, words_.universe);
    addInteger(*raw, "CHANNEL", "1 bis 512", 1, channels, words_.channel);
    addInteger(*raw, "VALUE", "0 bis 255", 0, full, words_.value);
    addNumber(*start, "--level", "Helligkeit, 0 bis 1", 0, 1, words_.level);
    start->add_option("--proto", words_.proto, "artnet oder sacn")
        ->check(checked("weder artnet noch sacn", [](const std::string& word) { return word == "artnet" || word == "sacn"; }));
    addNumber(*start, "--priority", "Priorität auf sACN, 0 bis 200", 0, highestPriority, words_.priority);
    addNumber(*start, "--step", "Sekunden je Lampe", shortestStep, longestStep, words_.step);
    start
        ->add_option_function<std::string>(
            "--universes", [this](const std::string& word) { words_.universes = universesOf(word); },
            "Nur diese Universen, etwa 1-4,7")
        ->check(
            checked("keine Liste von Universen wie 1-4,7", [](const std::string& word) { return universesOf(word).has_value(); }));
}

void DMXCommandLine::addInteger(CLI::App& command, const char* name, const char* help, int lowest, int highest, int& target) {
    command
        .add_option_function<std::string>(
            name, [&target](const std::string& word) { target = static_cast<int>(base::parseInteger(word).value_or(0)); }, help)
        ->check(checked("keine Zahl von " + std::to_string(lowest) + " bis " + std::to_string(highest),
                        [lowest, highest](const std::string& word) {
                            const auto number = base::parseInteger(word);
                            return number && *number >= lowest && *number <= highest;
                        }))
        ->required();
}

void DMXCommandLine::addNumber(CLI::App& command, const char* name, const char* help, double lowest, double highest,
                               std::optional<double>& target) {
    command
        .add_option_function<std::string>(
            name, [&target](const std::string& word) { target = numberOf(word); }, help)
        ->check(checked("keine Zahl von " + plain(lowest) + " bis " + plain(highest), [lowest, highest](const std::string& word) {
            const auto number = numberOf(word);
            return number && *number >= lowest && *number <= highest;
        }));
}

void DMXCommandLine::take(CommandLine& line) const {
    if (parsed()) line.command = words_;
}

}  // namespace kestrelyne
