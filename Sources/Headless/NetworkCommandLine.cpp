#include "NetworkCommandLine.hpp"

#include "Kestrelyne/Network/NetConfig.hpp"

namespace kestrelyne {

namespace {

constexpr const char* asJSON = "Als JSON";
constexpr const char* whichDevice = "Kennung, Name oder Adresse";
constexpr const char* whichAdapter = "Gerätename, etwa eth0";

std::string fieldNames() {
    std::string names;
    for (const auto& [name, value] : netFields({})) names += (names.empty() ? "" : ", ") + name;
    return names;
}

}  // namespace

NetworkCommandLine::NetworkCommandLine(CLI::App& app) {
    addMonitor(app);
    addDevice(app);
    addAdapter(app);
    addUniverses(app);
    addVersions(app);
    for (auto* command : {monitor_, device_, adapter_, universes_, versions_}) groupCommand(*command);
}

CLI::App* NetworkCommandLine::monitorVerb(CLI::App& parent, const char* name, const char* help, MonitorWords::Verb verb) {
    auto* command = parent.add_subcommand(name, help);
    command->callback([this, verb] { monitorWords_.verb = verb; });
    return command;
}

void NetworkCommandLine::addMonitor(CLI::App& app) {
    using Verb = MonitorWords::Verb;
    monitor_ = app.add_subcommand("monitor", "Die Überwachung des Netzes");
    monitor_->require_subcommand(1);
    monitorVerb(*monitor_, "start", "Jetzt beginnen", Verb::start);
    monitorVerb(*monitor_, "stop", "Jetzt beenden", Verb::stop);
    monitorVerb(*monitor_, "status", "Was sie sieht", Verb::status)->add_flag("--json", monitorWords_.json, asJSON);
    monitorVerb(*monitor_, "show", "Ihre Einstellungen", Verb::show)->add_flag("--json", monitorWords_.json, asJSON);
    auto* set = monitorVerb(*monitor_, "set", "Eine Einstellung ändern", Verb::set);
    set->add_option("FIELD", monitorWords_.field, fieldNames())->required();
    set->add_option("VALUE", monitorWords_.value, "ein Wert unter null steht hinter --")->required();

    auto* known = monitor_->add_subcommand("known", "Die Referenz der bekannten Geräte (MAC-Adressen)");
    known->require_subcommand(1);
    monitorVerb(*known, "list", "Die Referenz", Verb::knownList)->add_flag("--json", monitorWords_.json, asJSON);
    monitorVerb(*known, "take", "Alle gesehenen Geräte in die Referenz übernehmen", Verb::knownTake);
    monitorVerb(*known, "forget", "Die Referenz löschen", Verb::knownForget);

    auto* clear = monitor_->add_subcommand("clear", "Das Bild leeren und neu beginnen");
    clear->require_subcommand(1);
    monitorVerb(*clear, "light", "Universen, Nodes, Pulte, Timecode", Verb::clearLight);
    monitorVerb(*clear, "network", "Ereignisse, Adressen, Zustände der Geräte, PTP, IGMP", Verb::clearNetwork);
}

CLI::App* NetworkCommandLine::deviceVerb(const char* name, const char* help, DeviceWords::Verb verb) {
    auto* command = device_->add_subcommand(name, help);
    command->callback([this, verb] { deviceWords_.verb = verb; });
    return command;
}

void NetworkCommandLine::addDeviceFields(CLI::App& command, SwitchWords& snmp, SwitchWords& alarm) {
    command.add_option("--name", deviceWords_.name, "Wie es heißt; ohne Namen seine Adresse");
    command.add_option("--role", deviceWords_.role, "node, console, networkSwitch, robospot, media, audio, video, ups, other");
    snmp.add(command, "snmp", "Auch über SNMP lesen", "Nicht über SNMP lesen");
    command.add_option("--community", deviceWords_.community, "SNMP-Community");
    command.add_option("--snmp-port", port_, "UDP-Port von SNMP")
        ->check(checked("keine Zahl von 1 bis 65535", [](const std::string& word) { return portOf(word).value_or(0) > 0; }));
    command.add_option("--oids", deviceWords_.extraOIDs, "Weitere OIDs");
    alarm.add(command, "alarm", "Alarm, wenn es nicht erreichbar ist", "Dann nur eine Zeile im Protokoll");
    command.add_option("--notes", deviceWords_.notes, "Freier Text");
}

void NetworkCommandLine::addDevice(CLI::App& app) {
    using Verb = DeviceWords::Verb;
    device_ = app.add_subcommand("device", "Die überwachten Geräte");
    device_->require_subcommand(1);
    deviceVerb("list", "Alle mit ihrem Zustand", Verb::list)->add_flag("--json", deviceWords_.json, asJSON);
    auto* add = deviceVerb("add", "Ein Gerät aufnehmen", Verb::add);
    add->add_option("--ip", deviceWords_.ip, "IPv4-Adresse")->required();
    addDeviceFields(*add, newSNMP_, newAlarm_);
    auto* edit = deviceVerb("edit", "Ein Gerät ändern; was nicht genannt ist, bleibt", Verb::edit);
    edit->add_option("DEVICE", deviceWords_.device, whichDevice)->required();
    edit->add_option("--ip", deviceWords_.ip, "IPv4-Adresse");
    addDeviceFields(*edit, editedSNMP_, editedAlarm_);
    deviceVerb("remove", "Ein Gerät streichen", Verb::remove)->add_option("DEVICE", deviceWords_.device, whichDevice)->required();
}

CLI::App* NetworkCommandLine::adapterVerb(const char* name, const char* help, AdapterWords::Verb verb) {
    auto* command = adapter_->add_subcommand(name, help);
    command->callback([this, verb] { adapterWords_.verb = verb; });
    return command;
}

void NetworkCommandLine::addAdapter(CLI::App& app) {
    using Verb = AdapterWords::Verb;
    adapter_ = app.add_subcommand("adapter", "Die Netzwerkadapter und ihre Aufgaben");
    adapter_->require_subcommand(1);
    adapterVerb("list", "Alle mit IPv4-Adresse", Verb::list)->add_flag("--json", adapterWords_.json, asJSON);
    adapterVerb("use", "Nur diese benutzen; ohne Namen alle außer Tunneln", Verb::use)
        ->add_option("ADAPTER", adapterWords_.names, whichAdapter);
    auto* role = adapterVerb("role", "Wofür ein Adapter da ist", Verb::role);
    role->add_option("ADAPTER", adapterWords_.name, whichAdapter)->required();
    role->add_option("ROLE", adapterWords_.value, "all, lighting, management, power, audio")->required();
    auto* label = adapterVerb("label", "Wie er hier heißt", Verb::label);
    label->add_option("ADAPTER", adapterWords_.name, whichAdapter)->required();
    label->add_option("LABEL", adapterWords_.value, "Ohne Text heißt er wieder, wie ihn das System nennt");
}

void NetworkCommandLine::addUniverses(CLI::App& app) {
    universes_ = app.add_subcommand("universes", "Wer welches DMX-Universum sendet");
    universes_->add_flag("--watch", universesWords_.watch, "Jede Sekunde neu, bis Strg-C");
    universes_->add_flag("--json", universesWords_.json, asJSON);
}

void NetworkCommandLine::addVersions(CLI::App& app) {
    versions_ = app.add_subcommand("versions", "Welche Firmware und Software wo läuft");
    versions_->add_flag("--json", versionsWords_.json, asJSON);
}

std::string NetworkCommandLine::complaint() const {
    for (const auto* words : {&newSNMP_, &newAlarm_, &editedSNMP_, &editedAlarm_})
        if (words->contradicts()) return "--" + words->name() + " und --no-" + words->name() + " schließen einander aus";
    return "";
}

bool NetworkCommandLine::parsed() const {
    return monitor_->parsed() || device_->parsed() || adapter_->parsed() || universes_->parsed() || versions_->parsed();
}

void NetworkCommandLine::take(CommandLine& line) const {
    if (monitor_->parsed()) line.command = monitorWords_;
    if (adapter_->parsed()) line.command = adapterWords_;
    if (universes_->parsed()) line.command = universesWords_;
    if (versions_->parsed()) line.command = versionsWords_;
    if (!device_->parsed()) return;
    auto words = deviceWords_;
    const bool adds = words.verb == DeviceWords::Verb::add;
    words.snmp = (adds ? newSNMP_ : editedSNMP_).value();
    words.alarmOnOffline = (adds ? newAlarm_ : editedAlarm_).value();
    if (port_) words.snmpPort = portOf(*port_);
    line.command = std::move(words);
}

}  // namespace kestrelyne
