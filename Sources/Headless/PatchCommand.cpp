#include <fmt/format.h>

#include <iostream>

#include "Base/File.hpp"
#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"
#include "Commands.hpp"
#include "Kestrelyne/App/AnswerText.hpp"
#include "Kestrelyne/App/ControlPath.hpp"
#include "Kestrelyne/App/InstanceLock.hpp"
#include "Kestrelyne/App/PatchEdits.hpp"
#include "Kestrelyne/App/PatchState.hpp"
#include "Kestrelyne/App/PatchText.hpp"
#include "Kestrelyne/Lighting/PatchExport.hpp"
#include "Kestrelyne/Lighting/PatchImport.hpp"
#include "Kestrelyne/Lighting/PatchStore.hpp"
#include "NetworkRequests.hpp"
#include "PatchFileReader.hpp"
#include "RunningProgram.hpp"
#include "Say.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

// Many thousand lamps, and a disk that syncs slowly.
constexpr base::Seconds answerLimit{120};

void sayFile(const Folders& folders) {
    say(stderr, "Es läuft kein Programm; Patch in „{}“\n", (folders.data / PatchStore::folderName).string());
}

JSON ask(RunningProgram& program, const JSON& request) {
    auto answer = program.client->request(request, answerLimit);
    say(stderr, "{}\n", program.description);
    return answer;
}

/// The patch as patchState() tells it; makes no file where there is none.
JSON readState(const Where& where, const std::string& query) {
    if (auto running = findRunningProgram(where)) return ask(*running, {{"verb", "patch.list"}, {"query", query}});
    const auto folders = foldersOf(where);
    sayFile(folders);
    return patchState(PatchStore::read(folders.data), query);
}

/// An edit (see PatchEdits.hpp) by the running program, else of the file; saved when it returns, but for a dry run.
JSON carryOut(const Where& where, const JSON& request) {
    if (auto running = findRunningProgram(where)) return ask(*running, request);
    const auto folders = foldersOf(where);
    sayFile(folders);
    const bool writes = !answer::isTrue(request, "dryRun");
    std::optional<InstanceLock> lock;
    if (writes) lock.emplace(folders, ControlPath::choose(processEnvironment(), folders).path);
    auto patch = PatchStore::read(folders.data);
    auto answer = editPatch(patch, request);
    if (writes) PatchStore::write(folders.data, patch);
    return answer;
}

/// The same, and says how it went.
JSON change(const Where& where, const JSON& request) {
    auto answer = carryOut(where, request);
    say(stderr, "{}\n", answer::isTrue(request, "dryRun") ? "Nur gezeigt, nichts geändert." : "Erledigt und gespeichert.");
    return answer;
}

void importFile(const Where& where, const PatchWords& words) {
    const std::filesystem::path path(words.file);
    const auto file = readPatchFile(path, words.map, [] { say(stderr, "Show wird entpackt und gelesen …\n"); });
    for (const auto& note : file.notes) say(stderr, "{}\n", base::printable(note));
    std::vector<std::vector<std::string>> columns;
    for (const auto& [heading, field] : file.columns) columns.push_back({heading, "→ " + field});
    if (!columns.empty()) std::cout << alignedTable(columns, "") << '\n';
    JSON fixtures = JSON::array();
    for (const auto& fixture : file.fixtures) {
        fixtures.push_back(compactFixture(fixture));
        fixtures.back().erase("id");  // the patch has its own
    }
    std::cout << patchChangeTable(change(where, {{"verb", "patch.import"},
                                                 {"fixtures", std::move(fixtures)},
                                                 {"replace", words.replace},
                                                 {"source", base::repairUTF8(path.filename().string())},
                                                 {"dryRun", words.dryRun}}));
}

void exportFile(const Where& where, const PatchWords& words) {
    const auto answer = readState(where, "");
    const auto fixtures = answer::part(answer, "fixtures").get<std::vector<PatchFixture>>();
    const auto text = PatchExport::csv(fixtures);
    if (words.file == "-") {
        std::cout << text;
        return;
    }
    base::replaceFile(words.file, text);
    say(stderr, "{} Lampen in „{}“ geschrieben.\n", fixtures.size(), words.file);
}

void list(const Where& where, const PatchWords& words) {
    auto answer = readState(where, words.query);
    if (!words.json) {
        std::cout << patchTable(answer);
        return;
    }
    // For other programs each field is there.
    for (auto& fixture : answer["fixtures"]) fixture = fixture.get<PatchFixture>();
    printJSON(answer);
}

// The request speaks of one universe and one address, as two numbers.
void putAddress(JSON& request, const PatchWords& words) {
    if (words.universe) request["universe"] = *words.universe;
    if (words.footprint) request["footprint"] = *words.footprint;
    if (!words.address) return;
    if (const auto whole = base::parseInteger(*words.address)) {
        request["address"] = *whole;
        return;
    }
    const auto place = PatchImport::parseAddress(*words.address, std::nullopt);
    if (!place) throw ControlError("„" + *words.address + "“ ist keine DMX-Adresse, etwa 41 oder 2.041.", ExitCode::wrongWords);
    if (words.universe) throw ControlError("Das Universum ist zweimal genannt.", ExitCode::wrongWords);
    request["universe"] = place->first;
    request["address"] = place->second;
}

void edit(const Where& where, const PatchWords& words) {
    JSON request = {{"verb", "patch.edit"}, {"fixtures", words.fixtures}};
    putAddress(request, words);
    for (const auto& [key, text] : words.texts) {
        if (key != "powerW") {
            request[key] = text;
            continue;
        }
        const auto watts = PatchImport::parsePower(text);
        if (!text.empty() && !watts) throw ControlError("„" + text + "“ ist keine Leistung in Watt.", ExitCode::wrongWords);
        request[key] = watts ? JSON(*watts) : JSON(nullptr);
    }
    std::cout << patchChangeTable(change(where, request));
}

void remove(const Where& where, const PatchWords& words) {
    const JSON request =
        words.all ? JSON{{"verb", "patch.delete"}, {"all", true}} : JSON{{"verb", "patch.delete"}, {"fixtures", words.fixtures}};
    std::cout << patchChangeTable(change(where, request));
}

void settings(const Where& where, const PatchWords& words) {
    JSON request = {{"verb", "patch.settings"}};
    if (words.offset) request["artNetOffset"] = base::parseInteger(*words.offset).value_or(0);
    if (words.breakerAmps) request["breakerAmps"] = base::parseDouble(*words.breakerAmps).value_or(0);
    if (words.voltage) request["voltage"] = base::parseDouble(*words.voltage).value_or(0);
    if (words.meter) {
        request["distributor"] = words.meter->first;
        request["device"] = words.meter->second;
    }
    const bool shows = request.size() == 1;
    if (shows) request["dryRun"] = true;
    const auto answer = shows ? carryOut(where, request) : change(where, request);
    if (words.json)
        printJSON(answer);
    else
        std::cout << patchSettingsTable(answer);
}

}  // namespace

ExitCode patchCommand(const Where& where, const PatchWords& words) {
    using Verb = PatchWords::Verb;
    switch (words.verb) {
        case Verb::importFile: importFile(where, words); break;
        case Verb::exportFile: exportFile(where, words); break;
        case Verb::list: list(where, words); break;
        case Verb::edit: edit(where, words); break;
        case Verb::remove: remove(where, words); break;
        case Verb::settings: settings(where, words); break;
    }
    return ExitCode::done;
}

}  // namespace kestrelyne
