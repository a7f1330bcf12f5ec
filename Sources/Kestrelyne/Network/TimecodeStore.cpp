#include "Kestrelyne/Network/TimecodeStore.hpp"

#include <fmt/format.h>

#include <map>
#include <utility>

#include "Kestrelyne/Network/NaturalOrder.hpp"

namespace kestrelyne {

NetFindings TimecodeStore::refresh(const std::vector<ExtrasAccumulator::Timecode>& codes, base::Moment now,
                                   const std::function<std::string(const std::string& ip)>& displayName) {
    const auto before = std::exchange(refreshed_, now.steady);
    if (codes.empty() && list_->empty()) return {};

    std::map<std::string, TimecodeState, NaturalOrder> states;
    for (const auto& state : *list_) states.emplace(state.ip, state);
    NetFindings findings;
    bool changed = false;
    for (const auto& [ip, code, time] : codes) {
        if (now.steady - time.steady > lostAfter) continue;
        const auto [entry, isNew] = states.try_emplace(ip);
        auto& state = entry->second;
        auto name = displayName(ip);
        if (isNew) {
            findings.push_back({NetEvent::Level::info, fmt::format("Timecode-Quelle: {} ({})", name, ip)});
            state = {.ip = ip, .name = std::move(name), .code = code, .lastSeen = time, .lastChange = time};
            changed = true;
            continue;
        }
        if (state.name != name || state.lastSeen.steady != time.steady) changed = true;
        state.name = std::move(name);
        state.lastSeen = time;
        if (state.code != code) {
            state.code = code;
            state.lastChange = time;
            changed = true;
        }
    }
    std::erase_if(states, [&](const auto& entry) {
        const auto& state = entry.second;
        if (now.steady - state.lastSeen.steady <= lostAfter) return false;
        findings.push_back({NetEvent::Level::warning, fmt::format("Timecode von {} ({}) verloren", state.name, state.ip)});
        changed = true;
        return true;
    });
    // One that has just come to a stand is told although nothing was heard of it.
    for (const auto& [ip, state] : states)
        if (state.running(before) != state.running(now.steady)) changed = true;
    if (changed) {
        std::vector<TimecodeState> list;
        list.reserve(states.size());
        for (auto& [ip, state] : states) list.push_back(std::move(state));
        list_.set(std::move(list));
    }
    return findings;
}

void TimecodeStore::clear() { list_.set({}); }

}  // namespace kestrelyne
