// The UPS side for the tests against foreign programs. Ends when its standard input does.
//   UPSTool simulate PORT        the simulator; a line of standard input names the faults from now on
//   UPSTool read PORT            one reading of an agent on 127.0.0.1, as a line of JSON
//   UPSTool local BUS NUT-PORT   what this computer's services tell, a line of JSON at the start and after each change

#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

#include "NetCore/LocalUPS.hpp"
#include "NetCore/SNMPClient.hpp"
#include "NetCore/UPSReader.hpp"
#include "NetCore/UPSSimulator.hpp"

namespace {

using nlohmann::json;
using namespace netcore;

template <class T>
json orNull(const std::optional<T>& value) {
    return value ? json(*value) : json();
}

json encoded(const UPSStatus& status) {
    return {{"protocol", status.protocolName},
            {"manufacturer", status.manufacturer},
            {"model", status.model},
            {"source", text(status.source)},
            {"battery", text(status.battery)},
            {"charge", orNull(status.charge)},
            {"minutes", orNull(status.runtimeMinutes)},
            {"secondsOnBattery", orNull(status.secondsOnBattery)},
            {"batteryVoltage", orNull(status.batteryVoltage)},
            {"batteryTemperature", orNull(status.batteryTemperature)},
            {"inputVoltage", status.inputVoltage},
            {"inputFrequency", orNull(status.inputFrequency)},
            {"outputVoltage", status.outputVoltage},
            {"outputCurrent", status.outputCurrent},
            {"outputPowerW", status.outputPowerW},
            {"load", status.load},
            {"outputFrequency", orNull(status.outputFrequency)},
            {"alarms", status.alarmCount}};
}

void say(const json& value) { std::cout << value.dump() << std::endl; }

std::uint16_t portOf(const char* word) { return static_cast<std::uint16_t>(std::strtoul(word, nullptr, 10)); }

int simulate(std::uint16_t port) {
    UPSSimulator simulator(port);
    simulator.run();
    say({{"port", simulator.port()}});
    for (std::string line; std::getline(std::cin, line);) {
        const auto named = [&line](const char* name) { return line.find(name) != std::string::npos; };
        simulator.setFaults({.onBattery = named("onBattery"),
                             .lowBattery = named("lowBattery"),
                             .overload = named("overload"),
                             .bypass = named("bypass"),
                             .offline = named("offline")});
        say({{"faults", line}});
    }
    return 0;
}

int read(std::uint16_t port) {
    say(encoded(UPSReader::read(SNMPClient("127.0.0.1", "public", 2, 1, port))));
    return 0;
}

int local(const std::string& bus, std::uint16_t port) {
    constexpr int pause = 100;  // ms
    LocalUPS services({.busAddress = bus, .nutPort = port, .limit = base::Seconds(3), .retry = base::Seconds(1)});
    json last;
    for (pollfd input{STDIN_FILENO, POLLIN, 0}; poll(&input, 1, pause) == 0;) {
        json entries = json::array();
        for (const auto& entry : services.read())
            entries.push_back({{"id", entry.id}, {"name", entry.name}, {"status", encoded(entry.status)}});
        if (entries != last) say(entries);
        last = std::move(entries);
    }
    return 0;
}

}  // namespace

int main(int count, char** words) {
    const std::string what = count > 1 ? words[1] : "";
    try {
        if (what == "simulate" && count == 3) return simulate(portOf(words[2]));
        if (what == "read" && count == 3) return read(portOf(words[2]));
        if (what == "local" && count == 4) return local(words[2], portOf(words[3]));
    } catch (const NetError& error) {
        std::cerr << error.description() << '\n';
        return 1;
    }
    return 2;
}
