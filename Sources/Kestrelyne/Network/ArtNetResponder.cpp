#include "Kestrelyne/Network/ArtNetResponder.hpp"

#include <algorithm>
#include <optional>
#include <utility>

#include "NetCore/ArtNetPoll.hpp"
#include "NetCore/IPv4.hpp"

namespace kestrelyne {

namespace ArtNet = netcore::ArtNet;

namespace {

constexpr std::string_view shortName = "Brantholme";
constexpr std::string_view longName = "Brantholme – Überwachung (nur Empfang)";

// One ArtPollReply tells of at most four ports, all of one Net and Sub-Net (Art-Net 4, "ArtPollReply", NetSwitch and SubSwitch).
constexpr std::size_t portsOfReply = 4;
constexpr int subNetShift = 4, netShift = 8, subNetBits = 0x0F;

}  // namespace

struct ArtNetResponder::Configuration {
    bool enabled = false;
    std::vector<int> universes;  // ascending
    std::vector<Iface> interfaces;
    std::set<std::string> own;

    const Iface& towards(std::uint32_t address) const {
        const auto holds = [address](const Iface& interface) { return (address & interface.mask) == interface.network; };
        const auto found = std::ranges::find_if(interfaces, holds);
        return found == interfaces.end() ? interfaces.front() : *found;
    }
};

ArtNetResponder::ArtNetResponder() : configuration_(std::make_shared<const Configuration>()) {}
ArtNetResponder::~ArtNetResponder() = default;

void ArtNetResponder::configure(bool enabled, std::set<int> universes, std::vector<Iface> interfaces, std::set<std::string> own) {
    auto next = std::make_shared<const Configuration>(Configuration{.enabled = enabled,
                                                                    .universes = {universes.begin(), universes.end()},
                                                                    .interfaces = std::move(interfaces),
                                                                    .own = std::move(own)});
    base::Lock lock(mutex_);
    configuration_.swap(next);
}

void ArtNetResponder::setSend(Send send) {
    base::Lock lock(mutex_);
    send_.swap(send);
}

bool ArtNetResponder::takeTurn(const std::string& sender, base::SteadyTime now) {
    if (now - lastPrune_ >= pause) {
        std::erase_if(lastReply_, [now](const auto& reply) { return now - reply.second >= pause; });
        lastPrune_ = now;
    }
    const auto found = lastReply_.find(sender);
    if (found != lastReply_.end() ? now - found->second < pause : lastReply_.size() >= mostConsoles) return false;
    lastReply_[sender] = now;
    return true;
}

void ArtNetResponder::handlePoll(const std::string& sender, base::SteadyTime now) {
    const auto address = netcore::ipToUInt32(sender);
    if (!address) return;
    std::shared_ptr<const Configuration> configuration;
    Send send;
    {
        base::Lock lock(mutex_);
        const auto& current = *configuration_;
        if (!current.enabled || !send_ || current.universes.empty() || current.interfaces.empty() || current.own.contains(sender))
            return;
        if (!takeTurn(sender, now)) return;
        configuration = configuration_;
        send = send_;
    }
    const auto& interface = configuration->towards(*address);
    int bindIndex = 0;
    for (std::span<const int> rest(configuration->universes); !rest.empty();) {
        const int group = rest.front() >> subNetShift;
        const auto end = std::ranges::find_if(rest, [group](int universe) { return universe >> subNetShift != group; });
        const auto run = rest.first(std::min(static_cast<std::size_t>(end - rest.begin()), portsOfReply));
        const auto packet = ArtNet::pollReplyPacket({.ip = interface.address,
                                                     .mac = interface.mac,
                                                     .shortName = shortName,
                                                     .longName = longName,
                                                     .net = run.front() >> netShift,
                                                     .subNet = group & subNetBits,
                                                     .universes = run,
                                                     .bindIndex = ++bindIndex});
        send(packet, sender);
        rest = rest.subspan(run.size());
    }
}

}  // namespace kestrelyne
