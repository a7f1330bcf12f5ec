#include "Kestrelyne/App/SimulatorVerbs.hpp"

#include <algorithm>
#include <utility>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/App/AnswerText.hpp"
#include "Kestrelyne/App/ControlFields.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"

namespace kestrelyne {

namespace {

using base::JSON;
using MeterFaults = metercore::DemoDevice::Faults;
using LightFaults = netcore::LightingSimulator::Faults;

struct MeterFault {
    const char* name;
    bool MeterFaults::*flag;
};
constexpr MeterFault meterFaults[] = {{"overload", &MeterFaults::overload},
                                      {"phaseLoss", &MeterFaults::phaseLoss},
                                      {"undervoltage", &MeterFaults::undervoltage},
                                      {"unbalance", &MeterFaults::unbalance}};
struct LightFault {
    const char* name;
    bool LightFaults::*flag;
};
constexpr LightFault lightFaults[] = {{"sacnConflict", &LightFaults::sacnConflict},
                                      {"artnetDropout", &LightFaults::artnetDropout},
                                      {"nodeOffline", &LightFaults::nodeOffline},
                                      {"timecodeStopped", &LightFaults::timecodeStopped}};
constexpr const char* silentFault = "silent";

JSON state(const SimulatorCenter& simulators) {
    JSON meter = {{silentFault, *simulators.meterSilent()}}, light = JSON::object();
    for (const auto& fault : meterFaults) meter[fault.name] = (*simulators.meterFaults()).*fault.flag;
    for (const auto& fault : lightFaults) light[fault.name] = simulators.lighting()->faults.*fault.flag;
    return {{"meter", {{"on", *simulators.meterOn()}, {"faults", std::move(meter)}}},
            {"light", {{"on", *simulators.lightingOn()}, {"faults", std::move(light)}}},
            {"errors", *simulators.errors()}};
}

void switchSimulator(KestrelyneApp& app, const std::string& name, bool on) {
    auto& simulators = app.simulators();
    if (name == "meter")
        simulators.setMeter(on, app.devices());
    else if (name == "light")
        simulators.setLighting(on);
    else
        throw ControlError("Es gibt keinen Simulator „" + name + "“ (meter, light).", ExitCode::wrongWords);
    if (const auto error = simulators.errors()->find(name); on && error != simulators.errors()->end())
        throw ControlError(error->second);
}

void switchFault(SimulatorCenter& simulators, const std::string& name, bool on) {
    if (name == silentFault) {
        simulators.setMeterSilent(on);
        return;
    }
    if (const auto* fault = std::ranges::find(meterFaults, name, &MeterFault::name); fault != std::end(meterFaults)) {
        auto faults = *simulators.meterFaults();
        faults.*fault->flag = on;
        simulators.setMeterFaults(faults);
        return;
    }
    const auto* fault = std::ranges::find(lightFaults, name, &LightFault::name);
    if (fault == std::end(lightFaults))
        throw ControlError("Es gibt keinen Fehler „" + name +
                               "“ (overload, phaseLoss, undervoltage, unbalance, silent, sacnConflict, artnetDropout, nodeOffline, "
                               "timecodeStopped).",
                           ExitCode::wrongWords);
    auto config = *simulators.lighting();
    config.faults.*fault->flag = on;
    simulators.setLightingConfig(config);
}

base::Co<JSON> show(KestrelyneApp& app) { co_return state(app.simulators()); }

base::Co<JSON> change(KestrelyneApp& app, JSON request) {
    switchSimulator(app, textField(request, "name"), switchField(request, "on"));
    co_return state(app.simulators());
}

base::Co<JSON> fault(KestrelyneApp& app, JSON request) {
    switchFault(app.simulators(), textField(request, "name"), switchField(request, "on"));
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
    for (const auto* name : {"meter", "light"}) {
        const auto* simulator = base::member(state, name);
        if (simulator == nullptr || !simulator->is_object()) continue;
        std::string faults;
        if (const auto* flags = base::member(*simulator, "faults"); flags != nullptr && flags->is_object())
            for (const auto& [fault, on] : flags->items())
                if (on == true) faults += (faults.empty() ? "" : ", ") + fault;
        const auto* on = base::member(*simulator, "on");
        rows.push_back({name, on != nullptr && *on == true ? "ein" : "aus", faults.empty() ? "–" : faults});
    }
    return alignedTable(rows, "");
}

}  // namespace kestrelyne
