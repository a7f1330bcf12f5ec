#include "Kestrelyne/App/RDMVerbs.hpp"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/App/ControlFields.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"
#include "Kestrelyne/App/RDMState.hpp"

namespace kestrelyne {

namespace {

using base::JSON;
using netcore::RDM::UID;

UID uidOf(const std::string& text) {
    const auto uid = UID::parse(text);
    if (!uid) throw ControlError("„" + text + "“ ist keine RDM-Kennung wie 7FF0:0000ABCD.", ExitCode::wrongWords);
    return *uid;
}

int numberField(const JSON& request, const char* key, int lowest, int highest) {
    const auto number = optionalInteger(request, key);
    if (!number || *number < lowest || *number > highest)
        throw ControlError(std::string("„") + key + "“ muss eine Zahl von " + std::to_string(lowest) + " bis " +
                               std::to_string(highest) + " sein.",
                           ExitCode::wrongWords);
    return static_cast<int>(*number);
}

void insist(const RDMScanner::Failure& failure) {
    if (failure) throw ControlError(*failure);
}

// Those in the way of devices that go somewhere, each once; who goes along is not in the way.
JSON namesInTheWay(const RDMScanner& scanner, const std::vector<RDMPlacing>& plan) {
    std::vector<std::string> names;
    for (const auto& placing : plan) {
        const auto* device = scanner.device(placing.uid);
        if (device == nullptr || !placing.fits()) continue;
        for (const auto* met : scanner.overlaps(device->universe, placing.first, placing.last - placing.first + 1, placing.uid)) {
            const auto name = nameOf(*met);
            if (std::ranges::find(plan, met->uid, &RDMPlacing::uid) == plan.end() && std::ranges::find(names, name) == names.end())
                names.push_back(name);
        }
    }
    return names;
}

/// Devices that the request names, each once, all of them known and of one universe.
std::vector<UID> selection(const RDMScanner& scanner, const JSON& request) {
    std::vector<UID> uids;
    for (const auto& text : textListField(request, "uids")) {
        const auto uid = uidOf(text);
        if (scanner.device(uid) == nullptr) throw ControlError("Gerät nicht gefunden: " + uid.text());
        if (std::ranges::find(uids, uid) == uids.end()) uids.push_back(uid);
    }
    if (uids.empty()) throw ControlError("Es ist kein Gerät genannt.", ExitCode::wrongWords);
    const auto universe = [&](const UID& uid) { return scanner.device(uid)->universe; };
    if (std::ranges::any_of(uids, [&](const UID& uid) { return universe(uid) != universe(uids.front()); }))
        throw ControlError("Fortlaufende Adressierung nur innerhalb eines Universums.");
    return uids;
}

/// The verbs with what they work on; lives as long as the server's handlers.
class Verbs {
public:
    explicit Verbs(RDMScanner& scanner) : scanner_(scanner) {}

