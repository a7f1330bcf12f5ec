#include "NetCore/LightingSimulator.hpp"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "Base/FileDescriptor.hpp"
#include "Base/Mutex.hpp"
#include "Base/SerialQueue.hpp"
#include "Base/Text.hpp"
#include "NetCore/NetError.hpp"

namespace netcore {

namespace {

constexpr auto tickLength = std::chrono::nanoseconds(std::chrono::seconds(1)) / LightingScene::ticksPerSecond;

base::FileDescriptor openSocket() {
    base::FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) throw NetError::socket("Der Licht-Simulator kann nicht senden: " + base::errnoText(errno));
    return socket;
}

}  // namespace

struct LightingSimulator::Shared {
    base::Mutex mutex;
    Config config KESTRELYNE_GUARDED_BY(mutex);

    Config copy() {
        const base::Lock lock(mutex);
        return config;
    }
};

/// From one run() to its stop(). Its queue belongs to it, and whatever the queue still runs keeps it alive: the last one to let go
/// is the queue's own thread.
class LightingSimulator::Session : public std::enable_shared_from_this<Session> {
public:
    Session(std::shared_ptr<Shared> shared, Ports ports)
        : shared_(std::move(shared)), socket_(openSocket()), scene_(ports), queue_("lighting.sim") {}

    void begin() {
        queue_.post([self = shared_from_this()] {
            self->started_ = base::SystemClock::shared().steadyNow();
            self->tick();
        });
    }

    void end() {
        ended_ = true;
        queue_.post([self = shared_from_this()] { self->timer_ = {}; });
    }

private:
    // Everything below: queue thread only.

    void tick() {
        if (ended_) return;
        const auto passed = base::SystemClock::shared().steadyNow() - started_;
        for (const auto& datagram : scene_.step(shared_->copy(), passed)) send(datagram);
        // Counted from the start, so that lateness does not add up; ticks that a stalled machine has missed are left out.
        const auto due = started_ + (passed / tickLength + 1) * tickLength;
        timer_ = queue_.after(due - base::SystemClock::shared().steadyNow(), [self = shared_from_this()] { self->tick(); });
    }

    // What the system refuses (no buffer) is lost, as on a network.
    void send(const LightingScene::Datagram& datagram) const {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(datagram.port);
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        sendto(socket_.get(), datagram.bytes.data(), datagram.bytes.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&to),
               sizeof to);
    }

    const std::shared_ptr<Shared> shared_;
    const base::FileDescriptor socket_;
    LightingScene scene_;
    base::SteadyTime started_{};
    std::atomic<bool> ended_ = false;
    base::SerialQueue::Timer timer_;
    base::SerialQueue queue_;
};

LightingSimulator::LightingSimulator(Ports ports) : ports_(ports), shared_(std::make_shared<Shared>()) {}

LightingSimulator::~LightingSimulator() { stop(); }

void LightingSimulator::run() {
    if (session_) return;
    session_ = std::make_shared<Session>(shared_, ports_);
    session_->begin();
}

void LightingSimulator::stop() {
    if (!session_) return;
    session_->end();
    session_ = nullptr;
}

LightingSimulator::Config LightingSimulator::config() const { return shared_->copy(); }

void LightingSimulator::setConfig(Config config) {
    config.artnetUniverses = std::clamp(config.artnetUniverses, 0, LightingScene::mostUniverses);
    config.sacnUniverses = std::clamp(config.sacnUniverses, 0, LightingScene::mostUniverses);
    const base::Lock lock(shared_->mutex);
    shared_->config = config;
}

}  // namespace netcore
