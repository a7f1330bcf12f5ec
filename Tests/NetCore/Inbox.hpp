#pragma once
// Collects what a socket delivers, for a test that waits for it.

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "Base/Mutex.hpp"
#include "NetCore/UDPSocket.hpp"

class Inbox {
public:
    /// The handler may outlive the inbox.
    netcore::UDPSocket::Handler handler() {
        return [shared = shared_](const netcore::UDPView& view) {
            base::Lock lock(shared->mutex);
            shared->packets.push_back(view.packet());
            shared->changed.notify_all();
        };
    }
    /// What came until there were `count`, or until the time was over.
    std::vector<netcore::UDPPacket> waitFor(std::size_t count, base::Seconds limit = base::Seconds(5)) {
        base::Lock lock(shared_->mutex);
        shared_->changed.wait_for(shared_->mutex, limit, [&] { return shared_->packets.size() >= count; });
        return shared_->packets;
    }
    std::size_t count() {
        base::Lock lock(shared_->mutex);
        return shared_->packets.size();
    }
    void clear() {
        base::Lock lock(shared_->mutex);
        shared_->packets.clear();
    }

private:
    struct Shared {
        base::Mutex mutex;
        base::Condition changed;
        std::vector<netcore::UDPPacket> packets;
    };
    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

inline std::vector<std::uint8_t> bytesOf(std::string_view text) { return {text.begin(), text.end()}; }
