#include "Kestrelyne/Lighting/DMXOutput.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Base/Require.hpp"
#include "Kestrelyne/Lighting/DMXFrames.hpp"

namespace kestrelyne {

namespace {

DMXOutput* sharedOutput = nullptr;

constexpr double highestPriority = 200, shortestStep = 0.05, longestStep = 3600;
constexpr int lastChannel = 512, fullValue = 255;

constexpr const char* monitorNeeded =
    "Zum Senden bitte zuerst die Netzwerküberwachung starten (für Konfliktprüfung und Ziel-Nodes).";
constexpr const char* notStarted = " – Testausgabe nicht gestartet.";
constexpr const char* ended = "Testausgabe gestoppt: ";

NetProtocol protocolOf(DMXOutput::Proto proto) { return proto == DMXOutput::Proto::sacn ? NetProtocol::sacn : NetProtocol::artnet; }

/// What is no number counts as the default.
double within(double value, double lowest, double highest, double otherwise) {
    return std::isnan(value) ? otherwise : std::clamp(value, lowest, highest);
}

DMXOutput::Options clamped(DMXOutput::Options options) {
    const DMXOutput::Options defaults;
    options.level = within(options.level, 0, 1, 0);
    options.sacnPriority = within(options.sacnPriority, 0, highestPriority, defaults.sacnPriority);
    options.chaseStep = within(options.chaseStep, shortestStep, longestStep, defaults.chaseStep);
    return options;
}

DMXOutput::Mode clamped(DMXOutput::Mode mode) {
    if (auto* const raw = std::get_if<DMXOutput::Raw>(&mode)) raw->value = std::clamp(raw->value, 0, fullValue);
    return mode;
}

bool covers(const DMXOutput::Mode& mode, const std::set<int>& filter, const PatchFixture& fixture) {
    if (const auto* const chosen = std::get_if<DMXOutput::Fixtures>(&mode)) return chosen->ids.contains(fixture.id);
    if (!std::holds_alternative<DMXOutput::All>(mode) && !std::holds_alternative<DMXOutput::Chase>(mode)) return false;
    return filter.empty() || filter.contains(fixture.universe);
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const auto& text : texts) all += (all.empty() ? "" : ", ") + text;
    return all;
}

}  // namespace

std::set<int> DMXOutput::Plan::withoutNode() const {
    auto left = universes;
    for (const auto& [universe, ways] : targets) left.erase(universe);
    return left;
}

DMXOutput::DMXOutput(PatchStore& patch, DMXNetwork network, DMXSender::Ports ports)
    : patch_(patch), network_(std::move(network)), sender_(ports) {
    patchChanged_ = patch_.patch().observe([this] { reconsider(); });
}

DMXOutput::~DMXOutput() {
    if (sharedOutput == this) sharedOutput = nullptr;
}

DMXOutput& DMXOutput::shared() {
    KESTRELYNE_REQUIRE(sharedOutput, "the application makes the test light");
    return *sharedOutput;
}

void DMXOutput::registerShared() { sharedOutput = this; }

void DMXOutput::setOptions(Options options) {
    options = clamped(std::move(options));
    if (options == *options_) return;
    const bool elsewhere = options.proto != options_->proto || options.universeFilter != options_->universeFilter;
    options_.set(std::move(options));
    if (elsewhere)
        reconsider();
    else
        refresh();
}

