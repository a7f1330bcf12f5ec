#include "NetCore/NUTClient.hpp"

#include <poll.h>

#include <array>
#include <cerrno>

#include "Base/FileDescriptor.hpp"
#include "NetCore/Deadline.hpp"
#include "NetCore/SocketAddress.hpp"

namespace netcore {

namespace {

base::FileDescriptor connected(std::uint16_t port, const Deadline& deadline) {
    base::FileDescriptor descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto address = socketAddress(INADDR_LOOPBACK, port);
    if (!descriptor || connect(descriptor.get(), generic(address), sizeof address) == 0) return descriptor;
    int error = errno;
    if (error == EINPROGRESS && waitFor(descriptor.get(), POLLOUT, deadline)) {
        socklen_t size = sizeof error;
        if (getsockopt(descriptor.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
    }
    return error == 0 ? std::move(descriptor) : base::FileDescriptor();
}

bool sendAll(int descriptor, std::string_view bytes, const Deadline& deadline) {
    while (!bytes.empty()) {
        const auto sent = send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent > 0)
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        else if (sent == 0 || (errno != EAGAIN && errno != EINTR) || !waitFor(descriptor, POLLOUT, deadline))
            return false;
    }
    return true;
}

}  // namespace

std::optional<std::vector<NUTDevice>> readNUTDevices(std::uint16_t port, base::Seconds limit) {
    constexpr std::size_t pieceSize = 4096;
    const Deadline deadline(limit);
    const auto descriptor = connected(port, deadline);
    if (!descriptor) return std::nullopt;
    NUTConversation conversation;
    std::array<char, pieceSize> piece{};
    while (conversation.state() == NUTConversation::State::talking) {
        if (!sendAll(descriptor.get(), conversation.takeRequest(), deadline)) return std::nullopt;
        if (deadline.passed() || !waitFor(descriptor.get(), POLLIN, deadline)) return std::nullopt;
        const auto size = recv(descriptor.get(), piece.data(), piece.size(), 0);
        if (size < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (size <= 0) return std::nullopt;
        conversation.receive({piece.data(), static_cast<std::size_t>(size)});
    }
    if (conversation.state() == NUTConversation::State::failed) return std::nullopt;
    // The farewell is a courtesy, its answer nobody's concern.
    sendAll(descriptor.get(), conversation.takeRequest(), deadline);
    return conversation.devices();
}

}  // namespace netcore
