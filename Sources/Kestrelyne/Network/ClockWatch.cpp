#include "Kestrelyne/Network/ClockWatch.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <set>
#include <utility>

namespace kestrelyne {

namespace {

constexpr std::size_t macLength = 6, eui64Length = 8;

// The bytes of "00:1d:c1"; absent for anything else.
std::optional<std::vector<std::uint8_t>> identityBytes(std::string_view identity) {
    std::vector<std::uint8_t> bytes;
    for (const auto piece : base::split(identity, ':', true)) {
        std::uint8_t byte = 0;
        const auto [end, error] = std::from_chars(piece.data(), piece.data() + piece.size(), byte, 16);
        if (piece.size() != 2 || error != std::errc{} || end != piece.data() + piece.size()) return std::nullopt;
        bytes.push_back(byte);
    }
    return bytes;
}

PTPClock clockOf(const ExtrasAccumulator::PTPEntry& entry, base::Seconds elapsed, std::string interface) {
    return {.sender = entry.ann.sender,
            .grandmaster = entry.ann.grandmaster,
            .version = entry.ann.version,
            .domain = entry.ann.domain,
            .priority1 = entry.ann.priority1,
            .priority2 = entry.ann.priority2,
            .clockClass = entry.ann.clockClass,
            .stratum = entry.ann.stratum,
            .stepsRemoved = entry.ann.stepsRemoved,
            .packetsPerSecond = static_cast<double>(entry.count) / elapsed.count(),
            .lastSeen = entry.lastSeen,
            .interface = std::move(interface)};
}

}  // namespace

std::string PTPDomainState::key() const { return fmt::format("v{}/{}", version, domain); }

std::string PTPDomainState::label() const { return (version == 1 ? "PTPv1 (Dante) · " : "PTPv2 · ") + domain; }

std::vector<std::string> PTPDomainState::grandmasters() const {
    std::set<std::string, NaturalOrder> distinct;
    for (const auto& clock : clocks) distinct.insert(clock.grandmaster);
    return {distinct.begin(), distinct.end()};
}

NetFindings ClockWatch::refresh(const std::vector<ExtrasAccumulator::PTPEntry>& entries, base::Seconds elapsed,
                                const std::function<std::string(std::uint32_t index)>& interfaceName,
                                const std::function<std::string(const std::string& identity)>& clockName) {
    std::map<std::string, PTPDomainState, NaturalOrder> domains;
    for (const auto& entry : entries) {
        PTPDomainState named{.version = entry.ann.version, .domain = entry.ann.domain, .clocks = {}};
        auto& domain = domains.try_emplace(named.key(), std::move(named)).first->second;
        domain.clocks.push_back(clockOf(entry, elapsed, interfaceName(entry.iface)));
    }
    const auto names = [&clockName](const std::vector<std::string>& identities) {
        std::vector<std::string> all;
        for (const auto& identity : identities) all.push_back(clockName(identity));
        return fmt::format("{}", fmt::join(all, ", "));
    };

    NetFindings findings;
    std::vector<PTPDomainState> list;
    list.reserve(domains.size());
    for (auto& [key, domain] : domains) {
        std::ranges::sort(domain.clocks, NaturalOrder{}, &PTPClock::sender);
        const auto label = domain.label();
        const auto masters = domain.grandmasters();
        auto& known = known_[key];
        if (known.grandmasters != masters) {
            const bool isNew = known.grandmasters.empty(), several = masters.size() > 1;
            if (several)
                findings.push_back({NetEvent::Level::alarm, fmt::format("{}: mehrere Grandmaster aktiv ({}){}", label,
                                                                        names(masters), isNew ? "" : " – Takt instabil")});
            else if (isNew)
                findings.push_back({NetEvent::Level::info, fmt::format("{}: Grandmaster {}", label, names(masters))});
            else
                findings.push_back({NetEvent::Level::warning, fmt::format("{}: Grandmaster gewechselt auf {} ({})", label,
                                                                          names(masters), names(known.grandmasters))});
            known = {.label = label, .grandmasters = masters};
        }
        list.push_back(std::move(domain));
    }
    std::erase_if(known_, [&](const auto& entry) {
        if (domains.contains(entry.first)) return false;
        findings.push_back({NetEvent::Level::warning, fmt::format("PTP-Takt {} nicht mehr zu sehen", entry.second.label)});
        return true;
    });
    domains_.set(std::move(list));
    return findings;
}

void ClockWatch::clear() {
    known_.clear();
    domains_.set({});
}

std::optional<std::string> ClockWatch::macOf(const std::string& identity) {
    auto bytes = identityBytes(identity);
    if (!bytes) return std::nullopt;
    // IEEE 1588-2008, 7.5.2.2.2: a hardware address becomes an EUI-64 by FF FE between its halves.
    if (bytes->size() == eui64Length && (*bytes)[3] == 0xff && (*bytes)[4] == 0xfe)
        bytes->erase(bytes->begin() + 3, bytes->begin() + 5);
    if (bytes->size() != macLength) return std::nullopt;
    return fmt::format("{:02X}", fmt::join(*bytes, ":"));
}

}  // namespace kestrelyne
