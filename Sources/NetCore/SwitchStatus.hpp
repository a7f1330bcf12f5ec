#pragma once
// One reading of a network switch.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Base/Clock.hpp"

namespace netcore {

struct SwitchStatus {
    struct Port {
        int index = 0;  // ifIndex; the identity
        std::string name{}, alias{};
        bool up = false;
        bool adminUp = true;
        int speedMbit = 0;
        std::uint64_t inOctets = 0, outOctets = 0, errors = 0;  // errors received
        std::optional<bool> poeDelivering{};                    // absent when the switch has no such port in its PoE table
        std::optional<std::string> neighbor{};                  // system name told by LLDP
        bool operator==(const Port&) const = default;
    };
    struct Sensor {
        std::string name;  // the identity
        double celsius = 0;
        bool operator==(const Sensor&) const = default;
    };
    struct Component {
        std::string name;  // the identity
        bool ok = false;
        std::string state;
        bool operator==(const Component&) const = default;
    };
    struct CustomValue {
        std::string name;  // the identity
        std::string value;
        bool operator==(const CustomValue&) const = default;
    };

    std::string name, description;     // sysName, sysDescr
    double uptime = 0;                 // s
    std::vector<Port> ports;           // Ethernet alone, by ascending index
    std::vector<Sensor> temperatures;  // by name
    std::optional<double> poeBudgetW, poeUsedW;
    std::vector<Component> fans, powerSupplies;
    std::optional<double> cpuPercent;
    std::string vendor;  // "Cisco Business", "Cisco", "Netgear", "Luminex" or empty
    std::vector<CustomValue> custom;
    std::string software, serial;
    base::Moment time;  // when the reading began

    // What was asked and not answered, so that silence is not taken for news: without the first the ports are missing, without the
    // second none counts as up, without the third their counters are zero.
    bool portsAnswered = true, portStatesAnswered = true, countersAnswered = true;
};

}  // namespace netcore
