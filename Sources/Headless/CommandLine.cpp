#include "CommandLine.hpp"
#include "Say.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>

#include "DMXCommandLine.hpp"
#include "Kestrelyne/App/AppInfo.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"
#include "NetworkCommandLine.hpp"
#include "ParserParts.hpp"
#include "PatchCommandLine.hpp"
#include "RDMCommandLine.hpp"

namespace kestrelyne {

namespace {

std::string upTo(const std::string& text, std::string_view end) { return text.substr(0, text.find(end)); }

/// What the library says of wrong words, in German.
std::string complaint(const CLI::App& app, const CLI::ParseError& error) {
    const std::string text = error.what();
    if (dynamic_cast<const CLI::ExtrasError*>(&error)) return "unbekannt: " + CLI::detail::join(app.remaining(true), " ");
    if (dynamic_cast<const CLI::RequiredError*>(&error))
        return text.starts_with("A subcommand") ? "es fehlt ein Befehl" : "es fehlt " + upTo(text, " is required");
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error)) return "falsche Zahl von Werten bei " + upTo(text, ":");
    return text;
}

/// The parser and what it fills.
class Parser {
public:
    Parser() : app_("Wachstation einer Veranstaltung: Strom, Netz und Licht im Blick.", "kestrelyne") {
        speakGerman(app_);
        app_.set_version_flag("--version", AppInfo::full(), "Fassung des Programms");
        app_.require_subcommand(0, 1);
        app_.fallthrough();
        addWhere();
        addRun();
        addSettings();
        addWeb();
        status_ = app_.add_subcommand("status", "Was läuft: Messgeräte, Alarme, Adressen");
        addSimulator();
        for (auto* command : {run_, settings_, web_, status_, simulator_}) groupCommand(*command);
        network_.emplace(app_);
        patch_.emplace(app_);
        rdm_.emplace(app_);
        dmx_.emplace(app_);
        status_->add_flag("--json", statusWords_.json, "Als JSON");
    }

    std::variant<CommandLine, int> parse(int count, char** words) {
        try {
            app_.parse(count, words);
            return commandLine();
        } catch (const CLI::Success& success) {
            return app_.exit(success, std::cout, std::cerr);
        } catch (const CLI::ParseError& error) {
            return wrongWords(complaint(app_, error));
        }
    }

private:
    static int wrongWords(const std::string& text) {
        say(stderr, "kestrelyne: {}. Hilfe: kestrelyne --help\n", text);
        return static_cast<int>(ExitCode::wrongWords);
    }

    void addWhere() {
        const char* group = "Welches Programm";
        app_.add_option("--data", data_, "Ordner für Einstellungen und Daten (statt der des Benutzers)")->group(group);
        app_.add_option("--socket", socket_, "Steueranschluss eines laufenden Programms")->group(group);
        app_.add_flag("--system", where_.system, "Der Dienst dieses Rechners")->group(group);
    }

    // The options of "run" belong to the program itself, as "run" may be left out.
    void addRun() {
        run_ = app_.add_subcommand("run", "Läuft, bis SIGINT oder SIGTERM kommt (auch ohne Befehl)");
        const char* group = "Optionen von run, vor dem Start gespeichert";
        webSwitch_.add(app_, "web", "Web-App ein", "Web-App aus", group);
        app_.add_option("--port", port_, "TCP-Port der Web-App, 0 bis 65535 (0: ein freier)")
            ->check(checked("keine Zahl von 0 bis 65535", [](const std::string& word) { return portOf(word).has_value(); }))
            ->group(group);
        app_.add_option("--pin", runWords_.pin, "PIN der Web-App; „-“ liest sie von der Standardeingabe")->group(group);
        lanSwitch_.add(app_, "lan", "Im lokalen Netz erreichbar", "Nur dieser Rechner und Tailscale", group);
        monitorSwitch_.add(app_, "monitor", "Das Netz überwachen", "Das Netz nicht überwachen", group);
        app_.add_flag("--rdm-write", runWords_.rdmWrite, "Geräte über RDM ändern erlauben, nur für diesen Lauf")->group(group);
        app_.add_flag("--demo", runWords_.demo, "Mit simulierten Geräten in einem Wegwerf-Ordner")->group(group);
    }

