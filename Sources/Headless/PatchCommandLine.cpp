#include "PatchCommandLine.hpp"

#include "Base/Text.hpp"
#include "Kestrelyne/Lighting/PatchField.hpp"
#include "ParserParts.hpp"

namespace kestrelyne {

namespace {

constexpr const char* whichFixtures = "Nummern des Pults oder Kennungen";

CLI::Validator aNumber() {
    return checked("keine Zahl", [](const std::string& word) { return base::parseDouble(word).has_value(); });
}
CLI::Validator aWholeNumber() {
    return checked("keine ganze Zahl", [](const std::string& word) { return base::parseInteger(word).has_value(); });
}

std::string fieldWords() {
    std::string words;
    for (const auto field : allPatchFields()) words += (words.empty() ? "" : ", ") + std::string(word(field));
    return words;
}

}  // namespace

PatchCommandLine::PatchCommandLine(CLI::App& app) {
    patch_ = app.add_subcommand("patch", "Der Patch: alle Lampen mit Adresse und Stromplan");
    patch_->require_subcommand(1);
    addFiles();
    addEdits();
    addSettings();
    groupCommand(*patch_);
}

CLI::App* PatchCommandLine::verb(const char* name, const char* help, PatchWords::Verb verb) {
    auto* command = patch_->add_subcommand(name, help);
    command->callback([this, verb] { words_.verb = verb; });
    return command;
}

void PatchCommandLine::addFiles() {
    using Verb = PatchWords::Verb;
    auto* import = verb("import", "Eine CSV-Liste, eine MVR-Datei oder eine Showdatei übernehmen", Verb::importFile);
    import->add_option("FILE", words_.file)->required();
    import->add_flag("--replace", words_.replace, "Was nicht in der Datei steht, entfällt");
    import->add_flag("--dry-run", words_.dryRun, "Nur zeigen, was sich ändern würde");
    import
        ->add_option("--map", words_.map,
                     "SPALTE=FELD: was eine Spalte der CSV-Liste sagt, wo die Überschrift nicht genügt. Felder: " + fieldWords())
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    verb("export", "Den Patch mit Stromplan als CSV-Liste schreiben", Verb::exportFile)
        ->add_option("FILE", words_.file, "„-“ für die Standardausgabe")
        ->required();
    auto* list = verb("list", "Die Lampen", Verb::list);
    list->add_option("QUERY", words_.query, "Nummer, „Universum.Adresse“ oder ein Stück Text");
    list->add_flag("--json", words_.json, "Als JSON");
}

void PatchCommandLine::addText(CLI::App& command, const std::string& option, const std::string& key, const std::string& help) {
    command.add_option_function<std::string>(
        option, [this, key](const std::string& text) { words_.texts[key] = text; }, help);
}

void PatchCommandLine::addEdits() {
    using Verb = PatchWords::Verb;
    auto* edit = verb("edit", "Felder von Lampen ändern; ein leerer Text löscht", Verb::edit);
    edit->add_option("ID", words_.fixtures, std::string(whichFixtures) + "; „all“: alle")->required();
    addText(*edit, "--id", "fixtureID", "Nummer des Pults");
    addText(*edit, "--name", "name", "Name");
    addText(*edit, "--manufacturer", "manufacturer", "Hersteller");
    addText(*edit, "--model", "model", "Typ");
    addText(*edit, "--mode", "mode", "DMX-Modus");
    edit->add_option("--universe", words_.universe, "Universum des Pults, ab 1");
    edit->add_option("--address", words_.address, "1 bis 512, oder mit Universum: 2.041; 0: nicht gepatcht");
    edit->add_option("--footprint", words_.footprint, "Zahl der Kanäle");
    addText(*edit, "--layer", "layer", "Layer oder Gruppe");
    addText(*edit, "--position", "position", "Traverse oder Position");
    addText(*edit, "--distributor", "distributor", "Stromverteiler");
    addText(*edit, "--plugbox", "plugbox", "Plugbox oder Multicore");
    // "--socket" is that of the running program.
    addText(*edit, "--outlet", "socket", "Steckplatz an der Box");
    addText(*edit, "--breaker", "breaker", "Sicherung oder Kreis");
    addText(*edit, "--phase", "phase", "L1, L2 oder L3");
    addText(*edit, "--power", "powerW", "Leistung in Watt");
    addText(*edit, "--notes", "notes", "Freier Text");
    addText(*edit, "--rdm", "rdmUID", "Fest mit diesem RDM-Gerät verbunden (MMMM:DDDDDDDD)");

    auto* remove = verb("delete", "Lampen löschen", Verb::remove);
    remove->add_option("ID", words_.fixtures, whichFixtures);
    remove->add_flag("--all", words_.all, "Alle Lampen");
}

void PatchCommandLine::addSettings() {
    auto* settings = verb("settings", "Universen und Stromplan; ohne Angaben: zeigen", PatchWords::Verb::settings);
    settings->add_option("--offset", words_.offset, "Art-Net-Universum = Pult-Universum − 1 + dieser Wert; unter null: --offset=-1")
        ->check(aWholeNumber());
    settings->add_option("--amps", words_.breakerAmps, "Nennstrom der Sicherungen in Ampere")->check(aNumber());
    settings->add_option("--voltage", words_.voltage, "Spannung einer Phase in Volt")->check(aNumber());
    settings->add_option("--distributor", distributor_, "Verteiler, dem ein Messgerät zugeordnet wird");
    settings->add_option("--meter", meter_, "Kennung des Messgeräts; leer: keines");
    settings->add_flag("--json", words_.json, "Als JSON");
}

std::string PatchCommandLine::complaint() const {
    if (!parsed()) return "";
    using Verb = PatchWords::Verb;
    if (words_.verb == Verb::remove && words_.all == !words_.fixtures.empty())
        return words_.all ? "--all und einzelne Lampen schließen einander aus" : "es fehlen Lampen oder --all";
    if (words_.verb == Verb::settings && distributor_.has_value() != meter_.has_value())
        return "--distributor und --meter gehören zusammen";
    return "";
}

void PatchCommandLine::take(CommandLine& line) const {
    if (!parsed()) return;
    auto words = words_;
    if (words.verb == PatchWords::Verb::settings && distributor_) words.meter = {*distributor_, *meter_};
    line.command = std::move(words);
}

}  // namespace kestrelyne