bool DMXOutput::start(Mode mode, Options options) {
    options = clamped(std::move(options));
    mode = clamped(std::move(mode));
    const bool off = std::holds_alternative<Off>(mode);
    std::string told;
    if (!off) {
        const auto planned = plan(mode, options);
        if (auto found = obstacle(mode, options, planned)) {
            blockedBy_.set(std::move(found->refusal));
            return false;
        }
        const auto without = planned.withoutNode();
        auto sent = planned.universes;
        for (const int universe : without) sent.erase(universe);
        told = std::string(text(protocolOf(options.proto))) + ", " + DMXFrames::universeText(sent);
        if (!without.empty()) told += "; ohne Node: " + DMXFrames::universeText(without);
    }
    if (*blockedBy_) blockedBy_.set(std::nullopt);
    if (off) {
        stop();
        return true;
    }
    const bool fresh = !sending();
    const bool chases = std::holds_alternative<Chase>(mode);
    // Both begin in a later turn. They stand before anybody is told, who might stop it again at once.
    chaseTask_ = chases ? base::Task("the chase of the test light", chase()) : base::Task();
    if (fresh) guardTask_ = base::Task("the guard of the test light", guard());
    if (!chases && *currentFixture_) currentFixture_.set(std::nullopt);
    if (options != *options_) options_.set(std::move(options));
    mode_.set(std::move(mode));
    if (chases)
        showLamp(0);
    else
        refresh();
    if (fresh) network_.log(NetEvent::Level::info, "DMX-Testausgabe gestartet (" + told + ")");
    return true;
}

void DMXOutput::stop() {
    if (!sending()) return;
    chaseTask_.cancel();
    guardTask_.cancel();
    sender_.stop();
    universes_.clear();
    withoutNode_.clear();
    if (*currentFixture_) currentFixture_.set(std::nullopt);
    mode_.set(Off{});
    network_.log(NetEvent::Level::info, "DMX-Testausgabe beendet");
}

bool DMXOutput::lit(const PatchFixture& fixture) const {
    if (!universes_.contains(fixture.universe) || !DMXFrames::reachable(fixture, patch_.settings(), protocolOf(options_->proto)))
        return false;
    if (std::holds_alternative<Chase>(*mode_)) return *currentFixture_ && (*currentFixture_)->id == fixture.id;
    return covers(*mode_, options_->universeFilter, fixture);
}

DMXOutput::Plan DMXOutput::plan(const Mode& mode, const Options& options) const {
    const auto& settings = patch_.settings();
    const auto protocol = protocolOf(options.proto);
    Plan result;
    for (const auto& fixture : patch_.fixtures()) {
        if (!covers(mode, options.universeFilter, fixture) || !DMXFrames::reachable(fixture, settings, protocol)) continue;
        result.lamps.push_back(&fixture);
        result.universes.insert(fixture.universe);
    }
    if (const auto* const raw = std::get_if<Raw>(&mode)) result.universes.insert(raw->universe);
    const auto adapters = protocol == NetProtocol::sacn ? network_.adapters() : std::vector<std::uint32_t>();
    for (const int universe : result.universes) {
        const auto wire = DMXFrames::wireUniverse(universe, settings, protocol);
        if (!wire) continue;
        auto nodes = protocol == NetProtocol::artnet ? network_.nodes(*wire) : std::vector<std::string>();
        auto targets = DMXFrames::targets(
            *wire, {.protocol = protocol, .nodes = std::move(nodes), .adapters = adapters, .loopbackOnly = network_.loopbackOnly});
        if (!targets.empty()) result.targets.emplace(universe, std::move(targets));
    }
    // A chase does not wait at a lamp that nobody lights.
    std::erase_if(result.lamps, [&](const PatchFixture* lamp) { return !result.targets.contains(lamp->universe); });
    return result;
}