    CLI::App* settingsVerb(const char* name, const char* help, SettingsWords::Verb verb) {
        auto* command = settings_->add_subcommand(name, help);
        command->callback([this, verb] { settingsWords_.verb = verb; });
        return command;
    }
    void addSettings() {
        settings_ = app_.add_subcommand("settings", "Die gespeicherten Einstellungen");
        settings_->require_subcommand(1);
        using Verb = SettingsWords::Verb;
        settingsVerb("list", "Alle Schlüssel", Verb::list);
        settingsVerb("get", "Der Wert eines Schlüssels", Verb::get)->add_option("KEY", settingsWords_.key)->required();
        auto* set = settingsVerb("set", "Einen Wert setzen", Verb::set);
        set->add_option("KEY", settingsWords_.key)->required();
        set->add_option("VALUE", settingsWords_.value, "„-“ liest die Standardeingabe")->required();
        set->add_option("--type", settingsWords_.type, "json, text, number oder bool; ohne Angabe die bisherige Art");
        settingsVerb("delete", "Einen Schlüssel löschen; ohne KEY alle", Verb::remove)->add_option("KEY", settingsWords_.key);
        const char* fileHelp = "XML-Eigenschaftsliste; „-“ für Standardeingabe und -ausgabe";
        settingsVerb("export", "Alles in eine Datei", Verb::exportFile)
            ->add_option("FILE", settingsWords_.file, fileHelp)
            ->required();
        settingsVerb("import", "Ersetzt, was die Datei nennt; alles oder nichts", Verb::importFile)
            ->add_option("FILE", settingsWords_.file, fileHelp)
            ->required();
    }

    CLI::App* webVerb(const char* name, const char* help, WebWords::Verb verb) {
        auto* command = web_->add_subcommand(name, help);
        command->callback([this, verb] { webWords_.verb = verb; });
        return command;
    }
    void addWeb() {
        web_ = app_.add_subcommand("web", "Die Web-App");
        web_->require_subcommand(1);
        using Verb = WebWords::Verb;
        webVerb("show", "Einstellungen und Adressen", Verb::show);
        auto* set = webVerb("set", "Ein Feld setzen", Verb::set);
        set->add_option("FIELD", webWords_.field,
                        "enabled, port, allowLAN, publicURL, control (view, find, full), pin, pushSubject")
            ->required();
        set->add_option("VALUE", webWords_.value, "„-“ liest eine Zeile von der Standardeingabe")->required();
        webVerb("logout-all", "Alle abmelden", Verb::logoutAll);
        webVerb("tailscale", "HTTPS über Tailscale ein- oder ausschalten", Verb::tailscale)
            ->add_option_function<std::string>("on|off", [this](const std::string& word) { webWords_.on = word == "on"; })
            ->check(checked("weder on noch off", [](const std::string& word) { return word == "on" || word == "off"; }))
            ->required();
        webVerb("qr", "Adresse als QR-Code", Verb::qr);
    }

    CLI::App* simulatorVerb(const char* name, const char* help, SimulatorWords::Verb verb) {
        auto* command = simulator_->add_subcommand(name, help);
        command->callback([this, verb] { simulatorWords_.verb = verb; });
        return command;
    }
    void addOnOff(CLI::App& command) {
        command.add_option_function<std::string>("on|off", [this](const std::string& word) { simulatorWords_.on = word == "on"; })
            ->check(checked("weder on noch off", [](const std::string& word) { return word == "on" || word == "off"; }))
            ->required();
    }
    void addSimulator() {
        simulator_ = app_.add_subcommand("simulator", "Die eingebauten Simulatoren eines laufenden Programms");
        simulator_->require_subcommand(1);
        using Verb = SimulatorWords::Verb;
        simulatorVerb("status", "Was läuft, mit welchen Fehlern", Verb::show);
        auto* change = simulatorVerb("switch", "Einen Simulator ein- oder ausschalten", Verb::switched);
        change->add_option("NAME", simulatorWords_.name, "meter, light, ups")->required();
        addOnOff(*change);
        auto* fault = simulatorVerb("fault", "Einen Fehler ein- oder ausschalten", Verb::fault);
        fault
            ->add_option("NAME", simulatorWords_.name,
                         "meter.overload, meter.phaseLoss, meter.undervoltage, meter.unbalance, meter.silent, light.sacnConflict, "
                         "light.artnetDropout, light.nodeOffline, light.timecodeStopped, ups.onBattery, ups.lowBattery, "
                         "ups.overload, ups.bypass, ups.offline")
            ->required();
        addOnOff(*fault);
    }

