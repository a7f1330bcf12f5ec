#pragma once
// Tallies what lighting data rides on: clocks, captured frames, timecode. The fast path of the watchers of those.

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Mutex.hpp"
#include "NetCore/ArtNetTimeCode.hpp"
#include "NetCore/PTP.hpp"
#include "NetCore/PacketCapture.hpp"
#include "NetCore/UDPPacket.hpp"

namespace kestrelyne {

/// Any thread: guarded by one mutex.
class ExtrasAccumulator {
public:
    /// How much is kept at most; what comes beyond is counted and dropped.
    struct Limits {
        std::size_t clocks = 1024;
        std::size_t frames = 8192;  // between two drains; a membership report counts as its groups
        std::size_t timecodes = 256;
    };
    static constexpr base::Seconds clockKept{60};
    static constexpr base::Seconds timecodeKept{60};  // longer than a watcher needs to notice its end

    explicit ExtrasAccumulator(Limits limits);
    ExtrasAccumulator() : ExtrasAccumulator(Limits{}) {}

    struct PTPEntry {
        netcore::PTP::Announcement ann;
        std::uint64_t count = 0;  // announcements since the last drain
        base::Moment lastSeen{};
        std::uint32_t iface = 0;  // adapter index
    };

    void handlePTP(const netcore::UDPView& packet);
    /// Only ARP and IGMP are kept.
    void handleCapture(const std::string& iface, netcore::PacketCapture::Event event);
    void handleTimecode(const std::string& sender, const netcore::ArtNet::TimeCode& code, base::Moment time);

    /// By version, domain and sender; counts begin anew, clocks silent for a minute go.
    std::vector<PTPEntry> drainPTP(base::SteadyTime now);
    /// Adapter name and event, in order of arrival.
    std::vector<std::pair<std::string, netcore::PacketCapture::Event>> takeCaptured();

    struct Timecode {
        std::string ip;
        netcore::ArtNet::TimeCode code;
        base::Moment time{};
    };
    /// The latest of each sender, by address; senders silent for a minute go.
    std::vector<Timecode> currentTimecodes(base::SteadyTime now);

    /// What was refused so far because a limit was reached.
    std::uint64_t refused() const;
    void resetTimecodes();
    void resetNetwork();  // clocks and captured frames

private:
    using ClockKey = std::tuple<int, std::string, std::string>;  // version, domain, sender

    const Limits limits_;
    mutable base::Mutex mutex_;
    std::map<ClockKey, PTPEntry> ptp_ KESTRELYNE_GUARDED_BY(mutex_);
    std::vector<std::pair<std::string, netcore::PacketCapture::Event>> capture_ KESTRELYNE_GUARDED_BY(mutex_);
    std::size_t captureWeight_ KESTRELYNE_GUARDED_BY(mutex_) = 0;  // what `capture_` counts as
    std::map<std::string, Timecode> timecodes_ KESTRELYNE_GUARDED_BY(mutex_);
    std::uint64_t refused_ KESTRELYNE_GUARDED_BY(mutex_) = 0;
};

}  // namespace kestrelyne