std::optional<DMXOutput::Obstacle> DMXOutput::obstacle(const Mode& mode, const Options& options, const Plan& plan) const {
    const auto& settings = patch_.settings();
    if (!network_.running()) return Obstacle{.refusal = monitorNeeded, .end = monitorNeeded};
    if (network_.hear) network_.hear(plan.universes);
    const auto foreign = DMXFrames::foreignSources(plan.universes, settings, network_.sources, network_.now());
    if (!foreign.names.empty())
        return Obstacle{
            .refusal = joined(foreign.names) + " sendet bereits ein Pult/eine andere Quelle" + notStarted,
            .end = ended + std::string("auf ") + DMXFrames::universeText(foreign.universes) + " sendet jetzt eine andere Quelle."};
    if (const auto* const raw = std::get_if<Raw>(&mode)) {
        const auto number = std::to_string(raw->universe);
        if (!DMXFrames::wireUniverse(raw->universe, settings, protocolOf(options.proto))) {
            const auto what = "Universum " + number + " gibt es auf " + std::string(text(protocolOf(options.proto))) + " nicht";
            return Obstacle{.refusal = what + notStarted, .end = ended + what + "."};
        }
        if (raw->channel < 1 || raw->channel > lastChannel) {
            const auto what = "Kanal " + std::to_string(raw->channel) + " gibt es nicht (1 bis 512)";
            return Obstacle{.refusal = what + notStarted, .end = ended + what + "."};
        }
    }
    if (plan.universes.empty())
        return Obstacle{.refusal = std::string("Keine gepatchte Lampe gewählt") + notStarted,
                        .end = std::string(ended) + "es ist keine gepatchte Lampe mehr gewählt."};
    if (plan.targets.empty()) {
        const auto where = DMXFrames::artNetUniverseText(plan.universes, settings);
        return Obstacle{.refusal = "Kein Art-Net-Node gibt " + where + " aus" + notStarted,
                        .end = ended + std::string("kein Art-Net-Node gibt ") + where + " mehr aus."};
    }
    return std::nullopt;
}

void DMXOutput::refresh() {
    if (!sending()) return;
    const auto& settings = patch_.settings();
    const auto protocol = protocolOf(options_->proto);
    const auto planned = plan(*mode_, *options_);
    // By what goes on the wire: an offset may put two universes of the console on one.
    std::map<int, DMXSender::Frame> pictures;
    const auto picture = [&](int universe) -> DMXSender::Frame& {
        return pictures[*DMXFrames::wireUniverse(universe, settings, protocol)];
    };
    const bool chases = std::holds_alternative<Chase>(*mode_);
    for (const auto* const lamp : planned.lamps)
        if (!chases || (*currentFixture_ && (*currentFixture_)->id == lamp->id))
            DMXFrames::light(picture(lamp->universe), *lamp, options_->level);
    if (const auto* const raw = std::get_if<Raw>(&*mode_); raw && planned.targets.contains(raw->universe))
        picture(raw->universe)[static_cast<std::size_t>(raw->channel - 1)] = static_cast<std::uint8_t>(raw->value);
    DMXSender::Frames frames;
    universes_.clear();
    for (const auto& [universe, targets] : planned.targets) {
        universes_.insert(universe);
        for (const auto& target : targets) frames.insert_or_assign(target, picture(universe));
    }
    withoutNode_ = planned.withoutNode();
    sender_.update(std::move(frames), protocol == NetProtocol::sacn,
                   static_cast<std::uint8_t>(std::lround(options_->sacnPriority)));
}

void DMXOutput::reconsider() {
    if (!sending()) return;
    if (const auto found = obstacle(*mode_, *options_, plan(*mode_, *options_))) {
        stop();
        blockedBy_.set(found->end);
        network_.log(NetEvent::Level::warning, found->end);
    } else {
        refresh();
    }
}

void DMXOutput::showLamp(std::size_t index) {
    const auto lamps = plan(*mode_, *options_).lamps;
    // Without one the guard ends it.
    if (lamps.empty()) return;
    if (index >= lamps.size()) index = 0;
    const auto lamp = *lamps[index];
    chaseIndex_.set(static_cast<int>(index));
    currentFixture_.set(lamp);
    refresh();
}

base::Co<> DMXOutput::chase() {
    for (;;) {
        co_await base::sleepFor(base::Seconds(options_->chaseStep));
        showLamp(static_cast<std::size_t>(*chaseIndex_) + 1);
    }
}

base::Co<> DMXOutput::guard() {
    for (;;) {
        co_await base::sleepFor(guardInterval);
        reconsider();
    }
}

}  // namespace kestrelyne
