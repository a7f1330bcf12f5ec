#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstring>

#include "NetCore/IPv4.hpp"
#include "NetCore/SocketAddress.hpp"
#include "NetCore/UDPSocket.hpp"

namespace netcore {

namespace {
// Enough for any show network whose switches route groups.
constexpr int multicastHops = 20;
}  // namespace

UDPSender::UDPSender() : descriptor_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    if (!descriptor_) return;
    const int number = descriptor_.get();
    setOption(number, SOL_SOCKET, SO_BROADCAST, 1);
    setOption(number, IPPROTO_IP, IP_MULTICAST_TTL, multicastHops);
    // Nobody reads here: answers go to the well-known ports.
    setOption(number, SOL_SOCKET, SO_RCVBUF, 0);
    const auto any = socketAddress(INADDR_ANY, 0);
    if (bind(number, generic(any), sizeof any) != 0) {
        descriptor_.reset();
        return;
    }
    port_ = boundPortOf(number);
}

UDPSender::~UDPSender() = default;

bool UDPSender::send(base::Bytes bytes, std::string_view to, std::uint16_t port,
                     std::optional<std::uint32_t> interfaceIndex) const {
    const auto address = ipToUInt32(to);
    if (!descriptor_ || !address) return false;
    auto target = socketAddress(*address, port);
    // sendmsg() asks for a pointer to bytes that it does not change.
    iovec part{.iov_base = const_cast<std::uint8_t*>(bytes.data()), .iov_len = bytes.size()};
    msghdr message{};
    message.msg_name = &target;
    message.msg_namelen = sizeof target;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    // ip(7), IP_PKTINFO: the adapter for this datagram alone; the source address follows it. Needs neither a right nor a route.
    alignas(cmsghdr) std::array<std::uint8_t, CMSG_SPACE(sizeof(in_pktinfo))> control{};
    if (interfaceIndex) {
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        cmsghdr* header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = IPPROTO_IP;
        header->cmsg_type = IP_PKTINFO;
        header->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
        in_pktinfo info{};
        info.ipi_ifindex = static_cast<int>(*interfaceIndex);
        std::memcpy(CMSG_DATA(header), &info, sizeof info);
    }
    return sendmsg(descriptor_.get(), &message, MSG_DONTWAIT | MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

}  // namespace netcore
