#include <chrono>
#include <iostream>
#include <thread>

#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"
#include "Commands.hpp"
#include "Kestrelyne/App/AnswerText.hpp"
#include "Kestrelyne/App/RDMText.hpp"
#include "NetworkRequests.hpp"
#include "RunningProgram.hpp"
#include "Say.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

constexpr auto pause = std::chrono::milliseconds(500);
// Silent devices cost seconds each, and there may be many.
constexpr base::Seconds answerLimit{1800};

JSON ask(const Where& where, const JSON& request) {
    auto program = needRunningProgram(where);
    say(stderr, "{}\n", program.description);
    return program.client->request(request, answerLimit);
}

void show(const RDMWords& words, const JSON& answer, std::string (*text)(const JSON&)) {
    if (words.json)
        printJSON(answer);
    else
        std::cout << text(answer);
}

void warn(const JSON& answer) {
    if (const auto line = rdmOverlapLine(answer); !line.empty()) say(stderr, "{}\n", line);
}

void scan(const Where& where, const RDMWords& words) {
    auto program = needRunningProgram(where);
    say(stderr, "{}\n", program.description);
    program.client->request({{"verb", "rdm.scan"}});
    std::string told;
    for (;;) {
        const auto answer = program.client->request({{"verb", "rdm.list"}});
        const auto progress = answer::textOr(answer, "progress", "");
        if (!answer::isTrue(answer, "isScanning")) {
            // What it says at its end is why there was none.
            if (!progress.empty()) throw ControlError(progress);
            show(words, answer, rdmTable);
            return;
        }
        if (progress != told && !progress.empty()) say(stderr, "{}\n", base::printable(progress));
        told = progress;
        std::this_thread::sleep_for(pause);
    }
}

JSON requestOf(const char* verb, const RDMWords& words) { return {{"verb", verb}, {"uid", words.uid}}; }

/// A write, after which the device is shown as it is now.
void change(const Where& where, JSON request, const char* key, const JSON& value) {
    request[key] = value;
    const auto answer = ask(where, request);
    warn(answer);
    std::cout << rdmDeviceReport(answer);
}

ExitCode sequential(const Where& where, const RDMWords& words) {
    const auto answer = ask(
        where,
        {{"verb", "rdm.sequential"}, {"uids", words.uids}, {"start", words.number}, {"gap", words.gap}, {"dryRun", words.dryRun}});
    show(words, answer, rdmPlanTable);
    warn(answer);
    const auto report = answer::texts(answer::part(answer, "report"));
    for (const auto& line : report) say(stderr, "kestrelyne: {}\n", base::printable(line));
    return report.empty() ? ExitCode::done : ExitCode::failed;
}

}  // namespace

ExitCode rdmCommand(const Where& where, const RDMWords& words) {
    using Verb = RDMWords::Verb;
    switch (words.verb) {
        case Verb::scan: scan(where, words); break;
        case Verb::list: show(words, ask(where, {{"verb", "rdm.list"}}), rdmTable); break;
        case Verb::sensors: show(words, ask(where, {{"verb", "rdm.sensors"}}), rdmSensorTable); break;
        case Verb::show: show(words, ask(where, requestOf("rdm.show", words)), rdmDeviceReport); break;
        case Verb::write:
            ask(where, {{"verb", "rdm.write"}, {"on", words.on}});
            say(stderr, "RDM: Schreiben ist {}.\n", words.on ? "erlaubt, bis das Programm endet" : "gesperrt");
            break;
        case Verb::identify: change(where, requestOf("rdm.identify", words), "on", words.on); break;
        case Verb::address: change(where, requestOf("rdm.address", words), "address", words.number); break;
        case Verb::mode: change(where, requestOf("rdm.mode", words), "number", words.number); break;
        case Verb::label: change(where, requestOf("rdm.label", words), "text", words.text); break;
        case Verb::lamp: change(where, requestOf("rdm.lamp", words), "state", words.number); break;
        case Verb::reset: change(where, requestOf("rdm.reset", words), "cold", words.cold); break;
        case Verb::sequential: return sequential(where, words);
    }
    return ExitCode::done;
}

}  // namespace kestrelyne
