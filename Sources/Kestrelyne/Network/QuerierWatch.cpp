#include "Kestrelyne/Network/QuerierWatch.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace kestrelyne {

namespace {

constexpr std::string_view linkLocalGroups = "224.0.0.";  // flooded by every switch, with or without a querier (RFC 4541, 2.1.2)
constexpr std::string_view discoveryGroup = "239.255.255.250";  // SSDP: every desktop computer joins it
constexpr std::string_view anyGroup = "0.0.0.0";                // of a general query (RFC 3376, 4.1.4)

bool needsQuerier(const IGMPInterfaceState& state) {
    return std::ranges::any_of(
        state.groups, [](const auto& group) { return !group.first.starts_with(linkLocalGroups) && group.first != discoveryGroup; });
}

std::optional<base::SteadyTime> lastHeard(const IGMPInterfaceState& state) {
    std::optional<base::SteadyTime> latest;
    for (const auto& [ip, querier] : state.queriers)
        if (!latest || querier.last.steady > *latest) latest = querier.last.steady;
    return latest;
}

std::vector<std::string> heardSince(const IGMPInterfaceState& state, base::SteadyTime since) {
    std::vector<std::string> heard;
    for (const auto& [ip, querier] : state.queriers)
        if (querier.last.steady >= since) heard.push_back(ip);
    std::ranges::sort(heard, NaturalOrder{});
    return heard;
}

void moveTo(base::Moment& last, const base::Moment& time) {
    if (last.steady < time.steady) last = time;
}

}  // namespace

void QuerierWatch::begin(const std::string& interface, const std::string& displayName, base::Moment now,
                         std::optional<std::string> error) {
    const auto [entry, isNew] = adapters_.try_emplace(interface);
    auto& adapter = entry->second;
    auto& state = adapter.state;
    state.interface = interface;
    state.displayName = displayName;
    if (error) {
        // Who sees nothing has nothing to say.
        state.missing = adapter.missed = false;
        adapter.several = false;
    } else if (!adapter.missed) {
        state.captureStart = now;
    }
    adapter.asked.reset();
    state.error = std::move(error);
    dirty_ = true;
}

void QuerierWatch::keepOnly(const std::set<std::string>& interfaces) {
    if (std::erase_if(adapters_, [&](const auto& entry) { return !interfaces.contains(entry.first); }) > 0) dirty_ = true;
}

NetFindings QuerierWatch::noteQuery(const std::string& interface, const netcore::IGMPQuery& query, base::Moment now,
                                    const std::function<std::string(const std::string& ip)>& name) {
    const auto found = adapters_.find(interface);
    if (found == adapters_.end()) return {};
    auto& adapter = found->second;
    auto& state = adapter.state;
    if (query.group == anyGroup) {
        if (!adapter.asked || now.steady - *adapter.asked > defaultTimeout) adapter.askedSince = now.steady;
        adapter.asked = now.steady;
    }
    const auto known = state.queriers.find(query.querier);
    if (known != state.queriers.end()) {
        known->second.version = query.version;
        moveTo(known->second.last, now);
        dirty_ = true;
        return {};
    }
    if (state.queriers.size() >= limits_.queriers) {
        ++refused_;
        return {};
    }
    state.queriers.emplace(query.querier, IGMPInterfaceState::Querier{.version = query.version, .last = now});
    dirty_ = true;
    return {{NetEvent::Level::info,
             fmt::format("IGMP-Querier auf {}: {} (IGMPv{})", state.displayName, name(query.querier), query.version)}};
}

void QuerierWatch::noteReport(const std::string& interface, const netcore::IGMPReport& report, base::Moment now) {
    const auto found = adapters_.find(interface);
    if (found == adapters_.end()) return;
    auto& [state, memberships, asked, askedSince, several, missed] = found->second;
    for (const auto& group : report.groups) {
        const auto members = state.groups.find(group);
        const bool isMember = members != state.groups.end() && members->second.contains(report.host);
        if (report.leave) {
            if (!isMember) continue;
            members->second.erase(report.host);
            if (members->second.empty()) state.groups.erase(members);
            --memberships;
        } else if (isMember) {
            moveTo(members->second[report.host], now);
        } else if (memberships >= limits_.memberships) {
            ++refused_;
            continue;
        } else {
            state.groups[group].emplace(report.host, now);
            ++memberships;
        }
        dirty_ = true;
    }
}