    std::variant<CommandLine, int> commandLine() {
        if (data_) where_.data = *data_;
        if (socket_) where_.socket = *socket_;
        for (const auto* words : {&webSwitch_, &lanSwitch_, &monitorSwitch_})
            if (words->contradicts())
                return wrongWords("--" + words->name() + " und --no-" + words->name() + " schließen einander aus");
        for (const auto& complaint : {network_->complaint(), patch_->complaint()})
            if (!complaint.empty()) return wrongWords(complaint);
        runWords_.web = webSwitch_.value();
        runWords_.lan = lanSwitch_.value();
        runWords_.monitor = monitorSwitch_.value();
        if (port_) runWords_.port = portOf(*port_);
        const bool runs = !settings_->parsed() && !web_->parsed() && !status_->parsed() && !network_->parsed() && !rdm_->parsed() &&
                          !simulator_->parsed() && !patch_->parsed() && !dmx_->parsed();
        const bool runOptions = runWords_.web || runWords_.lan || runWords_.port || runWords_.pin || runWords_.monitor ||
                                runWords_.demo || runWords_.rdmWrite;
        if (!runs && runOptions)
            return wrongWords(
                "--web, --no-web, --port, --pin, --lan, --no-lan, --monitor, --no-monitor, --rdm-write und --demo gehören zu "
                "run");
        if (static_cast<int>(where_.data.has_value()) + static_cast<int>(where_.socket.has_value()) +
                static_cast<int>(where_.system) >
            1)
            return wrongWords("--data, --socket und --system schließen einander aus");
        if (where_.socket && (runs || settings_->parsed())) return wrongWords("--socket gehört nicht zu run und settings");
        if (runs && where_.system) return wrongWords("der Dienst wird mit systemctl gestartet, nicht mit --system");
        if (runWords_.demo && where_.data) return wrongWords("--demo hat seinen eigenen Ordner und nimmt kein --data");
        if (settings_->parsed() && settingsWords_.key && settingsWords_.key->empty()) return wrongWords("der Schlüssel ist leer");
        CommandLine line{.where = where_, .command = runWords_};
        if (settings_->parsed()) line.command = settingsWords_;
        if (web_->parsed()) line.command = webWords_;
        if (status_->parsed()) line.command = statusWords_;
        if (simulator_->parsed()) line.command = simulatorWords_;
        network_->take(line);
        patch_->take(line);
        rdm_->take(line);
        dmx_->take(line);
        return line;
    }

    CLI::App app_;
    CLI::App *run_ = nullptr, *settings_ = nullptr, *web_ = nullptr, *status_ = nullptr, *simulator_ = nullptr;
    std::optional<NetworkCommandLine> network_;
    std::optional<PatchCommandLine> patch_;
    std::optional<RDMCommandLine> rdm_;
    std::optional<DMXCommandLine> dmx_;
    SwitchWords webSwitch_, lanSwitch_, monitorSwitch_;
    std::optional<std::string> data_, socket_, port_;
    Where where_;
    RunWords runWords_;
    SettingsWords settingsWords_;
    WebWords webWords_;
    StatusWords statusWords_;
    SimulatorWords simulatorWords_;
};

}  // namespace

std::variant<CommandLine, int> parseCommandLine(int count, char** words) { return Parser().parse(count, words); }

}  // namespace kestrelyne
