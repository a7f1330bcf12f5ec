#include "Kestrelyne/Remote/PeerAddress.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstring>

namespace kestrelyne {

namespace {

template <class Address>
Address as(const sockaddr_storage& storage) {
    Address address{};
    std::memcpy(&address, &storage, sizeof address);
    return address;
}

template <class Address>
SocketAddress from(const Address& address) {
    SocketAddress result;
    std::memcpy(&result.storage, &address, sizeof address);
    result.length = sizeof address;
    return result;
}

}  // namespace

std::string SocketAddress::text() const {
    char buffer[INET6_ADDRSTRLEN] = "";
    if (family() == AF_INET) {
        const auto address = as<sockaddr_in>(storage);
        inet_ntop(AF_INET, &address.sin_addr, buffer, sizeof buffer);
    } else if (family() == AF_INET6) {
        const auto address = as<sockaddr_in6>(storage);
        constexpr std::size_t mappedAt = 12;  // RFC 4291, 2.5.5.2
        if (IN6_IS_ADDR_V4MAPPED(&address.sin6_addr))
            inet_ntop(AF_INET, &address.sin6_addr.s6_addr[mappedAt], buffer, sizeof buffer);
        else
            inet_ntop(AF_INET6, &address.sin6_addr, buffer, sizeof buffer);
    }
    return buffer;
}

std::uint16_t SocketAddress::port() const {
    if (family() == AF_INET) return ntohs(as<sockaddr_in>(storage).sin_port);
    if (family() == AF_INET6) return ntohs(as<sockaddr_in6>(storage).sin6_port);
    return 0;
}

std::optional<SocketAddress> numericAddress(const std::string& host, std::uint16_t port) {
    sockaddr_in v4{};
    if (inet_pton(AF_INET, host.c_str(), &v4.sin_addr) == 1) {
        v4.sin_family = AF_INET;
        v4.sin_port = htons(port);
        return from(v4);
    }
    sockaddr_in6 v6{};
    if (inet_pton(AF_INET6, host.c_str(), &v6.sin6_addr) == 1) {
        v6.sin6_family = AF_INET6;
        v6.sin6_port = htons(port);
        return from(v6);
    }
    return std::nullopt;
}

}  // namespace kestrelyne