    base::Co<JSON> scan(JSON) {
        scanner_.startScan();
        co_return JSON{{"ok", true}};
    }
    base::Co<JSON> list(JSON) { co_return rdmState(scanner_); }
    base::Co<JSON> sensors(JSON) {
        co_await scanner_.refreshSensors();
        co_return rdmState(scanner_);
    }
    base::Co<JSON> write(JSON request) {
        scanner_.setWriteEnabled(switchField(request, "on"));
        co_return JSON{{"writeEnabled", *scanner_.writeEnabled()}};
    }
    base::Co<JSON> show(JSON request) {
        const auto uid = uidField(request);
        if (!scanner_.settingsLoaded(uid)) co_await scanner_.loadSettings(uid);
        if (scanner_.device(uid) == nullptr) throw ControlError("Gerät nicht gefunden");
        co_return deviceAnswer(uid);
    }
    base::Co<JSON> identify(JSON request) {
        const auto uid = uidField(request);
        const auto failure = co_await scanner_.identify(uid, switchField(request, "on"), false);
        insist(failure);
        co_return deviceAnswer(uid);
    }
    base::Co<JSON> address(JSON request) {
        const auto uid = uidField(request);
        // Whether it lies in the universe is for the device to say.
        const int address = numberField(request, "address", 0, std::numeric_limits<std::uint16_t>::max());
        const auto met = namesInTheWay(scanner_, scanner_.sequentialPlan({uid}, address, 0));
        const auto failure = co_await scanner_.setAddress(uid, address, false);
        insist(failure);
        auto answer = deviceAnswer(uid);
        answer["overlaps"] = met;
        co_return answer;
    }
    base::Co<JSON> mode(JSON request) {
        const auto uid = uidField(request);
        const auto failure = co_await scanner_.setPersonality(uid, byteField(request, "number"), false);
        insist(failure);
        co_return deviceAnswer(uid);
    }
    base::Co<JSON> label(JSON request) {
        const auto uid = uidField(request);
        const auto failure = co_await scanner_.setLabel(uid, textField(request, "text"));
        insist(failure);
        co_return deviceAnswer(uid);
    }
    base::Co<JSON> lamp(JSON request) {
        const auto uid = uidField(request);
        const auto failure = co_await scanner_.setLamp(uid, byteField(request, "state"));
        insist(failure);
        co_return deviceAnswer(uid);
    }
    base::Co<JSON> reset(JSON request) {
        const auto uid = uidField(request);
        const auto failure = co_await scanner_.reset(uid, switchField(request, "cold"), false);
        insist(failure);
        co_return deviceAnswer(uid);
    }
    base::Co<JSON> sequential(JSON request) {
        const auto uids = selection(scanner_, request);
        const int start = numberField(request, "start", 1, RDMPlacing::lastSlot);
        const int gap = optionalInteger(request, "gap") ? numberField(request, "gap", 0, RDMPlacing::lastSlot - 1) : 0;
        const auto plan = scanner_.sequentialPlan(uids, start, gap);
        JSON rows = JSON::array();
        for (const auto& placing : plan)
            rows.push_back({{"uid", placing.uid.text()},
                            {"name", placing.name},
                            {"first", placing.first},
                            {"last", placing.last},
                            {"fits", placing.fits()}});
        JSON answer = {{"plan", rows}, {"overlaps", namesInTheWay(scanner_, plan)}};
        if (optionalSwitch(request, "dryRun").value_or(false)) co_return answer;
        // Once for all of them, where each would say the same.
        if (!*scanner_.writeEnabled()) throw ControlError("Schreiben ist gesperrt");
        const auto report = co_await scanner_.addressSequential(uids, start, gap);
        answer["report"] = report;
        co_return answer;
    }

private:
    static UID uidField(const JSON& request) { return uidOf(textField(request, "uid")); }
    static int byteField(const JSON& request, const char* key) {
        return numberField(request, key, 0, std::numeric_limits<std::uint8_t>::max());
    }
    JSON deviceAnswer(const UID& uid) const {
        const auto* device = scanner_.device(uid);
        return {{"device", device != nullptr ? rdmDeviceState(*device) : JSON(nullptr)}};
    }

    RDMScanner& scanner_;
};

}  // namespace

void addRDMVerbs(ControlServer& server, RDMScanner& scanner) {
    const auto verbs = std::make_shared<Verbs>(scanner);
    const auto add = [&](const char* name, base::Co<JSON> (Verbs::*verb)(JSON)) {
        server.add(name, [verbs, verb](JSON request) { return ((*verbs).*verb)(std::move(request)); });
    };
    add("rdm.scan", &Verbs::scan);
    add("rdm.list", &Verbs::list);
    add("rdm.sensors", &Verbs::sensors);
    add("rdm.write", &Verbs::write);
    add("rdm.show", &Verbs::show);
    add("rdm.identify", &Verbs::identify);
    add("rdm.address", &Verbs::address);
    add("rdm.mode", &Verbs::mode);
    add("rdm.label", &Verbs::label);
    add("rdm.lamp", &Verbs::lamp);
    add("rdm.reset", &Verbs::reset);
    add("rdm.sequential", &Verbs::sequential);
}

}  // namespace kestrelyne
