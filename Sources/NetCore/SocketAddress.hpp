#pragma once
// IPv4 socket addresses (ip(7)) from our numbers and back. Pure; any thread.

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>

namespace netcore {

inline sockaddr_in socketAddress(std::uint32_t address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = htonl(address);
    result.sin_port = htons(port);
    return result;
}

// The one cast that the socket interface asks for.
inline sockaddr* generic(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }
inline const sockaddr* generic(const sockaddr_in& address) { return reinterpret_cast<const sockaddr*>(&address); }

/// Port that the descriptor is bound to; 0 when it is not.
inline std::uint16_t boundPortOf(int descriptor) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    return getsockname(descriptor, generic(address), &size) == 0 ? ntohs(address.sin_port) : std::uint16_t(0);
}

/// Sets an option that is a number; false when the system refuses.
inline bool setOption(int descriptor, int level, int option, int value) {
    return setsockopt(descriptor, level, option, &value, sizeof value) == 0;
}

}  // namespace netcore
