#pragma once
// A raw TCP client on the loopback interface, for tests of the HTTP server.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "Base/FileDescriptor.hpp"

class LoopbackClient {
public:
    /// Connects; fails the test when it cannot. A receive buffer of a given size keeps a client that does not read from taking
    /// much.
    explicit LoopbackClient(std::uint16_t port, int receiveBuffer = 0) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        if (receiveBuffer > 0) setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        if (connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            ADD_FAILURE() << "cannot connect to port " << port << ", error " << errno;
    }

    void send(std::string_view bytes) {
        while (!bytes.empty()) {
            const auto count = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0) return;  // the server has closed; what it said is read next
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }
    void endSending() { shutdown(socket_.get(), SHUT_WR); }

    /// Everything up to the server's end; absent when it resets the connection or does not end in time.
    std::optional<std::string> readToEnd(std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        std::string all;
        for (;;) {
            if (!readable(limit)) return std::nullopt;
            char buffer[65536];
            const auto count = recv(socket_.get(), buffer, sizeof buffer, 0);
            if (count < 0) return std::nullopt;
            if (count == 0) return all;
            all.append(buffer, static_cast<std::size_t>(count));
        }
    }
    /// Bytes or an end have come.
    bool readable(std::chrono::milliseconds limit) {
        pollfd wanted{socket_.get(), POLLIN, 0};
        return poll(&wanted, 1, static_cast<int>(limit.count())) > 0;
    }
    /// The server has ended or reset the connection.
    bool ended(std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        char byte;
        return readable(limit) && recv(socket_.get(), &byte, 1, MSG_PEEK) <= 0;
    }

    int descriptor() const { return socket_.get(); }
    void close() { socket_.reset(); }

private:
    base::FileDescriptor socket_;
};

/// Ends the listener on this port from outside, as a failure of the system would; false when there is none.
inline bool breakListener(std::uint16_t port) {
    constexpr int mostDescriptors = 1024;
    for (int descriptor = 0; descriptor < mostDescriptors; ++descriptor) {
        int listens = 0;
        socklen_t size = sizeof listens;
        sockaddr_in address{};
        socklen_t length = sizeof address;
        if (getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) == 0 && listens != 0 &&
            getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length) == 0 && ntohs(address.sin_port) == port)
            return shutdown(descriptor, SHUT_RDWR) == 0;
    }
    return false;
}

/// One request and its whole answer.
inline std::optional<std::string> askServer(std::uint16_t port, std::string_view request) {
    LoopbackClient client(port);
    client.send(request);
    return client.readToEnd();
}

inline std::string bodyOf(const std::optional<std::string>& answer) {
    const auto at = answer ? answer->find("\r\n\r\n") : std::string::npos;
    return at == std::string::npos ? "(no answer)" : answer->substr(at + 4);
}
/// 0 without an answer.
inline int statusOf(const std::optional<std::string>& answer) {
    return answer && answer->starts_with("HTTP/1.1 ") ? std::stoi(answer->substr(9, 3)) : 0;
}
