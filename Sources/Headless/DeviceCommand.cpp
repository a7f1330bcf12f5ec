#include <fmt/format.h>

#include <iostream>

#include "Base/JSONFields.hpp"
#include "Commands.hpp"
#include "Kestrelyne/App/AnswerText.hpp"
#include "Kestrelyne/App/NetworkState.hpp"
#include "Kestrelyne/App/NetworkText.hpp"
#include "NetworkRequests.hpp"
#include "Say.hpp"

namespace kestrelyne {

namespace {

template <class T>
void put(base::JSON& request, const char* key, const std::optional<T>& value) {
    if (value) request[key] = *value;
}

base::JSON withFields(base::JSON request, const DeviceWords& words) {
    put(request, "name", words.name);
    put(request, "ip", words.ip);
    put(request, "role", words.role);
    put(request, "snmp", words.snmp);
    put(request, "community", words.community);
    put(request, "snmpPort", words.snmpPort);
    put(request, "extraOIDs", words.extraOIDs);
    put(request, "alarmOnOffline", words.alarmOnOffline);
    put(request, "notes", words.notes);
    return request;
}

void list(const Where& where, const DeviceWords& words) {
    const auto answer = readNetwork(where, {{"verb", "device.list"}}, [](const NetConfig& config) {
        return deviceStates(config, {}, {}, base::SystemClock::shared().steadyNow());
    });
    if (words.json)
        printJSON(answer);
    else
        std::cout << deviceTable(answer);
}

}  // namespace

ExitCode deviceCommand(const Where& where, const DeviceWords& words) {
    using Verb = DeviceWords::Verb;
    switch (words.verb) {
        case Verb::list: list(where, words); break;
        case Verb::add: {
            const auto device = changeNetwork(where, withFields({{"verb", "device.add"}}, words));
            say(stderr, "{} wird überwacht.\n", deviceName(device));
            // For the shell that goes on with it.
            std::cout << answer::textOr(device, "id", "") << '\n';
            break;
        }
        case Verb::edit: {
            const auto device = changeNetwork(where, withFields({{"verb", "device.edit"}, {"device", words.device}}, words));
            say(stderr, "{} geändert.\n", deviceName(device));
            break;
        }
        case Verb::remove: {
            const auto device = changeNetwork(where, {{"verb", "device.remove"}, {"device", words.device}});
            say(stderr, "{} wird nicht mehr überwacht.\n", deviceName(device));
            break;
        }
    }
    return ExitCode::done;
}

}  // namespace kestrelyne
