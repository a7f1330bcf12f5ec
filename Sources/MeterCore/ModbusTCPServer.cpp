#include "MeterCore/ModbusTCPServer.hpp"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <map>
#include <vector>

#include "Base/FileDescriptor.hpp"
#include "Base/SerialQueue.hpp"
#include "Base/Text.hpp"
#include "MeterCore/ModbusError.hpp"
#include "MeterCore/ModbusFrame.hpp"

namespace metercore {

namespace {

using namespace std::chrono_literals;

constexpr int backlog = 64;
// How long nothing is accepted when descriptors have run out: the waiting connection would otherwise wake the queue without end.
constexpr base::Seconds acceptPause = 200ms;

bool wouldBlock(int error) { return error == EAGAIN || error == EINTR; }

base::FileDescriptor openListener(std::uint16_t port) {
    base::FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) throw PortError(port, base::errnoText(errno));
    const int on = 1;
    setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || listen(socket.get(), backlog) != 0)
        throw PortError(port, base::errnoText(errno));
    return socket;
}

std::uint16_t portOf(int descriptor) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

}  // namespace

struct ModbusTCPServer::Shared {
    explicit Shared(std::shared_ptr<ModbusTransport> transport) : device(std::move(transport)) {}
    const std::shared_ptr<ModbusTransport> device;
    std::atomic<bool> silent = false;
    std::atomic<std::uint64_t> requests = 0;
};

/// From one run() to its stop(). Its queue belongs to it, and whatever the queue still runs keeps it alive: the last one to let go
/// is the queue's own thread.
class ModbusTCPServer::Session : public std::enable_shared_from_this<Session> {
public:
    Session(std::shared_ptr<Shared> shared, std::uint16_t port)
        : shared_(std::move(shared)), listener_(openListener(port)), port_(portOf(listener_.get())), queue_("modbus.sim") {}

    std::uint16_t port() const { return port_; }

    void begin() {
        queue_.post([self = shared_from_this()] { self->listen(); });
    }

    /// The port is free for the next listener from here on, whatever the queue is doing.
    void end() {
        shutdown(listener_.get(), SHUT_RDWR);
        queue_.post([self = shared_from_this()] { self->closeAll(); });
    }

private:
    struct Connection {
        base::FileDescriptor socket;
        std::array<std::uint8_t, ModbusFrame::maximumSize> received{};
        std::size_t receivedSize = 0;
        std::vector<std::uint8_t> answer;  // what the client has not taken yet; until then nothing more is read from it
        std::uint64_t lastUse = 0;
        base::SerialQueue::Source source;  // ends before the socket closes
    };
    enum class Outcome { open, finished };

    // Everything below: queue thread only.

    void listen() {
        listening_ = queue_.watch(listener_.get(), EPOLLIN, [self = shared_from_this()](std::uint32_t) { self->acceptWaiting(); });
    }

    void closeAll() {
        pause_ = {};
        listening_ = {};
        listener_.reset();
        connections_.clear();
    }

    void acceptWaiting() {
        constexpr int mostAtOnce = 16;
        for (int i = 0; i < mostAtOnce; ++i) {
            base::FileDescriptor socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
            if (socket) {
                add(std::move(socket));
                continue;
            }
            if (wouldBlock(errno)) return;
            // Some failures concern one connection that is gone already; those that would come back at once need a pause.
            if (errno == ECONNABORTED || errno == EPROTO) continue;
            const bool outOfResources = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
            listening_ = {};
            if (outOfResources) pause_ = queue_.after(acceptPause, [self = shared_from_this()] { self->listen(); });
            return;
        }
    }

    void add(base::FileDescriptor socket) {
        if (connections_.size() >= maximumConnections) {
            connections_.erase(std::min_element(connections_.begin(), connections_.end(),
                                                [](const auto& a, const auto& b) { return a.second.lastUse < b.second.lastUse; }));
        }
        const int on = 1;
        setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        const auto number = ++lastNumber_;
        auto& connection = connections_[number];
        connection.lastUse = ++uses_;
        connection.socket = std::move(socket);
        connection.source = queue_.watch(connection.socket.get(), EPOLLIN, [self = shared_from_this(), number](std::uint32_t) {
            const auto found = self->connections_.find(number);
            if (found != self->connections_.end() && self->step(found->second) == Outcome::finished)
                self->connections_.erase(found);
        });
        if (!connection.source) connections_.erase(number);
    }

