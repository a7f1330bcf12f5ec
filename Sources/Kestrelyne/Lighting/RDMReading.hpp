#pragma once
// One device being read; for the files of the scanner alone.

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "Kestrelyne/Lighting/RDMScanner.hpp"

namespace kestrelyne {

/// Asks one device one thing after the other, and remembers whether it has said anything. Lives in the frame that awaits it.
class RDMScanner::Reading {
public:
    using Data = std::optional<std::vector<std::uint8_t>>;

    Reading(RDMScanner& scanner, Place place) : scanner_(scanner), place_(std::move(place)) {}

    /// Absent without an answer, and with any but an acknowledgement of this parameter.
    base::Co<Data> get(netcore::RDM::PID pid, std::vector<std::uint8_t> data = {});
    base::Co<std::string> text(netcore::RDM::PID pid);
    base::Co<std::optional<std::uint32_t>> number(netcore::RDM::PID pid);
    base::Co<std::optional<netcore::RDM::DeviceInfo>> info();
    /// The first byte.
    base::Co<std::optional<int>> byte(netcore::RDM::PID pid);
    base::Co<Dynamic> dynamic(bool infoKnown, std::vector<RDMSensor> sensors);

    /// It has answered something, be it a refusal.
    bool heard() const { return heard_; }

private:
    RDMScanner& scanner_;
    const Place place_;
    bool heard_ = false;
};

template <class Change>
void RDMScanner::change(const netcore::RDM::UID& uid, Change change) {
    if (device(uid) == nullptr) return;
    devices_.change([&](std::vector<RDMDeviceState>& list) { change(*std::ranges::find(list, uid, &RDMDeviceState::uid)); });
}

}  // namespace kestrelyne
