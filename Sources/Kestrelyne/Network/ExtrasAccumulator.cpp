#include "Kestrelyne/Network/ExtrasAccumulator.hpp"

#include <algorithm>
#include <utility>

namespace kestrelyne {

using netcore::PacketCapture;

namespace {

// A report may name a hundred and more groups: it takes memory like as many frames.
std::size_t weight(const netcore::CapturedFrame& frame) {
    const auto* const report = std::get_if<netcore::IGMPReport>(&frame);
    return report ? std::max<std::size_t>(report->groups.size(), 1) : 1;
}

}  // namespace

ExtrasAccumulator::ExtrasAccumulator(Limits limits) : limits_(limits) {}

void ExtrasAccumulator::handlePTP(const netcore::UDPView& packet) {
    auto announcement = netcore::PTP::parse(packet.data);
    if (!announcement) return;
    ClockKey key(announcement->version, announcement->domain, announcement->sender);
    base::Lock lock(mutex_);
    auto found = ptp_.find(key);
    if (found == ptp_.end()) {
        if (ptp_.size() >= limits_.clocks) {
            ++refused_;
            return;
        }
        found = ptp_.emplace(std::move(key), PTPEntry{.ann = {}}).first;
    }
    auto& entry = found->second;
    entry.ann = std::move(*announcement);
    ++entry.count;
    entry.lastSeen = packet.time;
    entry.iface = packet.interfaceIndex;
}

void ExtrasAccumulator::handleCapture(const std::string& iface, PacketCapture::Event event) {
    if (std::holds_alternative<netcore::UDPSeen>(event.frame)) return;
    const auto added = weight(event.frame);
    base::Lock lock(mutex_);
    if (captureWeight_ + added > limits_.frames) {
        ++refused_;
        return;
    }
    captureWeight_ += added;
    capture_.emplace_back(iface, std::move(event));
}

void ExtrasAccumulator::handleTimecode(const std::string& sender, const netcore::ArtNet::TimeCode& code, base::Moment time) {
    base::Lock lock(mutex_);
    auto found = timecodes_.find(sender);
    if (found == timecodes_.end()) {
        if (timecodes_.size() >= limits_.timecodes) {
            ++refused_;
            return;
        }
        found = timecodes_.emplace(sender, Timecode{.ip = sender, .code = {}}).first;
    }
    found->second.code = code;
    found->second.time = time;
}

std::vector<ExtrasAccumulator::PTPEntry> ExtrasAccumulator::drainPTP(base::SteadyTime now) {
    std::vector<PTPEntry> entries;
    base::Lock lock(mutex_);
    std::erase_if(ptp_, [now](const auto& clock) { return now - clock.second.lastSeen.steady > clockKept; });
    entries.reserve(ptp_.size());
    for (auto& [key, entry] : ptp_) {
        entries.push_back(entry);
        entry.count = 0;
    }
    return entries;
}

std::vector<std::pair<std::string, PacketCapture::Event>> ExtrasAccumulator::takeCaptured() {
    base::Lock lock(mutex_);
    captureWeight_ = 0;
    return std::exchange(capture_, {});
}

std::vector<ExtrasAccumulator::Timecode> ExtrasAccumulator::currentTimecodes(base::SteadyTime now) {
    std::vector<Timecode> current;
    base::Lock lock(mutex_);
    std::erase_if(timecodes_, [now](const auto& timecode) { return now - timecode.second.time.steady > timecodeKept; });
    current.reserve(timecodes_.size());
    for (const auto& [sender, timecode] : timecodes_) current.push_back(timecode);
    return current;
}

std::uint64_t ExtrasAccumulator::refused() const {
    base::Lock lock(mutex_);
    return refused_;
}

void ExtrasAccumulator::resetTimecodes() {
    base::Lock lock(mutex_);
    timecodes_.clear();
}

void ExtrasAccumulator::resetNetwork() {
    base::Lock lock(mutex_);
    ptp_.clear();
    capture_.clear();
    captureWeight_ = 0;
}

}  // namespace kestrelyne
