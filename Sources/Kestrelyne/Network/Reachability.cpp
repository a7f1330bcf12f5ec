#include "Kestrelyne/Network/Reachability.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kestrelyne {

namespace {

using Level = NetEvent::Level;

constexpr double shortestTimeout = 0.3, longestTimeout = 0.8;  // s
constexpr double shareOfInterval = 0.8;

std::string called(const NetDevice& device) { return device.name + " (" + device.ip + ")"; }
std::string unreachable(const NetDevice& device) { return called(device) + " nicht erreichbar"; }

std::string backAgain(const NetDevice& device, const DeviceState& state, base::SteadyTime now) {
    auto text = called(device) + " wieder online";
    if (state.offlineSince) {
        const auto outage = std::chrono::duration_cast<std::chrono::seconds>(now - state.offlineSince->steady);
        text += " nach " + std::to_string(outage.count()) + " s";
    }
    return text;
}

std::string joined(const std::vector<const NetDevice*>& devices) {
    std::string names;
    for (const auto* device : devices) names += (device == devices.front() ? "" : ", ") + device->name;
    return names;
}

// What the devices did in one round.
struct Round {
    std::vector<const NetDevice*> outages;
    std::size_t recovered = 0;  // of those that alarm
    NetFindings findings;
};

void judgeAnswer(const NetDevice& device, DeviceState& state, double latency, base::Moment now, Round& round) {
    const auto previous = state.online;
    state.latency = latency;
    state.lastSeen = now;
    state.failures = 0;
    if (previous == true) return;
    state.online = true;
    state.since = now;
    if (previous == false) {
        round.findings.push_back({Level::info, backAgain(device, state, now.steady)});
        if (device.alarmOnOffline) ++round.recovered;
    }
    state.offlineSince.reset();
}

void judgeSilence(const NetDevice& device, DeviceState& state, int offlineAfter, base::Moment now, Round& round) {
    const auto previous = state.online;
    if (state.failures < std::numeric_limits<int>::max()) ++state.failures;
    state.latency.reset();
    if (state.failures < std::max(offlineAfter, 1) || previous == false) return;
    state.online = false;
    state.since = now;
    state.offlineSince = now;
    if (previous == true)
        round.outages.push_back(&device);
    else
        round.findings.push_back({Level::warning, unreachable(device)});
}

// An outage of several is over when fewer than two of them are offline.
bool isOver(const PassingFinding& finding, const DeviceStates& states) {
    const auto isOffline = [&states](const base::UUID& id) {
        const auto found = states.find(id);
        return found != states.end() && found->second.online == false;
    };
    return !finding.devices.empty() && std::ranges::count_if(finding.devices, isOffline) < 2;
}

bool stands(const PassingFinding& finding, const DeviceStates& states, base::SteadyTime now) {
    return now - finding.at < Reachability::passingKept && !isOver(finding, states);
}

}  // namespace

const DeviceState* Reachability::state(const base::UUID& id) const {
    const auto found = states_->find(id);
    return found == states_->end() ? nullptr : &found->second;
}

std::vector<PassingFinding> Reachability::passing(base::SteadyTime now) const {
    std::vector<PassingFinding> standing;
    std::ranges::copy_if(passing_, std::back_inserter(standing),
                         [&](const PassingFinding& finding) { return stands(finding, *states_, now); });
    return standing;
}

NetFindings Reachability::judge(const std::vector<NetDevice>& devices, const netcore::Ping::Answers& answers, int offlineAfter,
                                base::Moment now, const std::set<std::string>* asked) {
    if (devices.empty() && states_->empty()) return {};

    Round round;
    DeviceStates states;
    for (const auto& device : devices) {
        const auto* known = state(device.id);
        if (asked != nullptr && !asked->contains(device.ip)) {
            if (known != nullptr) states.insert_or_assign(device.id, *known);
            continue;
        }
        auto next = known != nullptr ? *known : DeviceState{};
        if (const auto answer = answers.find(device.ip); answer != answers.end())
            judgeAnswer(device, next, answer->second, now, round);
        else
            judgeSilence(device, next, offlineAfter, now, round);
        states.insert_or_assign(device.id, std::move(next));
    }
    // One that is over does not come back with the next outage.
    std::erase_if(passing_, [&](const PassingFinding& finding) { return !stands(finding, states, now.steady); });

    auto& findings = round.findings;
    std::vector<const NetDevice*> alarming;
    for (const auto* device : round.outages) {
        if (device->alarmOnOffline)
            alarming.push_back(device);
        else
            findings.push_back({Level::warning, unreachable(*device)});
    }
    if (alarming.size() == 1) findings.push_back({Level::alarm, unreachable(*alarming.front())});
    if (alarming.size() > 1) {
        for (const auto* device : alarming) findings.push_back({Level::warning, unreachable(*device)});
        auto text = std::to_string(alarming.size()) + " Geräte gleichzeitig nicht erreichbar: " + joined(alarming);
        std::vector<base::UUID> together;
        for (const auto* device : alarming) together.push_back(device->id);
        passing_.push_back({Level::alarm, text, now.steady, std::move(together)});
        findings.push_back({Level::alarm, std::move(text)});
    }
    if (round.recovered > 1) {
        auto text = std::to_string(round.recovered) + " Geräte wieder online";
        passing_.push_back({.level = Level::info, .text = text, .at = now.steady});
        findings.push_back({Level::info, std::move(text)});
    }
    states_.set(std::move(states));
    return std::move(round.findings);
}

void Reachability::forget(const base::UUID& id) {
    if (state(id) == nullptr) return;
    auto states = *states_;
    states.erase(id);
    std::erase_if(passing_, [&](const PassingFinding& finding) { return isOver(finding, states); });
    states_.set(std::move(states));
}

void Reachability::clear() {
    passing_.clear();
    if (!states_->empty()) states_.set({});
}

base::Seconds Reachability::timeout(double pingInterval) {
    if (!std::isfinite(pingInterval)) return base::Seconds(longestTimeout);
    return base::Seconds(std::clamp(pingInterval * shareOfInterval, shortestTimeout, longestTimeout));
}

}  // namespace kestrelyne
