#include <iostream>

#include "Base/JSONFields.hpp"
#include "Commands.hpp"
#include "Kestrelyne/App/NetworkState.hpp"
#include "Kestrelyne/App/NetworkText.hpp"
#include "NetworkRequests.hpp"

namespace kestrelyne {

namespace {

void show(const MonitorWords& words, const base::JSON& answer, std::string (*report)(const base::JSON&)) {
    if (words.json)
        printJSON(answer);
    else
        std::cout << report(answer);
}

}  // namespace

ExitCode monitorCommand(const Where& where, const MonitorWords& words) {
    using Verb = MonitorWords::Verb;
    switch (words.verb) {
        case Verb::start: show(words, askRunningProgram(where, {{"verb", "monitor.start"}}), monitorReport); break;
        case Verb::stop: show(words, askRunningProgram(where, {{"verb", "monitor.stop"}}), monitorReport); break;
        case Verb::status: show(words, askRunningProgram(where, {{"verb", "monitor.status"}}), monitorReport); break;
        case Verb::show: show(words, readNetwork(where, {{"verb", "monitor.show"}}, monitorFields), fieldTable); break;
        case Verb::set: changeNetwork(where, {{"verb", "monitor.set"}, {"field", words.field}, {"value", words.value}}); break;
        case Verb::knownList: show(words, readNetwork(where, {{"verb", "monitor.known"}}, knownAddresses), knownTable); break;
        case Verb::knownTake: show(words, askRunningProgram(where, {{"verb", "monitor.takeKnown"}}), knownTable); break;
        case Verb::knownForget: changeNetwork(where, {{"verb", "monitor.forgetKnown"}}); break;
        case Verb::clearLight: askRunningProgram(where, {{"verb", "monitor.clearLight"}}); break;
        case Verb::clearNetwork: askRunningProgram(where, {{"verb", "monitor.clearNetwork"}}); break;
    }
    return ExitCode::done;
}

}  // namespace kestrelyne
