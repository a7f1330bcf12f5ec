#include "MeterCore/TCPSocket.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <limits>

#include "MeterCore/ModbusError.hpp"
#include "Support/ScriptedPeer.hpp"

namespace metercore {

using namespace std::chrono_literals;

namespace {

std::string failure(const std::string& host, std::uint16_t port, base::Seconds timeout, const std::string& interface = {}) {
    try {
        TCPSocket::connect(host, port, timeout, interface);
        return "";
    } catch (const ModbusError& error) {
        return error.description();
    }
}

ScriptedPeer::Script untilClosed() {
    return [](ScriptedPeer::Connection& connection) { connection.waitForClose(); };
}

/// Listens, but lets nobody in: with its queue full, the system drops every further attempt to connect.
class FullListener {
public:
    FullListener() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address_;
        EXPECT_EQ(bind(listener_.get(), reinterpret_cast<sockaddr*>(&address_), size), 0);
        EXPECT_EQ(listen(listener_.get(), 0), 0);
        EXPECT_EQ(getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address_), &size), 0);
        for (auto& filler : fillers_) {
            filler.reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            ::connect(filler.get(), reinterpret_cast<sockaddr*>(&address_), size);
        }
    }
    std::uint16_t port() const { return ntohs(address_.sin_port); }

private:
    base::FileDescriptor listener_;
    sockaddr_in address_{};
    std::array<base::FileDescriptor, 4> fillers_;
};

template <class Value>
Value option(int descriptor, int level, int name) {
    Value value{};
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(descriptor, level, name, &value, &size), 0);
    return value;
}

}  // namespace

TEST(TCPSocket, OpensABlockingSocketWithTimeLimits) {
    ScriptedPeer peer({untilClosed()});
    const auto socket = TCPSocket::connect("127.0.0.1", peer.port(), 1.25s);
    ASSERT_TRUE(socket);
    EXPECT_EQ(fcntl(socket.get(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_NE(fcntl(socket.get(), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(option<int>(socket.get(), IPPROTO_TCP, TCP_NODELAY), 0);
    for (const int name : {SO_RCVTIMEO, SO_SNDTIMEO}) {
        const auto limit = option<timeval>(socket.get(), SOL_SOCKET, name);
        EXPECT_EQ(limit.tv_sec, 1);
        EXPECT_NEAR(static_cast<double>(limit.tv_usec), 250000, 10000);
    }
}

TEST(TCPSocket, AnInfiniteTimeLimitSetsNone) {
    ScriptedPeer peer({untilClosed()});
    const auto socket = TCPSocket::connect("127.0.0.1", peer.port(), base::Seconds(std::numeric_limits<double>::infinity()));
    const auto limit = option<timeval>(socket.get(), SOL_SOCKET, SO_RCVTIMEO);
    EXPECT_EQ(limit.tv_sec, 0);
    EXPECT_EQ(limit.tv_usec, 0);
}

TEST(TCPSocket, AMissingAdapterFailsBeforeTheHostIsResolved) {
    EXPECT_EQ(failure(std::string(80, 'x'), 502, 1s, "gibtsnicht0"),
              "Verbindung fehlgeschlagen: Adapter gibtsnicht0 ist nicht vorhanden");
}

TEST(TCPSocket, ConnectsThroughTheNamedAdapter) {
    ScriptedPeer peer({untilClosed()});
    const auto socket = TCPSocket::connect("127.0.0.1", peer.port(), 1s, "lo");
    std::array<char, 16> name{};
    socklen_t size = name.size();
    ASSERT_EQ(getsockopt(socket.get(), SOL_SOCKET, SO_BINDTODEVICE, name.data(), &size), 0);
    EXPECT_STREQ(name.data(), "lo");
}

TEST(TCPSocket, AHostWithoutAddressIsNotResolved) {
    // Longer than a name may be: no name server is asked.
    const std::string host(80, 'x');
    EXPECT_EQ(failure(host, 502, 1s), "Host „" + host + "“ konnte nicht aufgelöst werden");
}

TEST(TCPSocket, ARefusedConnectionSaysSo) {
    std::uint16_t port = 0;
    {
        ScriptedPeer gone({});
        port = gone.port();
    }
    EXPECT_EQ(failure("127.0.0.1", port, 1s), "Verbindung fehlgeschlagen: Connection refused");
}

TEST(TCPSocket, GivesUpAtTheTimeLimit) {
    const FullListener listener;
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(failure("127.0.0.1", listener.port(), 0.2s),
              "Verbindung fehlgeschlagen: Zeitüberschreitung (127.0.0.1:" + std::to_string(listener.port()) + " nicht erreichbar)");
    const auto elapsed = std::chrono::steady_clock::now() - begun;
    EXPECT_GE(elapsed, 0.2s);
    EXPECT_LT(elapsed, 2s);
}

TEST(TCPSocket, TriesEachAddressOfTheHost) {
    // "localhost" stands for ::1 and 127.0.0.1; only the latter listens.
    ScriptedPeer peer({untilClosed()});
    EXPECT_TRUE(TCPSocket::connect("localhost", peer.port(), 1s));
}

}  // namespace metercore
