#include "Kestrelyne/Network/NetworkSockets.hpp"

#include <algorithm>
#include <cerrno>

#include "Base/Text.hpp"
#include "NetCore/ArtNetHeader.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/NetError.hpp"
#include "NetCore/PTP.hpp"
#include "NetCore/SACN.hpp"

namespace kestrelyne {

namespace MANet = netcore::MANet;
using netcore::UDPSocket;
using netcore::UDPView;

namespace {

constexpr std::uint32_t loopbackNet = 127;  // 127.0.0.0/8

std::uint64_t joinKey(int universe, const std::string& address) {
    return static_cast<std::uint64_t>(static_cast<std::uint32_t>(universe)) << 32 | netcore::ipToUInt32(address).value_or(0);
}

/// What a technician can do about it, behind the system's own words.
std::string withHint(std::string error) {
    if (error.ends_with(base::errnoText(EACCES))) error += " – dem Programm fehlt das Recht CAP_NET_BIND_SERVICE";
    return error;
}

}  // namespace

NetworkSockets::NetworkSockets(std::shared_ptr<NetworkIntake> intake, NetworkPorts ports, bool loopbackOnly)
    : intake_(std::move(intake)), ports_(std::move(ports)), loopbackOnly_(loopbackOnly) {}

/// The handler of a socket, which hears others only where it may.
template <class Take>
UDPSocket::Handler NetworkSockets::handler(Take take) const {
    return [intake = intake_, loopbackOnly = loopbackOnly_, take](const UDPView& packet) {
        if (!loopbackOnly || packet.source >> 24 == loopbackNet) take(*intake, packet);
    };
}

NetworkSockets::Errors NetworkSockets::openArtNet() {
    if (artnet_) return {};
    try {
        artnet_ = std::make_shared<UDPSocket>(ports_.artnet, "artnet");
    } catch (const netcore::NetError& error) {
        return {{"artnet", "Art-Net: " + error.description()}};
    }
    artnet_->start(handler([](NetworkIntake& intake, const UDPView& packet) { intake.packets.handleArtNet(packet); }));
    // The responder answers from this very socket as long as it lives.
    intake_->responder.setSend([weak = std::weak_ptr(artnet_)](base::Bytes packet, const std::string& to) {
        if (const auto socket = weak.lock()) socket->sendFromBound(packet, to, netcore::ArtNet::port);
    });
    return {};
}

void NetworkSockets::sendArtNet(base::Bytes packet, const std::string& to, std::uint16_t port) const {
    if (artnet_) artnet_->sendFromBound(packet, to, port);
}

NetworkSockets::Errors NetworkSockets::openSACN() {
    if (sacn_) return {};
    try {
        sacn_ = std::make_unique<UDPSocket>(ports_.sacn, "sacn");
    } catch (const netcore::NetError& error) {
        return {{"sacn", "sACN: " + error.description()}};
    }
    sacn_->start(handler([](NetworkIntake& intake, const UDPView& packet) { intake.packets.handleSACN(packet); }));
    return {};
}

NetworkSockets::Errors NetworkSockets::openMANet(const Interfaces& interfaces) {
    if (!manet_.empty()) return {};
    Errors errors;
    const auto open = [&](std::uint16_t port, MANet::Version version, const std::vector<std::string>& groups) {
        const auto number = std::to_string(port);
        try {
            auto socket = std::make_unique<UDPSocket>(port, "manet" + number);
            socket->start(
                handler([version](NetworkIntake& intake, const UDPView& packet) { intake.packets.handleMANet(packet, version); }));
            for (const auto& group : groups)
                for (const auto& interface : interfaces) socket->join(group, interface.address);
            manet_.push_back(std::move(socket));
        } catch (const netcore::NetError& error) {
            errors.emplace_back("manet" + number,
                                std::string(MANet::text(version)) + " (Port " + number + "): " + error.description());
        }
    };
    open(ports_.ma3, MANet::Version::ma3, MANet::ma3Groups());
    for (const auto port : ports_.ma2) open(port, MANet::Version::ma2, MANet::ma2Groups());
    return errors;
}

NetworkSockets::Errors NetworkSockets::openClocks(const Interfaces& interfaces) {
    Errors errors;
    const std::array<std::uint16_t, 2> ports = {ports_.ptpEvent, ports_.ptpGeneral};
    for (std::size_t i = 0; i < ports.size(); ++i) {
        if (clocks_[i]) continue;
        const auto number = std::to_string(ports[i]);
        try {
            auto socket = std::make_unique<UDPSocket>(ports[i], "ptp" + number);
            socket->start(handler([](NetworkIntake& intake, const UDPView& packet) { intake.extras.handlePTP(packet); }));
            for (const auto* group : netcore::PTP::groups)
                for (const auto& interface : interfaces) socket->join(group, interface.address);
            clocks_[i] = std::move(socket);
        } catch (const netcore::NetError& error) {
            errors.emplace_back("ptp" + number, "PTP (Port " + number + "): " + withHint(error.description()));
        }
    }
    return errors;
}

void NetworkSockets::close() {
    const auto end = [this](UDPSocket& socket) {
        closedDrops_ += socket.drops();
        socket.close();
    };
    if (artnet_) end(*artnet_);
    artnet_.reset();
    if (sacn_) end(*sacn_);
    sacn_.reset();
    for (auto& socket : manet_) end(*socket);
    manet_.clear();
    for (auto& socket : clocks_) {
        if (socket) end(*socket);
        socket.reset();
    }
    joined_.clear();
}

void NetworkSockets::joinUniverses(const std::set<int>& universes, const Interfaces& interfaces, Wanted wanted) {
    if (!sacn_) return;
    std::uint64_t refused = 0;
    for (const int universe : universes)
        for (const auto& interface : interfaces) {
            const auto key = joinKey(universe, interface.address);
            if (joined_.contains(key)) continue;
            if (wanted == Wanted::byNetwork && joined_.size() >= mostUniverseJoins)
                ++refused;
            else if (sacn_->join(netcore::SACN::multicastGroup(universe), interface.address))
                joined_.insert(key);
        }
    refusedJoins_ = std::max(refusedJoins_, refused);
}

void NetworkSockets::leaveUniverse(int universe, const Interfaces& interfaces) {
    if (!sacn_) return;
    for (const auto& interface : interfaces)
        if (joined_.erase(joinKey(universe, interface.address)) != 0)
            sacn_->leave(netcore::SACN::multicastGroup(universe), interface.address);
}

std::optional<std::uint16_t> NetworkSockets::artNetPort() const {
    return artnet_ ? std::optional(artnet_->boundPort()) : std::nullopt;
}

std::optional<std::uint16_t> NetworkSockets::sacnPort() const { return sacn_ ? std::optional(sacn_->boundPort()) : std::nullopt; }

std::uint64_t NetworkSockets::drops() const {
    auto drops = closedDrops_;
    if (artnet_) drops += artnet_->drops();
    if (sacn_) drops += sacn_->drops();
    for (const auto& socket : manet_) drops += socket->drops();
    for (const auto& socket : clocks_)
        if (socket) drops += socket->drops();
    return drops;
}

}  // namespace kestrelyne
