#include "NetCore/AdapterWatch.hpp"

#include <linux/rtnetlink.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>

#include "Base/SerialQueue.hpp"
#include "NetCore/Netlink.hpp"

namespace netcore {

namespace {
// An adapter that comes up sends a handful of messages within a few milliseconds.
constexpr base::Seconds settleTime(0.3);
constexpr int messagesPerEvent = 64;
constexpr std::uint32_t groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
}  // namespace

class AdapterWatch::Core : public std::enable_shared_from_this<Core> {
public:
    explicit Core(base::Function<void()> changed) : changed_(std::move(changed)), descriptor_(netlink::openSocket(groups)) {}

    void start() {
        if (!descriptor_) return;
        queue_.post([core = shared_from_this()] {
            core->source_ = core->queue_.watch(core->descriptor_.get(), EPOLLIN, [core](std::uint32_t) { core->read(); });
        });
    }

    void close() {
        closed_ = true;
        queue_.post([core = shared_from_this()] {
            core->timer_ = {};
            core->source_ = {};
        });
    }

private:
    // What changed does not matter: who listens looks at the whole list.
    void read() {
        std::array<std::uint8_t, 8192> buffer;
        bool heard = false;
        for (int i = 0; i < messagesPerEvent; ++i) {
            const auto length = recv(descriptor_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
            // ENOBUFS: more changed than the system could tell (netlink(7)).
            if (length < 0 && errno != ENOBUFS) break;
            heard = true;
        }
        if (!heard || timer_ || closed_) return;
        timer_ = queue_.after(settleTime, [core = weak_from_this()] {
            if (const auto strong = core.lock()) strong->settled();
        });
    }

    void settled() {
        timer_ = {};
        if (!closed_) changed_();
    }

    std::atomic<bool> closed_ = false;
    // Queue only:
    base::Function<void()> changed_;
    base::FileDescriptor descriptor_;
    base::SerialQueue::Source source_;
    base::SerialQueue::Timer timer_;
    base::SerialQueue queue_{"net.adapters"};
};

AdapterWatch::AdapterWatch(base::Function<void()> changed) : core_(std::make_shared<Core>(std::move(changed))) { core_->start(); }

AdapterWatch::~AdapterWatch() { core_->close(); }

}  // namespace netcore
