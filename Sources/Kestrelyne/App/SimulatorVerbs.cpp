#include "Kestrelyne/App/SimulatorVerbs.hpp"

#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/App/AnswerText.hpp"
#include "Kestrelyne/App/ControlFields.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"

namespace kestrelyne {

namespace {

using base::JSON;
constexpr std::array<const char*, 3> simulatorNames{"meter", "light", "ups"};

/// One fault that can be switched.
struct Fault {
    const char* simulator;
    const char* name;
    bool (*isOn)(const SimulatorCenter&);
    void (*set)(SimulatorCenter&, bool);
};

template <bool metercore::DemoDevice::Faults::*flag>
constexpr Fault meterFault(const char* name) {
    return {.simulator = "meter",
            .name = name,
            .isOn = [](const SimulatorCenter& center) { return (*center.meterFaults()).*flag; },
            .set =
                [](SimulatorCenter& center, bool on) {
                    auto faults = *center.meterFaults();
                    faults.*flag = on;
                    center.setMeterFaults(faults);
                }};
}

template <bool netcore::LightingSimulator::Faults::*flag>
constexpr Fault lightFault(const char* name) {
    return {.simulator = "light",
            .name = name,
            .isOn = [](const SimulatorCenter& center) { return center.lighting()->faults.*flag; },
            .set =
                [](SimulatorCenter& center, bool on) {
                    auto config = *center.lighting();
                    config.faults.*flag = on;
                    center.setLightingConfig(config);
                }};
}

template <bool netcore::UPSSimulator::Faults::*flag>
constexpr Fault upsFault(const char* name) {
    return {.simulator = "ups",
            .name = name,
            .isOn = [](const SimulatorCenter& center) { return (*center.upsFaults()).*flag; },
            .set =
                [](SimulatorCenter& center, bool on) {
                    auto faults = *center.upsFaults();
                    faults.*flag = on;
                    center.setUPSFaults(faults);
                }};
}

using MeterFaults = metercore::DemoDevice::Faults;
using LightFaults = netcore::LightingSimulator::Faults;
using UPSFaults = netcore::UPSSimulator::Faults;
constexpr Fault faults[] = {
    meterFault<&MeterFaults::overload>("overload"),
    meterFault<&MeterFaults::phaseLoss>("phaseLoss"),
    meterFault<&MeterFaults::undervoltage>("undervoltage"),
    meterFault<&MeterFaults::unbalance>("unbalance"),
    {.simulator = "meter",
     .name = "silent",
     .isOn = [](const SimulatorCenter& center) { return *center.meterSilent(); },
     .set = [](SimulatorCenter& center, bool on) { center.setMeterSilent(on); }},
    lightFault<&LightFaults::sacnConflict>("sacnConflict"),
    lightFault<&LightFaults::artnetDropout>("artnetDropout"),
    lightFault<&LightFaults::nodeOffline>("nodeOffline"),
    lightFault<&LightFaults::timecodeStopped>("timecodeStopped"),
    upsFault<&UPSFaults::onBattery>("onBattery"),
    upsFault<&UPSFaults::lowBattery>("lowBattery"),
    upsFault<&UPSFaults::overload>("overload"),
    upsFault<&UPSFaults::bypass>("bypass"),
    upsFault<&UPSFaults::offline>("offline"),
};

bool isOn(const SimulatorCenter& center, std::string_view simulator) {
    if (simulator == "meter") return *center.meterOn();
    return simulator == "light" ? *center.lightingOn() : *center.upsOn();
}

JSON state(const SimulatorCenter& center) {
    JSON all = {{"errors", *center.errors()}};
    for (const auto* name : simulatorNames) all[name] = {{"on", isOn(center, name)}, {"faults", JSON::object()}};
    for (const auto& fault : faults) all[fault.simulator]["faults"][fault.name] = fault.isOn(center);
    return all;
}

void switchSimulator(KestrelyneApp& app, const std::string& name, bool on) {
    auto& simulators = app.simulators();
    if (name == "meter")
        simulators.setMeter(on, app.devices());
    else if (name == "light")
        simulators.setLighting(on);
    else if (name == "ups")
        simulators.setUPS(on, app.network());
    else
        throw ControlError("Es gibt keinen Simulator „" + name + "“ (meter, light, ups).", ExitCode::wrongWords);
    if (const auto error = simulators.errors()->find(name); on && error != simulators.errors()->end())
        throw ControlError(error->second);
}

std::string fullName(const Fault& fault) { return std::string(fault.simulator) + "." + fault.name; }

std::string listed(const std::vector<const Fault*>& some) {
    std::string text;
    for (const auto* fault : some) text += (text.empty() ? "" : ", ") + fullName(*fault);
    return text;
}

/// By "ups.onBattery", or by the name alone where no other simulator has a fault of that name.
const Fault& faultNamed(const std::string& name) {
    std::vector<const Fault*> meant, all;
    for (const auto& fault : faults) {
        all.push_back(&fault);
        if (fullName(fault) == name) return fault;
        if (fault.name == name) meant.push_back(&fault);
    }
    if (meant.size() == 1) return *meant.front();
    if (meant.empty()) throw ControlError("Es gibt keinen Fehler „" + name + "“ (" + listed(all) + ").", ExitCode::wrongWords);
    throw ControlError("Den Fehler „" + name + "“ haben mehrere Simulatoren (" + listed(meant) + ").", ExitCode::wrongWords);
}

base::Co<JSON> show(KestrelyneApp& app) { co_return state(app.simulators()); }

base::Co<JSON> change(KestrelyneApp& app, JSON request) {
    switchSimulator(app, textField(request, "name"), switchField(request, "on"));
    co_return state(app.simulators());
}

base::Co<JSON> fault(KestrelyneApp& app, JSON request) {
    faultNamed(textField(request, "name")).set(app.simulators(), switchField(request, "on"));
    co_return state(app.simulators());
}

}  // namespace

void addSimulatorVerbs(ControlServer& server, KestrelyneApp& app) {
    server.add("simulator.show", [&app](JSON) { return show(app); });
    server.add("simulator.switch", [&app](JSON request) { return change(app, std::move(request)); });
    server.add("simulator.fault", [&app](JSON request) { return fault(app, std::move(request)); });
}

std::string simulatorReport(const JSON& state) {
    std::vector<std::vector<std::string>> rows = {{"Simulator", "Zustand", "Fehler"}};
    for (const auto* name : simulatorNames) {
        const auto* simulator = base::member(state, name);
        if (simulator == nullptr || !simulator->is_object()) continue;
        std::string active;
        if (const auto* flags = base::member(*simulator, "faults"); flags != nullptr && flags->is_object())
            for (const auto& [fault, on] : flags->items())
                if (on == true) active += (active.empty() ? "" : ", ") + fault;
        const auto* on = base::member(*simulator, "on");
        rows.push_back({name, on != nullptr && *on == true ? "ein" : "aus", active.empty() ? "–" : active});
    }
    return alignedTable(rows, "");
}

}  // namespace kestrelyne
