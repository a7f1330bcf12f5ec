#include "Kestrelyne/Network/UPSWatch.hpp"

#include <string_view>

#include "Kestrelyne/Network/WholeNumber.hpp"

namespace kestrelyne {

NetFindings UPSWatch::checkUPS(const std::string& name, const netcore::UPSStatus& status, UPSLimits limits) {
    using Source = netcore::UPSStatus::Source;
    using Battery = netcore::UPSStatus::Battery;
    NetFindings findings;
    const auto watch = [&](const char* word, bool isWrong, const std::string& raised, std::string_view cleared) {
        const auto begin = name + ": ";
        if (isWrong && upsAlarms_.emplace(name, word).second)
            findings.push_back({NetEvent::Level::alarm, begin + raised, powerSource});
        else if (!isWrong && upsAlarms_.erase({name, word}) > 0)
            findings.push_back({NetEvent::Level::info, begin + std::string(cleared), powerSource});
    };
    const auto minutes = status.runtimeMinutes ? wholeNumber(*status.runtimeMinutes) + " min" : std::string();
    const auto load = status.maxLoad().value_or(0), temperature = status.batteryTemperature.value_or(0);

    watch("battery", status.source == Source::battery,
          "USV läuft auf Batterie" + (minutes.empty() ? std::string() : " – Restlaufzeit " + minutes), "wieder im Netzbetrieb");
    watch("low", status.battery == Battery::low || status.battery == Battery::depleted,
          "Batterie " + std::string(text(status.battery)), "Batterie wieder normal");
    watch("fault", status.battery == Battery::fault, "Batterie meldet Fehler – Tausch prüfen", "Batteriefehler behoben");
    watch("runtime", status.runtimeMinutes && *status.runtimeMinutes < limits.runtimeMinutes, "Restlaufzeit nur noch " + minutes,
          "Restlaufzeit wieder ausreichend");
    watch("load", load >= limits.load, "Auslastung " + wholeNumber(load) + " %", "Auslastung wieder normal");
    watch("bypass", status.source == Source::bypass, "USV im Bypass – Last ungeschützt", "Bypass beendet");
    watch("temp", temperature >= batteryTemperatureLimit, "Batterietemperatur " + wholeNumber(temperature) + " °C",
          "Batterietemperatur normal");
    return findings;
}

void UPSWatch::forget(const std::string& name) {
    std::erase_if(upsAlarms_, [&name](const auto& key) { return key.first == name; });
}

}  // namespace kestrelyne
