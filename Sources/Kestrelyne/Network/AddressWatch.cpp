#include "Kestrelyne/Network/AddressWatch.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace kestrelyne {

namespace {

constexpr std::string_view noMAC = "00:00:00:00:00:00", broadcastMAC = "FF:FF:FF:FF:FF:FF";

std::string upperCase(std::string_view mac) {
    std::string upper(mac);
    for (auto& character : upper)
        if (character >= 'a' && character <= 'z') character = static_cast<char>(character - 'a' + 'A');
    return upper;
}

}  // namespace

void AddressWatch::setOwnMACs(std::set<std::string> macs) {
    ownMACs_.clear();
    while (!macs.empty()) ownMACs_.insert(upperCase(macs.extract(macs.begin()).value()));
}

bool AddressWatch::isUnknown(const std::string& mac, const NetConfig& config) const {
    return !config.knownMACs.empty() && !config.knownMACs.contains(mac) && !ownMACs_.contains(mac);
}

NetFindings AddressWatch::note(const std::string& ip, const std::string& mac, const std::string& interface, base::Moment time,
                               const NetConfig& config) {
    const auto key = upperCase(mac);
    if (key == noMAC || key == broadcastMAC) return {};
    auto macs = arpIndex_.find(ip);
    const bool isKnown = macs != arpIndex_.end() && macs->second.contains(key);
    if (!isKnown) {
        if (entries_ >= mostEntries) {
            ++refused_;
            return {};
        }
        ++entries_;
        macs = arpIndex_.try_emplace(ip).first;
        macs->second.emplace(key, ARPEntry{.ip = ip, .mac = key, .interface = interface, .firstSeen = time, .lastSeen = time});
    }
    auto& entry = macs->second.find(key)->second;
    entry.interface = interface;
    if (entry.lastSeen.steady < time.steady) entry.lastSeen = time;
    latest_[key] = &entry;
    if (macs->second.size() > 1) suspects_.insert(ip);
    arpDirty_ = true;

    if (!isUnknown(key, config) || announcedMACs_.contains(key)) return {};
    if (announcedMACs_.size() >= mostEntries) {
        ++refused_;
        return {};
    }
    announcedMACs_.insert(key);
    return {{config.alarmNewDevices ? NetEvent::Level::alarm : NetEvent::Level::warning,
             fmt::format("Unbekanntes Gerät im Netz: {} ({})", ip, key)}};
}

NetFindings AddressWatch::check(base::Moment now) {
    if (now.steady - swept_ >= sweepEvery) forgetOld(now.steady);
    auto questioned = std::exchange(suspects_, {});
    for (const auto& [ip, conflict] : conflicts_) questioned.insert(ip);

    NetFindings findings;
    bool changed = false;
    for (const auto& ip : questioned) {
        auto macs = rivals(ip, now.steady);
        const auto standing = conflicts_.find(ip);
        if (standing == conflicts_.end()) {
            if (macs.size() < 2) continue;
            findings.push_back({NetEvent::Level::alarm, fmt::format("IP-Konflikt: {} wird von {} Geräten benutzt ({})", ip,
                                                                    macs.size(), fmt::join(macs, ", "))});
            conflicts_.emplace(ip, IPConflict{.ip = ip, .macs = std::move(macs), .since = now});
        } else if (macs.size() < 2) {
            findings.push_back({NetEvent::Level::info, fmt::format("IP-Konflikt {} nicht mehr sichtbar", ip)});
            conflicts_.erase(standing);
        } else if (standing->second.macs != macs) {
            standing->second.macs = std::move(macs);
        } else {
            continue;
        }
        changed = true;
    }

    if (std::exchange(arpDirty_, false)) {
        std::vector<ARPEntry> table;
        table.reserve(entries_);
        for (const auto& [ip, macs] : arpIndex_)
            for (const auto& [mac, entry] : macs) table.push_back(entry);
        arpTable_.set(std::move(table));
    }
    if (changed) {
        std::vector<IPConflict> list;
        for (const auto& [ip, conflict] : conflicts_) list.push_back(conflict);
        ipConflicts_.set(std::move(list));
    }
    return findings;
}

// The hardware addresses that used this address within the window.
std::vector<std::string> AddressWatch::rivals(const std::string& ip, base::SteadyTime now) const {
    std::vector<std::string> macs;
    if (const auto found = arpIndex_.find(ip); found != arpIndex_.end())
        for (const auto& [mac, entry] : found->second)
            if (now - entry.lastSeen.steady <= conflictWindow) macs.push_back(mac);
    return macs;
}

void AddressWatch::forgetOld(base::SteadyTime now) {
    swept_ = now;
    const auto before = entries_;
    const auto isOld = [now](const ARPEntry& entry) { return now - entry.lastSeen.steady > entryKept; };
    std::erase_if(latest_, [&](const auto& entry) { return isOld(*entry.second); });
    for (auto& [ip, macs] : arpIndex_) entries_ -= std::erase_if(macs, [&](const auto& entry) { return isOld(entry.second); });
    std::erase_if(arpIndex_, [](const auto& address) { return address.second.empty(); });
    if (entries_ != before) arpDirty_ = true;
}

const ARPEntry* AddressWatch::byMAC(const std::string& mac) const {
    const auto found = latest_.find(mac);
    return found == latest_.end() ? nullptr : found->second;
}

void AddressWatch::clear() {
    latest_.clear();
    arpIndex_.clear();
    entries_ = 0;
    suspects_.clear();
    conflicts_.clear();
    announcedMACs_.clear();
    arpDirty_ = false;
    arpTable_.set({});
    ipConflicts_.set({});
}

}  // namespace kestrelyne
