#pragma once
// The sockets that listen to the show network, and the groups they are in.

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Kestrelyne/Network/NetworkIntake.hpp"
#include "NetCore/NetInterface.hpp"
#include "NetCore/UDPSocket.hpp"

namespace kestrelyne {

/// The ports that are listened on; 0 takes any free one. A test gives its own.
struct NetworkPorts {
    std::uint16_t artnet = 6454, sacn = 5568, ma3 = 30020;
    std::vector<std::uint16_t> ma2 = {29998, 29999};
    std::uint16_t ptpEvent = 319, ptpGeneral = 320;
};

/// Main thread; what arrives goes to the intake on the sockets' queues.
class NetworkSockets {
public:
    using Interfaces = std::vector<netcore::NetInterface>;
    /// Name of the service and what its socket said, each a line for people.
    using Errors = std::vector<std::pair<std::string, std::string>>;

    /// Groups that are joined at most for universes that only the network speaks of: an invented source could name all 63,999.
    static constexpr std::size_t mostUniverseJoins = 4096;

    /// With `loopbackOnly`, what other computers send is not heard.
    NetworkSockets(std::shared_ptr<NetworkIntake> intake, NetworkPorts ports, bool loopbackOnly = false);
    ~NetworkSockets() { close(); }
    NetworkSockets(const NetworkSockets&) = delete;
    NetworkSockets& operator=(const NetworkSockets&) = delete;

    /// Each opens what is not open yet and tells what could not be.
    Errors openArtNet();
    Errors openSACN();
    Errors openMANet(const Interfaces& interfaces);
    Errors openClocks(const Interfaces& interfaces);
    void close();

    /// Joins what is not joined yet; what failed is tried again with the next call. Those that are not wanted by the user himself
    /// are limited in number.
    enum class Wanted { byUser, byNetwork };
    void joinUniverses(const std::set<int>& universes, const Interfaces& interfaces, Wanted wanted);
    void leaveUniverse(int universe, const Interfaces& interfaces);
    /// The most joins that had to be refused at once because there were too many.
    std::uint64_t refusedJoins() const { return refusedJoins_; }

    /// From the bound Art-Net socket; nothing happens while it is closed.
    void sendArtNet(base::Bytes packet, const std::string& to, std::uint16_t port) const;
    bool artNetOpen() const { return artnet_ != nullptr; }
    /// The ports as bound; absent while closed.
    std::optional<std::uint16_t> artNetPort() const;
    std::optional<std::uint16_t> sacnPort() const;
    /// Datagrams our own buffers lost since the first opening.
    std::uint64_t drops() const;
    /// Bytes granted to the Art-Net socket; 0 while it is closed.
    int receiveBuffer() const { return artnet_ ? artnet_->receiveBuffer() : 0; }

private:
    template <class Take>
    netcore::UDPSocket::Handler handler(Take take) const;

    std::shared_ptr<NetworkIntake> intake_;
    const NetworkPorts ports_;
    const bool loopbackOnly_;
    std::shared_ptr<netcore::UDPSocket> artnet_;
    std::unique_ptr<netcore::UDPSocket> sacn_;
    std::vector<std::unique_ptr<netcore::UDPSocket>> manet_;
    std::array<std::unique_ptr<netcore::UDPSocket>, 2> clocks_;
    std::unordered_set<std::uint64_t> joined_;  // universe and adapter address
    std::uint64_t closedDrops_ = 0;             // of sockets that are closed
    std::uint64_t refusedJoins_ = 0;
};

}  // namespace kestrelyne
