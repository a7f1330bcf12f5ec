#include "NetCore/UPSReader.hpp"

#include <algorithm>
#include <map>
#include <span>
#include <string>
#include <utility>

#include "NetCore/SNMPColumn.hpp"

namespace netcore::UPSReader {

namespace {

using Source = UPSStatus::Source;
using Battery = UPSStatus::Battery;

const std::string systemDescription = "1.3.6.1.2.1.1.1.0";

// UPS-MIB (RFC 1628).
namespace Standard {
const std::string manufacturer = "1.3.6.1.2.1.33.1.1.1.0";        // upsIdentManufacturer
const std::string model = "1.3.6.1.2.1.33.1.1.2.0";               // upsIdentModel
const std::string batteryStatus = "1.3.6.1.2.1.33.1.2.1.0";       // upsBatteryStatus
const std::string secondsOnBattery = "1.3.6.1.2.1.33.1.2.2.0";    // upsSecondsOnBattery
const std::string minutes = "1.3.6.1.2.1.33.1.2.3.0";             // upsEstimatedMinutesRemaining
const std::string charge = "1.3.6.1.2.1.33.1.2.4.0";              // upsEstimatedChargeRemaining
const std::string batteryVoltage = "1.3.6.1.2.1.33.1.2.5.0";      // upsBatteryVoltage, 0.1 V
const std::string batteryTemperature = "1.3.6.1.2.1.33.1.2.7.0";  // upsBatteryTemperature
const std::string outputSource = "1.3.6.1.2.1.33.1.4.1.0";        // upsOutputSource
const std::string outputFrequency = "1.3.6.1.2.1.33.1.4.2.0";     // upsOutputFrequency, 0.1 Hz
const std::string alarms = "1.3.6.1.2.1.33.1.6.1.0";              // upsAlarmsPresent
const std::string inputFrequency = "1.3.6.1.2.1.33.1.3.3.1.2";    // column upsInputFrequency, 0.1 Hz
const std::string inputVoltage = "1.3.6.1.2.1.33.1.3.3.1.3";      // column upsInputVoltage
const std::string outputVoltage = "1.3.6.1.2.1.33.1.4.4.1.2";     // column upsOutputVoltage
const std::string outputCurrent = "1.3.6.1.2.1.33.1.4.4.1.3";     // column upsOutputCurrent, 0.1 A
const std::string outputPower = "1.3.6.1.2.1.33.1.4.4.1.4";       // column upsOutputPower
const std::string outputLoad = "1.3.6.1.2.1.33.1.4.4.1.5";        // column upsOutputPercentLoad
}  // namespace Standard

// PowerNet-MIB of APC.
namespace APC {
const std::string model = "1.3.6.1.4.1.318.1.1.1.1.1.1.0";               // upsBasicIdentModel
const std::string batteryStatus = "1.3.6.1.4.1.318.1.1.1.2.1.1.0";       // upsBasicBatteryStatus
const std::string charge = "1.3.6.1.4.1.318.1.1.1.2.2.1.0";              // upsAdvBatteryCapacity
const std::string batteryTemperature = "1.3.6.1.4.1.318.1.1.1.2.2.2.0";  // upsAdvBatteryTemperature
const std::string runtime = "1.3.6.1.4.1.318.1.1.1.2.2.3.0";             // upsAdvBatteryRunTimeRemaining, 0.01 s
const std::string inputVoltage = "1.3.6.1.4.1.318.1.1.1.3.2.1.0";        // upsAdvInputLineVoltage
const std::string inputFrequency = "1.3.6.1.4.1.318.1.1.1.3.2.4.0";      // upsAdvInputFrequency
const std::string outputStatus = "1.3.6.1.4.1.318.1.1.1.4.1.1.0";        // upsBasicOutputStatus
const std::string outputVoltage = "1.3.6.1.4.1.318.1.1.1.4.2.1.0";       // upsAdvOutputVoltage
const std::string outputFrequency = "1.3.6.1.4.1.318.1.1.1.4.2.2.0";     // upsAdvOutputFrequency
const std::string outputLoad = "1.3.6.1.4.1.318.1.1.1.4.2.3.0";          // upsAdvOutputLoad
const std::string outputCurrent = "1.3.6.1.4.1.318.1.1.1.4.2.4.0";       // upsAdvOutputCurrent
}  // namespace APC

constexpr double perTenth = 10;
constexpr double ticksPerSecond = 100, secondsPerMinute = 60;

template <class State>
struct Meaning {
    int number;
    State state;
};

constexpr Meaning<Battery> standardBatteries[] = {{2, Battery::normal}, {3, Battery::low}, {4, Battery::depleted}};
constexpr Meaning<Source> standardSources[] = {{2, Source::off},     {3, Source::online}, {4, Source::bypass},
                                               {5, Source::battery}, {6, Source::boost},  {7, Source::reducer}};
constexpr Meaning<Battery> apcBatteries[] = {{2, Battery::normal}, {3, Battery::low}, {4, Battery::fault}};
// 6, softwareBypass, counts as off on purpose: nothing protects the load.
constexpr Meaning<Source> apcSources[] = {{2, Source::online}, {3, Source::battery}, {4, Source::boost},   {6, Source::off},
                                          {7, Source::off},    {9, Source::bypass},  {12, Source::reducer}};

template <class State>
State meaning(std::optional<double> number, std::span<const Meaning<State>> known) {
    const auto found = std::ranges::find_if(known, [&](const auto& each) { return number == each.number; });
    return found == known.end() ? State::unknown : found->state;
}

// The answer of one GET. What is missing or of the wrong kind is absent.
class Answer {
public:
    explicit Answer(std::map<std::string, SNMPValue> values) : values_(std::move(values)) {}

