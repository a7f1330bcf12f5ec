#pragma once
// Registers this computer with consoles as an Art-Net receiver: consoles send by unicast only to nodes they know.

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Base/ByteReader.hpp"
#include "Base/Clock.hpp"
#include "Base/Mutex.hpp"

namespace kestrelyne {

class ArtNetResponder {
public:
    static constexpr base::Seconds pause{1.0};  // between two answers to one console
    /// Consoles that are answered within one pause at most: invented senders get no more out of this computer than that.
    static constexpr std::size_t mostConsoles = 1024;

    struct Iface {
        std::string name;
        std::string address;  // dotted
        std::uint32_t mask = 0, network = 0;
        std::array<std::uint8_t, 6> mac{};
    };
    /// Sends from the Art-Net port to the address's Art-Net port; empty while the socket is closed. Any thread.
    using Send = std::function<void(base::Bytes packet, const std::string& to)>;

    ArtNetResponder();
    ~ArtNetResponder();
    ArtNetResponder(const ArtNetResponder&) = delete;
    ArtNetResponder& operator=(const ArtNetResponder&) = delete;

    /// Main thread. Universes are Port-Addresses; own are this computer's addresses, dotted.
    void configure(bool enabled, std::set<int> universes, std::vector<Iface> interfaces, std::set<std::string> own);
    void setSend(Send send);

    /// Answers an ArtPoll, on the socket's queue: one ArtPollReply for each four universes of a sub-net, as the adapter whose
    /// network holds the sender, else as the first one. No answer to this computer itself.
    void handlePoll(const std::string& sender, base::SteadyTime now);

private:
    struct Configuration;

    /// Whether the sender may be answered now; notes that it is.
    bool takeTurn(const std::string& sender, base::SteadyTime now) KESTRELYNE_REQUIRES(mutex_);

    base::Mutex mutex_;
    std::shared_ptr<const Configuration> configuration_ KESTRELYNE_GUARDED_BY(mutex_);  // replaced, never changed
    Send send_ KESTRELYNE_GUARDED_BY(mutex_);
    std::map<std::string, base::SteadyTime> lastReply_ KESTRELYNE_GUARDED_BY(mutex_);  // of the last pause or two
    base::SteadyTime lastPrune_ KESTRELYNE_GUARDED_BY(mutex_){};
};

}  // namespace kestrelyne
