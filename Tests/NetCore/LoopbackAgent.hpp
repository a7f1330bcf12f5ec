#pragma once
// An SNMP agent on 127.0.0.1 that does what a test tells it, on a thread of its own.

#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Base/FileDescriptor.hpp"
#include "Base/Mutex.hpp"
#include "NetCore/BER.hpp"
#include "NetCore/SNMPVectors.hpp"
#include "NetCore/SocketAddress.hpp"

namespace snmp {

/// Calls its script with each request that comes.
class LoopbackAgent {
public:
    struct Request {
        sockaddr_in from{};
        std::string community;
        std::uint8_t pdu = 0;
        std::int64_t id = 0, a = 0, b = 0;
        std::vector<std::string> oids;
    };
    using Script = std::function<void(LoopbackAgent&, const Request&)>;

    explicit LoopbackAgent(Script script)
        : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)), end_(eventfd(0, EFD_CLOEXEC)), script_(std::move(script)) {
        const auto address = netcore::socketAddress(INADDR_LOOPBACK, 0);
        EXPECT_EQ(bind(socket_.get(), netcore::generic(address), sizeof address), 0);
        thread_ = std::thread([this] { serve(); });
    }
    ~LoopbackAgent() {
        eventfd_write(end_.get(), 1);
        thread_.join();
    }

    std::uint16_t port() const { return netcore::boundPortOf(socket_.get()); }
    std::vector<Request> requests() const {
        const base::Lock lock(mutex_);
        return requests_;
    }

    // For the script, on the agent's thread:

    void send(const Request& to, const Octets& datagram) {
        sendto(socket_.get(), datagram.data(), datagram.size(), 0, netcore::generic(to.from), sizeof to.from);
    }
    void answer(const Request& to, const Octets& bindings) { send(to, message(responsePDU(to.id, 0, 0, bindings))); }

private:
    void serve() {
        for (;;) {
            std::array<pollfd, 2> watched{
                {{.fd = socket_.get(), .events = POLLIN, .revents = 0}, {.fd = end_.get(), .events = POLLIN, .revents = 0}}};
            poll(watched.data(), watched.size(), -1);
            if (watched[1].revents != 0) return;
            std::array<std::uint8_t, 65535> buffer{};
            sockaddr_in from{};
            socklen_t size = sizeof from;
            const auto length = recvfrom(socket_.get(), buffer.data(), buffer.size(), 0, netcore::generic(from), &size);
            if (length <= 0) continue;
            const auto request = read(base::Bytes(buffer).first(static_cast<std::size_t>(length)), from);
            {
                const base::Lock lock(mutex_);
                requests_.push_back(request);
            }
            script_(*this, request);
        }
    }
    static Request read(base::Bytes bytes, const sockaddr_in& from) {
        using namespace netcore;
        Request request;
        request.from = from;
        BER::Reader datagram(bytes);
        auto whole = datagram.enter(BER::Tag::sequence);
        EXPECT_EQ(whole.readInt(), 1) << "version 2c";
        const auto community = whole.read(BER::Tag::octetString);
        request.community.assign(community.begin(), community.end());
        const auto pdu = whole.readAny();
        request.pdu = pdu.tag;
        BER::Reader fields(pdu.content);
        request.id = fields.readInt();
        request.a = fields.readInt();
        request.b = fields.readInt();
        for (auto list = fields.enter(BER::Tag::sequence); !list.atEnd();)
            request.oids.push_back(BER::decodeOID(list.enter(BER::Tag::sequence).read(BER::Tag::objectIdentifier)));
        return request;
    }

    base::FileDescriptor socket_, end_;
    const Script script_;
    mutable base::Mutex mutex_;
    std::vector<Request> requests_ KESTRELYNE_GUARDED_BY(mutex_);
    std::thread thread_;
};

}  // namespace snmp
