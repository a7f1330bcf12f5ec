#pragma once
// A datagram socket that listens on a show-network port beside other programs, tells of each datagram on which adapter and for
// which address it came, and joins multicast groups on chosen adapters.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Base/ByteReader.hpp"
#include "Base/FileDescriptor.hpp"
#include "Base/Function.hpp"
#include "NetCore/UDPPacket.hpp"

namespace netcore {

/// Bound from construction to the wildcard address: bytes arrive in the system's buffer from then on. Datagrams of groups that only
/// other programs joined are not delivered. Any thread, except where said.
class UDPSocket {
public:
    /// Runs on the socket's own queue, one datagram after another; must not block, and is safe against the handlers of other
    /// sockets.
    using Handler = base::Function<void(const UDPView&)>;

    /// A longer datagram is cut to this, silently.
    static constexpr std::size_t longestDatagram = 2048;
    /// Asked of the system, which may give less: `receiveBuffer()` tells.
    static constexpr int wantedReceiveBuffer = 4194304;

    /// Port 0: any that nobody holds, not even to share it. The queue is named "net.udp." and the label. Throws NetError::socket:
    /// "Port <port> belegt: <reason>".
    UDPSocket(std::uint16_t port, const std::string& label);
    ~UDPSocket();
    UDPSocket(const UDPSocket&) = delete;
    UDPSocket& operator=(const UDPSocket&) = delete;

    /// Begins delivering. Once.
    void start(Handler handler);
    /// Membership of a group (dotted) on the adapter that has this address (dotted); true when it stands, also when it stood
    /// before.
    bool join(const std::string& group, const std::string& interfaceAddress);
    void leave(const std::string& group, const std::string& interfaceAddress);
    /// From the bound port; nothing happens when the socket is closed or the address is none.
    void sendFromBound(base::Bytes bytes, std::string_view to, std::uint16_t port);
    /// Ends delivering: the handler is not called again once this has returned, except for a call under way. Idempotent.
    void close();

    /// As asked for.
    std::uint16_t port() const;
    /// As bound; 0 when closed.
    std::uint16_t boundPort() const;
    /// Datagrams that the system dropped because our buffer was full, since construction: a loss of ours, not of the network.
    std::uint64_t drops() const;
    /// Bytes the system granted, in its own way of counting: up to twice what was asked, with its bookkeeping.
    int receiveBuffer() const;

private:
    class Core;
    std::shared_ptr<Core> core_;
};

/// Sends out of a chosen adapter, whatever the routing table says: broadcast, multicast and unicast. One socket with an ephemeral
/// port for the life of the object. Any thread; fire and forget.
class UDPSender {
public:
    UDPSender();
    ~UDPSender();
    UDPSender(const UDPSender&) = delete;
    UDPSender& operator=(const UDPSender&) = delete;

    /// Without an adapter index the routing table decides. False when the system refused the datagram at once.
    bool send(base::Bytes bytes, std::string_view to, std::uint16_t port, std::optional<std::uint32_t> interfaceIndex = {}) const;
    /// Source port of everything sent here; 0 when there is no socket.
    std::uint16_t port() const { return port_; }

private:
    base::FileDescriptor descriptor_;
    std::uint16_t port_ = 0;
};

}  // namespace netcore
