#include <iostream>

#include "Base/JSONFields.hpp"
#include "Commands.hpp"
#include "Kestrelyne/App/DMXVerbs.hpp"
#include "NetworkRequests.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

JSON startRequest(const DMXWords& words) {
    JSON request = {{"verb", "dmx.start"}, {"mode", words.mode}};
    if (words.mode == "fixtures") request["fixtures"] = words.fixtures;
    if (words.mode == "raw") {
        request["universe"] = words.universe;
        request["channel"] = words.channel;
        request["value"] = words.value;
    }
    const auto add = [&request](const char* key, const auto& value) {
        if (value) request[key] = *value;
    };
    add("level", words.level);
    add("proto", words.proto);
    add("priority", words.priority);
    add("step", words.step);
    add("universes", words.universes);
    return request;
}

JSON requestOf(const DMXWords& words) {
    using Verb = DMXWords::Verb;
    if (words.verb == Verb::start) return startRequest(words);
    return {{"verb", words.verb == Verb::stop ? "dmx.stop" : "dmx.status"}};
}

}  // namespace

ExitCode dmxCommand(const Where& where, const DMXWords& words) {
    const auto state = askRunningProgram(where, requestOf(words));
    if (words.json)
        printJSON(state);
    else
        std::cout << dmxReport(state);
    return ExitCode::done;
}

}  // namespace kestrelyne
