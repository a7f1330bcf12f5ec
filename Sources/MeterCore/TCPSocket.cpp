#include "MeterCore/TCPSocket.hpp"

#include <fcntl.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <memory>
#include <optional>

#include "Base/Text.hpp"
#include "MeterCore/ModbusError.hpp"

namespace metercore {

namespace {

using Steady = std::chrono::steady_clock;

struct FreeAddresses {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

Addresses resolve(const std::string& host, std::uint16_t port) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    addrinfo* list = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list) != 0 || list == nullptr)
        throw ModbusError::resolve(host);
    return Addresses(list);
}

/// Waits until the connection stands or has failed: 0, an error number, or nothing at the deadline.
std::optional<int> awaitConnection(int descriptor, base::Seconds timeout) {
    const auto begun = Steady::now();
    for (;;) {
        int milliseconds = -1;
        if (std::isfinite(timeout.count())) {
            const base::Seconds left = timeout - base::Seconds(Steady::now() - begun);
            if (left.count() <= 0) return std::nullopt;
            constexpr double longest = 1e9;  // milliseconds: 11 days, then it waits on
            milliseconds = static_cast<int>(std::min(std::ceil(left.count() * 1000), longest));
        }
        pollfd wait{.fd = descriptor, .events = POLLOUT, .revents = 0};
        const int ready = poll(&wait, 1, milliseconds);
        if (ready < 0 && errno != EINTR) return errno;
        if (ready <= 0) continue;
        int error = 0;
        socklen_t size = sizeof error;
        if (getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return errno;
        return error;
    }
}

void setOptions(int descriptor, base::Seconds timeout) {
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
    // Every exchange is one small frame that must leave at once.
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (!std::isfinite(timeout.count())) return;
    // A limit of zero would mean none.
    constexpr double shortest = 1e-6, longest = 1e9;
    const double seconds = std::clamp(timeout.count(), shortest, longest);
    timeval limit{};
    limit.tv_sec = static_cast<time_t>(seconds);
    limit.tv_usec = static_cast<suseconds_t>((seconds - std::floor(seconds)) * 1e6);
    if (limit.tv_sec == 0 && limit.tv_usec == 0) limit.tv_usec = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

}  // namespace

base::FileDescriptor TCPSocket::connect(const std::string& host, std::uint16_t port, base::Seconds timeout,
                                        const std::string& interface) {
    if (!interface.empty() && if_nametoindex(interface.c_str()) == 0)
        throw ModbusError::connect("Adapter " + interface + " ist nicht vorhanden");

    std::string failure;
    const auto addresses = resolve(host, port);
    for (const addrinfo* address = addresses.get(); address != nullptr; address = address->ai_next) {
        base::FileDescriptor socket(
            ::socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, address->ai_protocol));
        if (!socket) {
            failure = base::errnoText(errno);
            continue;
        }
        // A refusal is no failure: the route may lead through the adapter all the same.
        if (!interface.empty())
            setsockopt(socket.get(), SOL_SOCKET, SO_BINDTODEVICE, interface.c_str(), static_cast<socklen_t>(interface.size() + 1));

        std::optional<int> error = 0;
        if (::connect(socket.get(), address->ai_addr, address->ai_addrlen) != 0) {
            error = errno;
            // An interrupted connect goes on in the background like one that does not block.
            if (error == EINPROGRESS || error == EINTR) error = awaitConnection(socket.get(), timeout);
        }
        if (error == 0) {
            setOptions(socket.get(), timeout);
            return socket;
        }
        failure =
            error ? base::errnoText(*error) : "Zeitüberschreitung (" + host + ":" + std::to_string(port) + " nicht erreichbar)";
    }
    throw ModbusError::connect(failure);
}

}  // namespace metercore
