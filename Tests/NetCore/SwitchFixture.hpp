#pragma once
// Switches made of tables, for the tests of their reader.

#include <initializer_list>
#include <string>
#include <vector>

#include "NetCore/FakeSNMPTarget.hpp"
#include "NetCore/SwitchReader.hpp"

namespace netcore::switches {

using SwitchReader::ExtraOID;
using Sensors = std::vector<SwitchStatus::Sensor>;
using Components = std::vector<SwitchStatus::Component>;

inline const std::string ifType = "1.3.6.1.2.1.2.2.1.3", ifDescr = "1.3.6.1.2.1.2.2.1.2", ifName = "1.3.6.1.2.1.31.1.1.1.1",
                         ifOperStatus = "1.3.6.1.2.1.2.2.1.8", ifAdminStatus = "1.3.6.1.2.1.2.2.1.7",
                         entitySensors = "1.3.6.1.2.1.99.1.1.1", environment = "1.3.6.1.4.1.9.9.13.1.3.1",
                         ciscoSensors = "1.3.6.1.4.1.9.9.91.1.1.1.1", ciscoLoad = "1.3.6.1.4.1.9.9.109.1.1.1.1.7",
                         physical = "1.3.6.1.2.1.47.1.1.1.1", business = "1.3.6.1.4.1.9.6.1.101.53.15.1",
                         businessLoad = "1.3.6.1.4.1.9.6.1.101.1.8.0", luminexBox = "1.3.6.1.4.1.4413.1.1.43.1",
                         netgearBox = "1.3.6.1.4.1.4526.10.43.1", luminexSupply = "1.3.6.1.4.1.56979.2.1.1.1.0",
                         pseDetection = "1.3.6.1.2.1.105.1.1.1.6", pseMain = "1.3.6.1.2.1.105.1.3.1.1",
                         lldpNames = "1.0.8802.1.1.2.1.4.1.1.9";

inline constexpr const char *anyMaker = "1.3.6.1.4.1.8072.3.2.10", *cisco = "1.3.6.1.4.1.9.1.1208",
                            *ciscoBusiness = "1.3.6.1.4.1.9.6.1.1004.24", *netgear = "1.3.6.1.4.1.4526.100.4.37",
                            *luminex = "1.3.6.1.4.1.56979.1";

inline SNMPValue gauge(std::uint64_t value) { return SNMPValue(SNMPValue::Gauge{value}); }
inline SNMPValue counter(std::uint64_t value) { return SNMPValue(SNMPValue::Counter{value}); }

inline FakeSNMPTarget switchOf(const std::string& objectID, const char* description = "Managed switch") {
    FakeSNMPTarget target;
    target.set("1.3.6.1.2.1.1.1.0", description);
    target.set("1.3.6.1.2.1.1.2.0", SNMPValue(SNMPValue::OID{objectID}));
    target.set("1.3.6.1.2.1.1.3.0", SNMPValue(SNMPValue::Ticks{123450}));
    target.set("1.3.6.1.2.1.1.5.0", "sw-foh");
    return target;
}

inline FakeSNMPTarget withPorts(std::initializer_list<int> indices) {
    auto target = switchOf(anyMaker);
    for (const auto index : indices) target.set(ifType + "." + std::to_string(index), 6);
    return target;
}

inline void setEntitySensor(FakeSNMPTarget& target, const std::string& table, int index, int type, int value) {
    const auto row = "." + std::to_string(index);
    target.set(table + ".1" + row, type);
    target.set(table + ".4" + row, value);
}

inline SwitchStatus read(const FakeSNMPTarget& target, const std::vector<ExtraOID>& extra = {}) {
    return SwitchReader::read(target, extra);
}

inline bool walked(const FakeSNMPTarget& target, const std::string& base) {
    return std::ranges::find(target.walks, base) != target.walks.end();
}

inline bool asked(const FakeSNMPTarget& target, const std::string& oid) {
    return std::ranges::any_of(target.gets, [&](const auto& oids) { return std::ranges::find(oids, oid) != oids.end(); });
}

}  // namespace netcore::switches
