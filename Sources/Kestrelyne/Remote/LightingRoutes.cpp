#include "Kestrelyne/Remote/LightingRoutes.hpp"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "Base/JSONFields.hpp"
#include "Base/JSONWriter.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/Lighting/DMXRequest.hpp"
#include "Kestrelyne/Remote/FixtureJSON.hpp"
#include "Kestrelyne/Remote/NetworkJSON.hpp"
#include "Kestrelyne/Remote/WebServer.hpp"

namespace kestrelyne {

namespace {

using netcore::RDM::UID;

constexpr std::size_t mostFixtures = 300;  // of one answer
constexpr std::size_t usualSize = 4096, sizeOfFixture = 640;
constexpr int lowestAddress = 1, highestAddress = 512;
constexpr const char* needsSession = "Anmeldung nötig";
constexpr const char* invalid = "ungültig";
constexpr const char* noDevice = "Kein RDM-Gerät an dieser Adresse gefunden – RDM-Scan starten";

HTTPResponse done() { return HTTPResponse::json({{"ok", true}}); }

/// The routes with what they speak of; lives as long as they do.
class Rig : public std::enable_shared_from_this<Rig> {
public:
    explicit Rig(const LightingRig& given) : rig_(given) {}

    HTTPResponse patch(const APICall& call);
    base::Co<HTTPResponse> fixture(APICall call);
    base::Co<HTTPResponse> action(APICall call);
    HTTPResponse scan(const APICall& call);
    HTTPResponse startTest(const APICall& call);
    HTTPResponse stopTest(const APICall& call);

private:
    WebConfig::Control control() const { return rig_.web.config()->control; }
    bool mayAct(const APICall& call) const { return call.authed && control() != WebConfig::Control::view; }

    const PatchFixture* fixtureOf(const APICall& call) const {
        const auto id = base::UUID::parse(call.pieces[2]);
        return id ? rig_.patch.patch()->fixture(*id) : nullptr;
    }
    const RDMDeviceState* deviceOf(const PatchFixture& fixture) const {
        return rig_.rdm != nullptr ? rig_.patch.rdmDevice(fixture, *rig_.rdm->devices()) : nullptr;
    }
    FixtureSurroundings around(const PatchFixture& fixture) const {
        return {.device = deviceOf(fixture), .lit = rig_.dmx.lit(fixture)};
    }
    /// With the device that it had, or the one that it has now when that is absent.
    HTTPResponse detail(const base::UUID& id, const std::optional<UID>& had, const std::optional<std::string>& failure) const;
    std::int64_t overlaps();
    HTTPResponse highlight(const PatchFixture& fixture, bool on);
    void log(std::string text) {
        if (rig_.log) rig_.log(std::move(text));
    }

