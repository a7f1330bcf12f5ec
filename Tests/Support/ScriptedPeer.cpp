#include "Support/ScriptedPeer.hpp"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <stdexcept>

namespace {

constexpr int patienceMilliseconds = 5000;

bool readable(int descriptor) {
    pollfd wait{.fd = descriptor, .events = POLLIN, .revents = 0};
    return poll(&wait, 1, patienceMilliseconds) == 1;
}

}  // namespace

Octets ScriptedPeer::Connection::read(std::size_t size) {
    Octets bytes(size);
    std::size_t got = 0;
    while (got < size && readable(descriptor_)) {
        const auto count = recv(descriptor_, bytes.data() + got, size - got, 0);
        if (count <= 0) break;
        got += static_cast<std::size_t>(count);
    }
    bytes.resize(got);
    return bytes;
}

void ScriptedPeer::Connection::send(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const auto count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) return;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

bool ScriptedPeer::Connection::waitForClose() {
    std::uint8_t byte;
    while (readable(descriptor_))
        if (recv(descriptor_, &byte, 1, 0) <= 0) return true;
    return false;
}

ScriptedPeer::ScriptedPeer(std::vector<Script> scripts) : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listener_.get(), 8) != 0 ||
        getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("no port for the scripted peer");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this, scripts = std::move(scripts)]() mutable { serve(std::move(scripts)); });
}

ScriptedPeer::~ScriptedPeer() {
    shutdown(listener_.get(), SHUT_RDWR);
    join();
}

void ScriptedPeer::join() {
    if (thread_.joinable()) thread_.join();
}

void ScriptedPeer::serve(std::vector<Script> scripts) {
    for (const auto& script : scripts) {
        if (!readable(listener_.get())) break;
        const base::FileDescriptor socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!socket) break;
        const int on = 1;
        setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        const timeval limit{.tv_sec = patienceMilliseconds / 1000, .tv_usec = 0};
        setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        ++connections_;
        Connection connection(socket.get());
        script(connection);
    }
    shutdown(listener_.get(), SHUT_RDWR);
}
