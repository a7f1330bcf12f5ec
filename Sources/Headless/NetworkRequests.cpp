#include "NetworkRequests.hpp"

#include <fmt/format.h>

#include <iostream>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/App/NetworkEdits.hpp"
#include "Kestrelyne/App/SettingsStore.hpp"
#include "Kestrelyne/Network/NetworkMonitor.hpp"
#include "RunningProgram.hpp"
#include "Say.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

// Opening a store may take the disk, and a network that is opened anew some adapters.
constexpr base::Seconds answerLimit{30};

JSON ask(RunningProgram& program, const JSON& request) {
    auto answer = program.client->request(request, answerLimit);
    say(stderr, "{}\n", program.description);
    return answer;
}

/// As the program reads it at its start.
NetConfig storedConfig(SettingsFile& file) {
    const auto value = file.get(NetworkMonitor::defaultsKey);
    const auto* blob = value ? std::get_if<SettingBlob>(&*value) : nullptr;
    const auto* text = value ? std::get_if<std::string>(&*value) : nullptr;
    if (blob == nullptr && text == nullptr) return {};
    try {
        return decodeNetConfig(blob != nullptr ? blob->bytes : *text);
    } catch (const base::DecodeError&) {
        return {};
    }
}

void sayStores(const std::filesystem::path& path) { say(stderr, "Es läuft kein Programm; Einstellungen in „{}“\n", path.string()); }

void sayMovedAside(const SettingsFile& file) {
    if (const auto& moved = file.movedAside())
        say(stderr, "kestrelyne: Die Einstellungen waren beschädigt und liegen jetzt in „{}“.\n", moved->string());
}

}  // namespace

JSON askRunningProgram(const Where& where, const JSON& request) {
    auto running = needRunningProgram(where);
    return ask(running, request);
}

JSON readNetwork(const Where& where, const JSON& request, const std::function<JSON(const NetConfig&)>& ofStores) {
    if (auto running = findRunningProgram(where)) return ask(*running, request);
    const auto path = foldersOf(where).settingsFile();
    sayStores(path);
    if (!std::filesystem::exists(path)) return ofStores({});
    SettingsFile file(path);
    sayMovedAside(file);
    return ofStores(storedConfig(file));
}

JSON changeNetwork(const Where& where, const JSON& request) {
    JSON changed;
    if (auto running = findRunningProgram(where)) {
        changed = ask(*running, request);
    } else {
        const auto path = foldersOf(where).settingsFile();
        SettingsFile file(path);
        sayMovedAside(file);
        sayStores(path);
        auto config = storedConfig(file);
        changed = editNetConfig(config, request);
        file.set(NetworkMonitor::defaultsKey, SettingBlob{encodeNetConfig(config)});
    }
    say(stderr, "Erledigt und gespeichert.\n");
    return changed;
}

void printJSON(const JSON& answer, int indent) {
    constexpr bool asASCII = true;
    std::cout << answer.dump(indent, ' ', asASCII, JSON::error_handler_t::replace) << '\n';
}

}  // namespace kestrelyne
