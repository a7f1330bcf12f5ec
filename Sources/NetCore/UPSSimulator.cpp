#include "NetCore/UPSSimulator.hpp"

#include <sys/epoll.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <optional>

#include "Base/FileDescriptor.hpp"
#include "Base/Mutex.hpp"
#include "Base/SerialQueue.hpp"
#include "Base/Text.hpp"
#include "NetCore/NetError.hpp"
#include "NetCore/SocketAddress.hpp"

namespace netcore {

namespace {

constexpr std::size_t longestDatagram = 65535;
// Then the queue looks after its other work; what is left makes the descriptor ready again at once.
constexpr int requestsPerEvent = 64;

// Two sockets share a port of datagrams when both have the option; the later one gets what arrives.
void allowSharing(int descriptor, bool allowed) {
    const int value = allowed ? 1 : 0;
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &value, sizeof value);
}

base::FileDescriptor boundSocket(std::uint16_t port, bool sharing) {
    base::FileDescriptor descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (sharing) allowSharing(descriptor.get(), true);
    const auto address = socketAddress(INADDR_LOOPBACK, port);
    if (!descriptor || bind(descriptor.get(), generic(address), sizeof address) != 0)
        throw NetError::protocolError("Port " + std::to_string(port) + " belegt: " + base::errnoText(errno));
    if (sharing) allowSharing(descriptor.get(), false);
    return descriptor;
}

base::SteadyTime now() { return base::SystemClock::shared().steadyNow(); }

}  // namespace

struct UPSSimulator::Shared {
    base::Mutex mutex;
    Faults faults KESTRELYNE_GUARDED_BY(mutex);
    std::optional<base::SteadyTime> batteryStart KESTRELYNE_GUARDED_BY(mutex);

    UPSAgent::Scene scene(base::SteadyTime start) {
        const auto time = now();
        const base::Lock lock(mutex);
        UPSAgent::Scene scene{.running = time - start, .onBattery = {}, .faults = faults};
        if (batteryStart) scene.onBattery = time - *batteryStart;
        return scene;
    }
};

/// From one run() to its stop(). Its queue belongs to it, and whatever the queue still runs keeps it alive: the last one to let go
/// is the queue's own thread.
class UPSSimulator::Session : public std::enable_shared_from_this<Session> {
public:
    Session(std::shared_ptr<Shared> shared, std::uint16_t port, bool sharing)
        : shared_(std::move(shared)), socket_(boundSocket(port, sharing)), port_(boundPortOf(socket_.get())), queue_("ups.sim") {}

    void begin() {
        queue_.post([self = shared_from_this()] {
            if (self->ended_) return;
            self->source_ = self->queue_.watch(self->socket_.get(), EPOLLIN, [self](std::uint32_t) { self->drain(); });
        });
    }

    // The queue closes the socket it reads. Until then the next run() may share the port, and gets what is sent to it.
    void end() {
        ended_ = true;
        allowSharing(socket_.get(), true);
        queue_.post([self = shared_from_this()] {
            self->source_ = {};
            self->socket_.reset();
        });
    }

    std::uint16_t port() const { return port_; }

private:
    // Everything below: queue thread only.

    void drain() {
        for (int count = 0; count < requestsPerEvent; ++count) {
            sockaddr_in from{};
            const auto size = receive(from);
            if (size < 0) return;
            const auto request = base::Bytes(buffer_).first(static_cast<std::size_t>(size));
            if (const auto answer = UPSAgent::respond(request, shared_->scene(start_))) send(*answer, from);
        }
    }

    ssize_t receive(sockaddr_in& from) {
        socklen_t length = sizeof from;
        if (ended_) return -1;
        return recvfrom(socket_.get(), buffer_.data(), buffer_.size(), MSG_DONTWAIT, generic(from), &length);
    }

    // What the system refuses (no buffer) is lost, as on a network.
    void send(base::Bytes answer, const sockaddr_in& to) {
        if (!ended_) sendto(socket_.get(), answer.data(), answer.size(), MSG_DONTWAIT | MSG_NOSIGNAL, generic(to), sizeof to);
    }

    const std::shared_ptr<Shared> shared_;
    const base::SteadyTime start_ = now();
    std::atomic<bool> ended_ = false;
    base::FileDescriptor socket_;
    const std::uint16_t port_;
    std::array<std::uint8_t, longestDatagram> buffer_{};
    base::SerialQueue::Source source_;
    base::SerialQueue queue_;
};

UPSSimulator::UPSSimulator(std::uint16_t port) : port_(port), shared_(std::make_shared<Shared>()) {}

UPSSimulator::~UPSSimulator() { stop(); }

void UPSSimulator::run() {
    if (session_) return;
    session_ = std::make_shared<Session>(shared_, port_, port_ != 0 && !ending_.expired());
    session_->begin();
}

void UPSSimulator::stop() {
    if (!session_) return;
    session_->end();
    ending_ = session_;
    session_ = nullptr;
}

std::uint16_t UPSSimulator::port() const { return session_ ? session_->port() : port_; }

UPSSimulator::Faults UPSSimulator::faults() const {
    const base::Lock lock(shared_->mutex);
    return shared_->faults;
}

void UPSSimulator::setFaults(Faults faults) {
    const auto time = now();
    const base::Lock lock(shared_->mutex);
    if (!faults.onBattery)
        shared_->batteryStart = std::nullopt;
    else if (!shared_->faults.onBattery)
        shared_->batteryStart = time;
    shared_->faults = faults;
}

}  // namespace netcore