NetFindings QuerierWatch::check(base::Moment now, base::Seconds timeout) {
    NetFindings findings;
    const bool sweeps = now.steady - swept_ >= sweepEvery;
    if (sweeps) swept_ = now.steady;
    for (auto& [interface, adapter] : adapters_) {
        if (sweeps) forgetSilent(adapter, now.steady, timeout);
        std::ranges::move(judge(adapter, now.steady, timeout), std::back_inserter(findings));
    }
    if (std::exchange(dirty_, false)) {
        std::vector<IGMPInterfaceState> list;
        list.reserve(adapters_.size());
        for (const auto& [interface, adapter] : adapters_) list.push_back(adapter.state);
        igmp_.set(std::move(list));
    }
    return findings;
}

void QuerierWatch::show(IGMPInterfaceState& state, bool missing) {
    if (std::exchange(state.missing, missing) != missing) dirty_ = true;
}

NetFindings QuerierWatch::judge(Adapter& adapter, base::SteadyTime now, base::Seconds timeout) {
    auto& state = adapter.state;
    if (state.error) return {};
    if (!needsQuerier(state)) {
        // What was told stays told: the groups come back with the next device that is switched on.
        show(state, false);
        return {};
    }
    NetFindings findings;
    // What was not listened to proves no silence.
    const auto silentSince = std::max(lastHeard(state).value_or(state.captureStart.steady), state.captureStart.steady);
    const base::Seconds age = now - silentSince;
    if (age > timeout && !adapter.missed) {
        adapter.missed = true;
        findings.push_back(
            {NetEvent::Level::alarm,
             fmt::format("Kein IGMP-Querier auf {} seit {} s – bei aktivem IGMP-Snooping kann sACN/Dante-Multicast ausfallen",
                         state.displayName, static_cast<long long>(age.count()))});
    } else if (age <= timeout && adapter.missed) {
        adapter.missed = false;
        findings.push_back({NetEvent::Level::info, fmt::format("IGMP-Querier auf {} wieder aktiv", state.displayName)});
    }
    show(state, adapter.missed);
    const auto heard = heardSince(state, now - base::nanoseconds(timeout));
    if (heard.size() > 1 && !adapter.several)
        findings.push_back(
            {NetEvent::Level::warning, fmt::format("Mehrere IGMP-Querier auf {}: {} – die niedrigste IP gewinnt die Wahl",
                                                   state.displayName, fmt::join(heard, ", "))});
    adapter.several = heard.size() > 1;
    return findings;
}

// The last querier heard stays, so that its silence can be told in seconds. A member goes when it no longer answers: as long as
// nobody asks, its silence says nothing.
void QuerierWatch::forgetSilent(Adapter& adapter, base::SteadyTime now, base::Seconds timeout) {
    auto& [state, memberships, asked, askedSince, several, missed] = adapter;
    const auto latest = lastHeard(state);
    const auto gone = std::erase_if(state.queriers, [&](const auto& entry) {
        const auto last = entry.second.last.steady;
        return last != latest && now - last > std::max(querierKept, timeout);
    });
    const auto before = memberships;
    for (auto& [group, members] : state.groups)
        memberships -= std::erase_if(members, [&](const auto& member) {
            const auto last = member.second.steady;
            return now - last > memberKept || (asked && *asked - std::max(last, *askedSince) > unansweredTimeouts * timeout);
        });
    std::erase_if(state.groups, [](const auto& group) { return group.second.empty(); });
    if (gone > 0 || memberships != before) dirty_ = true;
}

std::vector<std::string> QuerierWatch::members(const std::string& group) const {
    std::set<std::string, NaturalOrder> all;
    for (const auto& [interface, adapter] : adapters_)
        if (const auto found = adapter.state.groups.find(group); found != adapter.state.groups.end())
            for (const auto& [ip, last] : found->second) all.insert(ip);
    return {all.begin(), all.end()};
}

void QuerierWatch::clear() {
    for (auto& [interface, adapter] : adapters_) {
        adapter.several = adapter.missed = false;
        show(adapter.state, false);
    }
}

}  // namespace kestrelyne