    /// The connection can be read, or written to while an answer waits.
    Outcome step(Connection& connection) {
        if (!connection.answer.empty()) {
            if (flush(connection) == Outcome::finished) return Outcome::finished;
            if (!connection.answer.empty()) return Outcome::open;
            connection.source.change(EPOLLIN);
        } else {
            const auto count = recv(connection.socket.get(), connection.received.data() + connection.receivedSize,
                                    connection.received.size() - connection.receivedSize, 0);
            if (count < 0) return wouldBlock(errno) ? Outcome::open : Outcome::finished;
            if (count == 0) return Outcome::finished;
            connection.receivedSize += static_cast<std::size_t>(count);
        }
        return serveReceived(connection);
    }

    Outcome serveReceived(Connection& connection) {
        while (connection.answer.empty()) {
            const auto received = base::Bytes(connection.received).first(connection.receivedSize);
            const auto header = ModbusFrame::parseHeader(received);
            if (!header) return Outcome::open;
            if (!ModbusFrame::lengthIsValid(*header)) return Outcome::finished;
            const auto size = ModbusFrame::frameSize(*header);
            if (size > received.size()) return Outcome::open;
            connection.lastUse = ++uses_;
            shared_->requests.fetch_add(1, std::memory_order_relaxed);
            if (!shared_->silent.load(std::memory_order_relaxed))
                connection.answer = answerTo(*header, received.subspan(ModbusFrame::headerSize, size - ModbusFrame::headerSize));
            std::copy(received.begin() + static_cast<std::ptrdiff_t>(size), received.end(), connection.received.begin());
            connection.receivedSize -= size;
            if (connection.answer.empty()) continue;
            if (flush(connection) == Outcome::finished) return Outcome::finished;
            if (!connection.answer.empty()) connection.source.change(EPOLLOUT);
        }
        return Outcome::open;
    }

    /// Sends what the client takes without blocking.
    static Outcome flush(Connection& connection) {
        const auto sent = ::send(connection.socket.get(), connection.answer.data(), connection.answer.size(), MSG_NOSIGNAL);
        if (sent < 0) return wouldBlock(errno) ? Outcome::open : Outcome::finished;
        connection.answer.erase(connection.answer.begin(), connection.answer.begin() + sent);
        return Outcome::open;
    }

    std::vector<std::uint8_t> answerTo(const ModbusFrame::Header& header, base::Bytes body) {
        const auto request = ModbusFrame::parseRequest(body);
        if (const auto* refusal = std::get_if<ModbusFrame::Refusal>(&request))
            return ModbusFrame::encodeException(header, refusal->function, refusal->code);
        const auto* read = std::get_if<ModbusFrame::ReadRequest>(&request);
        const std::uint8_t function = read != nullptr ? read->function : ModbusFrame::writeSingleRegister;
        try {
            if (read != nullptr)
                return ModbusFrame::encodeReadAnswer(header, function,
                                                     shared_->device->readRegisters(function, read->address, read->count));
            const auto& write = std::get<ModbusFrame::WriteRequest>(request);
            shared_->device->writeSingleRegister(write.address, write.value);
            return ModbusFrame::encodeWriteAnswer(header, write.address, write.value);
        } catch (const ModbusError& error) {
            return ModbusFrame::encodeException(header, function, error.isException() ? error.code() : ModbusFrame::deviceFailure);
        } catch (const std::exception&) {
            // Nothing that a device throws may leave the queue.
            return ModbusFrame::encodeException(header, function, ModbusFrame::deviceFailure);
        }
    }

    const std::shared_ptr<Shared> shared_;
    base::FileDescriptor listener_;
    const std::uint16_t port_;
    base::SerialQueue::Source listening_;
    base::SerialQueue::Timer pause_;
    std::map<std::uint64_t, Connection> connections_;
    std::uint64_t lastNumber_ = 0, uses_ = 0;
    base::SerialQueue queue_;
};

ModbusTCPServer::ModbusTCPServer(std::uint16_t port, std::shared_ptr<ModbusTransport> device)
    : port_(port), shared_(std::make_shared<Shared>(std::move(device))) {}

ModbusTCPServer::~ModbusTCPServer() { stop(); }

void ModbusTCPServer::run() {
    if (session_) return;
    session_ = std::make_shared<Session>(shared_, port_);
    session_->begin();
}

void ModbusTCPServer::stop() {
    if (!session_) return;
    session_->end();
    session_ = nullptr;
}

std::uint16_t ModbusTCPServer::port() const { return session_ ? session_->port() : port_; }

void ModbusTCPServer::setSilent(bool silent) { shared_->silent = silent; }
bool ModbusTCPServer::silent() const { return shared_->silent; }
std::uint64_t ModbusTCPServer::requests() const { return shared_->requests; }

}  // namespace metercore