    const LightingRig rig_;
    // Asked for with every poll; counted when the patch has changed.
    std::optional<std::uint64_t> overlapsOf_;
    std::int64_t overlaps_ = 0;
};

// The patch

std::int64_t Rig::overlaps() {
    if (const auto revision = rig_.patch.revision(); overlapsOf_ != revision) {
        overlapsOf_ = revision;
        overlaps_ = std::ssize(rig_.patch.patch()->overlaps());
    }
    return overlaps_;
}

HTTPResponse Rig::patch(const APICall& call) {
    const auto found = call.request.query.find("q");
    const auto text = found != call.request.query.end() ? std::string(base::trimmed(found->second)) : std::string();
    const PatchQuery query(text);
    const auto wanted = base::lowerASCII(text);
    const auto isNamed = [&wanted](const PatchFixture& fixture) {
        return !wanted.empty() && fixture.fixtureID.size() == wanted.size() && base::lowerASCII(fixture.fixtureID) == wanted;
    };
    std::vector<const PatchFixture*> named, others;
    std::size_t matching = 0;
    for (const auto& fixture : rig_.patch.fixtures()) {
        if (isNamed(fixture))
            named.push_back(&fixture);
        else if (query.matches(fixture)) {
            ++matching;
            if (others.size() < mostFixtures) others.push_back(&fixture);
        }
    }
    const auto total = named.size() + matching;
    named.insert(named.end(), others.begin(), others.end());
    if (named.size() > mostFixtures) named.resize(mostFixtures);

    base::JSONWriter json(usualSize + sizeOfFixture * named.size());
    json.beginObject();
    writeArray(json, "fixtures", named,
               [&](const PatchFixture* fixture) { writeFixtureSummary(json, *fixture, around(*fixture)); });
    json.key("total").integer(static_cast<std::int64_t>(total));
    json.key("rdmScan");
    const auto* scanner = rig_.rdm;
    json.number(scanner != nullptr && *scanner->lastScan() ? std::optional(base::secondsSince1970(**scanner->lastScan()))
                                                           : std::nullopt);
    json.key("scanning").boolean(scanner != nullptr && *scanner->isScanning());
    json.key("scanProgress").text(scanner != nullptr ? *scanner->progress() : std::string());
    json.key("writeEnabled").boolean(scanner != nullptr && *scanner->writeEnabled());
    json.key("overlaps").integer(overlaps());
    json.key("source").text(rig_.patch.sourceName());
    json.key("dmx").beginObject();
    writeTestLight(json, rig_.dmx);
    json.endObject();
    json.endObject();
    return HTTPResponse::jsonText(json.take());
}

// One lamp

HTTPResponse Rig::detail(const base::UUID& id, const std::optional<UID>& had, const std::optional<std::string>& failure) const {
    const auto* fixture = rig_.patch.patch()->fixture(id);
    if (fixture == nullptr) return HTTPResponse::error("Lampe nicht gefunden", 404);
    auto known = around(*fixture);
    // A lamp that got another address stands no longer where the patch looks for it; whoever changed it wants to see it.
    if (had && rig_.rdm->device(*had) != nullptr) known.device = rig_.rdm->device(*had);
    base::JSONWriter json(usualSize);
    json.beginObject();
    writeFixtureDetail(json, *fixture, known, rig_.rdm != nullptr && *rig_.rdm->writeEnabled(), failure);
    json.endObject();
    return HTTPResponse::jsonText(json.take());
}

base::Co<HTTPResponse> Rig::fixture(APICall call) {
    const auto keep = shared_from_this();
    const auto* fixture = fixtureOf(call);
    if (fixture == nullptr) co_return HTTPResponse::error("Lampe nicht gefunden", 404);
    const auto id = fixture->id;
    if (const auto* device = deviceOf(*fixture); device != nullptr && !rig_.rdm->settingsLoaded(device->uid))
        co_await rig_.rdm->loadSettings(device->uid);
    co_return detail(id, std::nullopt, std::nullopt);
}

HTTPResponse Rig::highlight(const PatchFixture& fixture, bool on) {
    const auto name = fixture.displayName();
    if (!on) {
        rig_.dmx.stop();
        log("Web-App: " + name + " DMX aus");
        return done();
    }
    if (!rig_.dmx.start(DMXOutput::Fixtures{{fixture.id}}))
        return HTTPResponse::error(rig_.dmx.blockedBy()->value_or(std::string()), 409);
    log("Web-App: " + name + " hell (DMX)");
    return done();
}

base::Co<HTTPResponse> Rig::action(APICall call) {
    const auto keep = shared_from_this();
    const auto* fixture = fixtureOf(call);
    if (fixture == nullptr) co_return HTTPResponse::error("Lampe nicht gefunden", 404);
    if (!mayAct(call)) co_return HTTPResponse::error(needsSession, 401);
    const auto& action = call.pieces[3];
    const auto body = call.body();
    const auto* onValue = base::member(body, "on");
    const bool on = onValue == nullptr || !onValue->is_boolean() || onValue->get<bool>();
    if (action == "highlight") co_return highlight(*fixture, on);

    const bool changesAddress = action == "address", changesMode = action == "mode";
    if (!changesAddress && !changesMode && action != "identify" && action != "refresh")
        co_return HTTPResponse::error("unbekannte Aktion", 404);
    if (changesAddress && control() != WebConfig::Control::full)
        co_return HTTPResponse::error("Adressänderung ist in den Web-App-Einstellungen nicht freigegeben", 403);
    if (changesMode && control() != WebConfig::Control::full)
        co_return HTTPResponse::error("Modusänderung ist in den Web-App-Einstellungen nicht freigegeben", 403);

    const auto number = [&body](const char* key) -> std::optional<long long> {
        const auto* value = base::member(body, key);
        try {
            return value != nullptr ? std::optional(base::asInteger(*value)) : std::nullopt;
        } catch (const base::DecodeError&) {
            return std::nullopt;
        }
    };
    const auto address = number("address"), mode = number("number");
    if (changesAddress && (!address || *address < lowestAddress || *address > highestAddress))
        co_return HTTPResponse::error(invalid, 400);
    const auto id = fixture->id;
    const auto* device = deviceOf(*fixture);
    if (device == nullptr) co_return HTTPResponse::error(action == "refresh" ? "kein RDM-Gerät" : noDevice, 404);
    const UID uid = device->uid;
    if (changesMode) {
        // A phone may have asked before the device had told of its modes.
        if (device->personalities.empty() && !rig_.rdm->settingsLoaded(uid)) co_await rig_.rdm->loadSettings(uid);
        const auto* now = rig_.rdm->device(uid);
        if (!mode || now == nullptr || std::ranges::count(now->personalities, *mode, &netcore::RDM::Personality::number) == 0)
            co_return HTTPResponse::error(invalid, 400);
    }

    RDMScanner::Failure failure;
    if (changesAddress)
        failure = co_await rig_.rdm->setAddress(uid, static_cast<int>(*address), true);
    else if (changesMode)
        failure = co_await rig_.rdm->setPersonality(uid, static_cast<int>(*mode), true);
    else if (action == "identify")
        failure = co_await rig_.rdm->identify(uid, on, true);
    else
        co_await rig_.rdm->loadSettings(uid);
    co_return detail(id, uid, failure);
}

// The scan and the test light

HTTPResponse Rig::scan(const APICall& call) {
    if (!call.authed) return HTTPResponse::error(needsSession, 401);
    if (rig_.rdm == nullptr) return HTTPResponse::error("Netzwerk nicht bereit", 503);
    rig_.rdm->startScan();
    return done();
}

HTTPResponse Rig::startTest(const APICall& call) {
    if (!mayAct(call)) return HTTPResponse::error(needsSession, 401);
    try {
        auto request = dmxRequest(call.body(), *rig_.patch.patch(), *rig_.dmx.options());
        if (rig_.dmx.start(std::move(request.mode), std::move(request.options))) return done();
    } catch (const DMXRequestError& error) {
        return HTTPResponse::error(error.what(), 400);
    }
    return HTTPResponse::error(rig_.dmx.blockedBy()->value_or(std::string()), 409);
}

HTTPResponse Rig::stopTest(const APICall& call) {
    if (!call.authed) return HTTPResponse::error(needsSession, 401);
    rig_.dmx.stop();
    return done();
}

}  // namespace

std::vector<APIRoute> lightingRoutes(const LightingRig& rig) {
    const auto shared = std::make_shared<Rig>(rig);
    return {quickRoute("GET", {"patch"}, [shared](const APICall& call) { return shared->patch(call); }),
            {"GET", {"fixture", "*"}, [shared](APICall call) { return shared->fixture(std::move(call)); }},
            {"POST", {"fixture", "*", "*"}, [shared](APICall call) { return shared->action(std::move(call)); }},
            quickRoute("POST", {"rdm", "scan"}, [shared](const APICall& call) { return shared->scan(call); }),
            quickRoute("POST", {"dmx", "start"}, [shared](const APICall& call) { return shared->startTest(call); }),
            quickRoute("POST", {"dmx", "stop"}, [shared](const APICall& call) { return shared->stopTest(call); })};
}

}  // namespace kestrelyne