    std::optional<double> number(const std::string& oid, double divisor = 1) const {
        const auto found = values_.find(oid);
        const auto value = found == values_.end() ? std::nullopt : found->second.number();
        return value ? std::optional(*value / divisor) : std::nullopt;
    }
    std::optional<std::string> text(const std::string& oid) const {
        const auto found = values_.find(oid);
        if (found == values_.end() || !std::holds_alternative<SNMPValue::String>(found->second.content())) return std::nullopt;
        return found->second.text();
    }
    /// As a list of one phase.
    std::vector<double> phase(const std::string& oid) const {
        const auto value = number(oid);
        return value ? std::vector{*value} : std::vector<double>();
    }

private:
    std::map<std::string, SNMPValue> values_;
};

// One value per phase; a device without the table has none.
std::optional<std::vector<double>> phasesIfAnswered(const SNMPTarget& client, const std::string& base, double divisor = 1) {
    try {
        std::vector<double> numbers;
        for (const auto& row : client.walk(base, mostTableRows))
            if (const auto number = row.value.number()) numbers.push_back(*number / divisor);
        return numbers;
    } catch (const NetError&) {
        return std::nullopt;
    }
}

std::vector<double> phases(const SNMPTarget& client, const std::string& base, double divisor = 1) {
    return phasesIfAnswered(client, base, divisor).value_or(std::vector<double>());
}

std::optional<UPSStatus> tried(UPSStatus (*reader)(const SNMPTarget&, const base::Clock&), const SNMPTarget& client,
                               const base::Clock& clock) {
    try {
        return reader(client, clock);
    } catch (const NetError&) {
        return std::nullopt;
    }
}

}  // namespace

UPSStatus read(const SNMPTarget& client, const base::Clock& clock) {
    if (auto status = tried(readRFC1628, client, clock)) return std::move(*status);
    if (auto status = tried(readAPC, client, clock)) return std::move(*status);
    // A silent device tells so here.
    client.get({systemDescription});
    throw NetError::protocolError("Gerät antwortet, liefert aber weder UPS-MIB (RFC 1628) noch APC-PowerNet-Daten");
}

UPSStatus readRFC1628(const SNMPTarget& client, const base::Clock& clock) {
    using namespace Standard;
    const Answer answer(client.get({manufacturer, model, batteryStatus, secondsOnBattery, minutes, charge, batteryVoltage,
                                    batteryTemperature, outputSource, outputFrequency, alarms}));
    const auto battery = answer.number(batteryStatus);
    if (!battery) throw NetError::protocolError("keine UPS-MIB");
    UPSStatus status;
    status.time = clock.moment();
    status.protocolName = "UPS-MIB (RFC 1628)";
    status.manufacturer = answer.text(manufacturer).value_or("");
    status.model = answer.text(model).value_or("");
    status.battery = meaning<Battery>(battery, standardBatteries);
    status.secondsOnBattery = answer.number(secondsOnBattery);
    status.runtimeMinutes = answer.number(minutes);
    status.charge = answer.number(charge);
    status.batteryVoltage = answer.number(batteryVoltage, perTenth);
    status.batteryTemperature = answer.number(batteryTemperature);
    status.source = meaning<Source>(answer.number(outputSource), standardSources);
    status.outputFrequency = answer.number(outputFrequency, perTenth);
    status.alarmCount = clampedInt(answer.number(alarms));
    if (const auto frequencies = phases(client, inputFrequency, perTenth); !frequencies.empty())
        status.inputFrequency = frequencies.front();
    status.inputVoltage = phases(client, inputVoltage);
    status.outputVoltage = phases(client, outputVoltage);
    status.outputCurrent = phases(client, outputCurrent, perTenth);
    status.outputPowerW = phases(client, outputPower);
    const auto load = phasesIfAnswered(client, outputLoad);
    status.loadAnswered = load.has_value();
    status.load = load.value_or(std::vector<double>());
    return status;
}

UPSStatus readAPC(const SNMPTarget& client, const base::Clock& clock) {
    const Answer answer(client.get({APC::model, APC::batteryStatus, APC::charge, APC::batteryTemperature, APC::runtime,
                                    APC::inputVoltage, APC::inputFrequency, APC::outputStatus, APC::outputVoltage,
                                    APC::outputFrequency, APC::outputLoad, APC::outputCurrent}));
    const auto model = answer.text(APC::model);
    if (!model) throw NetError::protocolError("keine APC-MIB");
    UPSStatus status;
    status.time = clock.moment();
    status.protocolName = "APC PowerNet-MIB";
    status.manufacturer = "APC";
    status.model = *model;
    status.battery = meaning<Battery>(answer.number(APC::batteryStatus), apcBatteries);
    status.charge = answer.number(APC::charge);
    status.batteryTemperature = answer.number(APC::batteryTemperature);
    status.runtimeMinutes = answer.number(APC::runtime, ticksPerSecond * secondsPerMinute);
    status.inputVoltage = answer.phase(APC::inputVoltage);
    status.inputFrequency = answer.number(APC::inputFrequency);
    status.source = meaning<Source>(answer.number(APC::outputStatus), apcSources);
    status.outputVoltage = answer.phase(APC::outputVoltage);
    status.outputFrequency = answer.number(APC::outputFrequency);
    status.load = answer.phase(APC::outputLoad);
    status.outputCurrent = answer.phase(APC::outputCurrent);
    return status;
}

}  // namespace netcore::UPSReader
