#include "Kestrelyne/App/ControlVerbs.hpp"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/App/AppInfo.hpp"
#include "Kestrelyne/App/ControlFields.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"
#include "Kestrelyne/App/DMXVerbs.hpp"
#include "Kestrelyne/App/NetworkState.hpp"
#include "Kestrelyne/App/NetworkVerbs.hpp"
#include "Kestrelyne/App/PatchVerbs.hpp"
#include "Kestrelyne/App/RDMVerbs.hpp"
#include "Kestrelyne/App/SimulatorVerbs.hpp"
#include "Kestrelyne/App/WebFields.hpp"
#include "Kestrelyne/Presentation/MeterTexts.hpp"

namespace kestrelyne {

namespace {

template <class T>
base::JSON orNull(const std::optional<T>& value) {
    return value ? base::JSON(*value) : base::JSON(nullptr);
}

base::JSON meterState(const DeviceMonitor& monitor) {
    base::JSON alarms = base::JSON::array();
    for (const auto& alarm : activeAlarms(monitor.alarms()))
        alarms.push_back({{"text", alarm.text}, {"severity", text(alarm.severity)}});
    const auto age = monitor.age();
    return {{"id", monitor.device()->id.text()},
            {"name", monitor.device()->name},
            {"status", statusText(*monitor.status())},
            {"age", age ? base::JSON(age->count()) : base::JSON(nullptr)},
            {"readings", *monitor.okCount()},
            {"failures", *monitor.errorCount()},
            {"alarms", alarms}};
}

base::JSON programState(KestrelyneApp& app, const SettingsStore& settings) {
    base::JSON meters = base::JSON::array();
    for (const auto* monitor : app.devices().allMonitors()) meters.push_back(meterState(*monitor));
    const auto& web = app.web();
    base::JSON errors = *web.errors();
    for (const auto& [simulator, error] : *app.simulators().errors()) errors.push_back(error);
    if (const auto failed = settings.failedWrites(); failed > 0)
        errors.push_back("Einstellungen: " + std::to_string(failed) + " Änderungen ließen sich nicht speichern.");
    const auto& turns = app.loop().turns();
    return {{"version", AppInfo::version()},
            {"pid", getpid()},
            {"startedAt", base::secondsSince1970(app.startedAt())},
            {"web",
             {{"enabled", web.config()->enabled},
              {"running", *web.running()},
              {"urls", web.urls()},
              {"requests", *web.requestCount()},
              {"lastClient", orNull(*web.lastClient())}}},
            {"meters", meters},
            {"network", networkState(app.network())},
            {"activeAlarms", *app.devices().activeAlarmCount()},
            {"loop", {{"turns", turns.counts}, {"limitsMs", turns.limitsMs}, {"longestMs", turns.longestMs}}},
            {"errors", errors}};
}

/// The verbs with what they work on; lives as long as the server's handlers.
class Verbs {
public:
    Verbs(KestrelyneApp& app, SettingsStore& settings, base::StoreWriter& writer)
        : app_(app), settings_(settings), writer_(writer) {}

    base::Co<base::JSON> status(base::JSON) {
        co_await writer_.flush();
        co_return programState(app_, settings_);
    }
    base::Co<base::JSON> show(base::JSON) {
        co_await writer_.flush();
        co_return webState(app_.web());
    }
    base::Co<base::JSON> set(base::JSON request) {
        auto config = *app_.web().config();
        setWebField(config, textField(request, "field"), textField(request, "value"));
        const auto failedBefore = settings_.failedWrites();
        app_.web().setConfig(std::move(config));
        co_await untilSaved(settings_, writer_, failedBefore);
        co_return webState(app_.web());
    }
    base::Co<base::JSON> logoutAll(base::JSON) {
        const auto failedBefore = settings_.failedWrites();
        app_.web().logoutAll();
        co_await untilSaved(settings_, writer_, failedBefore);
        co_return webState(app_.web());
    }
    base::Co<base::JSON> tailscale(base::JSON request) {
        const bool on = switchField(request, "on");
        co_await switchTailscale(app_.web(), on);
        co_return webState(app_.web());
    }

private:
    KestrelyneApp& app_;
    SettingsStore& settings_;
    base::StoreWriter& writer_;
};

}  // namespace

void addControlVerbs(ControlServer& server, KestrelyneApp& app, SettingsStore& settings, base::StoreWriter& writer) {
    const auto verbs = std::make_shared<Verbs>(app, settings, writer);
    const auto add = [&](const char* name, base::Co<base::JSON> (Verbs::*verb)(base::JSON)) {
        server.add(name, [verbs, verb](base::JSON request) { return ((*verbs).*verb)(std::move(request)); });
    };
    add("status", &Verbs::status);
    add("web.show", &Verbs::show);
    add("web.set", &Verbs::set);
    add("web.logoutAll", &Verbs::logoutAll);
    add("web.tailscale", &Verbs::tailscale);
    addNetworkVerbs(server, app, settings, writer);
    addPatchVerbs(server, app.patch(), app.pool());
    addRDMVerbs(server, app.network().rdm());
    addDMXVerbs(server, app.testLight(), app.patch());
    addSimulatorVerbs(server, app);
}

base::Co<> untilSaved(const SettingsStore& settings, base::StoreWriter& writer, std::size_t failedBefore) {
    co_await writer.flush();
    if (settings.failedWrites() != failedBefore) throw ControlError("Die Änderung gilt, ließ sich aber nicht speichern.");
}

nlohmann::json webState(const WebServer& web) {
    const auto& tailscale = *web.tailscale();
    return {{"fields", webFields(*web.config())},
            {"running", *web.running()},
            {"urls", web.urls()},
            {"httpsURL", orNull(web.httpsURL())},
            {"requests", *web.requestCount()},
            {"lastClient", orNull(*web.lastClient())},
            {"errors", *web.errors()},
            {"tailscale",
             {{"installed", tailscale.cliPath.has_value()},
              {"online", orNull(tailscale.online)},
              {"ip", orNull(tailscale.ip)},
              {"dnsName", orNull(tailscale.dnsName)},
              {"serveHTTPS", tailscale.serveHTTPS}}}};
}

base::Co<> askTailscale(WebServer& web) {
    web.refreshTailscale();
    // Asked once for what is known already, and then for the answer.
    co_await base::until(web.tailscale(), [asked = false](const TailscaleInfo&) mutable { return std::exchange(asked, true); });
}

base::Co<> switchTailscale(WebServer& web, bool on) {
    if (!web.tailscale()->cliPath) co_await askTailscale(web);
    if (!web.tailscale()->cliPath) throw ControlError("Tailscale ist auf diesem Rechner nicht installiert.");
    if (*web.busy()) throw ControlError("Tailscale wird gerade umgestellt.");
    const auto before = *web.errors();
    web.setTailscaleServe(on);
    co_await base::until(web.busy(), [](bool busy) { return !busy; });
    // An older hint about certificates goes with each attempt; whatever stands behind the rest is new.
    const auto after = *web.errors();
    if (after.empty()) co_return;
    const bool isNew =
        after.size() > before.size() || (after != before && std::find(before.begin(), before.end(), after.back()) == before.end());
    const bool certificatesAgain = on && !web.tailscale()->serveHTTPS && after.back().starts_with("HTTPS-Zertifikate");
    if (isNew || certificatesAgain) throw ControlError(after.back());
}

}  // namespace kestrelyne
