#include "Kestrelyne/Lighting/RDMAddressing.hpp"

#include <algorithm>
#include <limits>

namespace kestrelyne {

namespace {

int whole(long long number) { return static_cast<int>(std::min<long long>(number, std::numeric_limits<int>::max())); }

}  // namespace

std::string nameOf(const RDMDeviceState& device) {
    auto name = device.displayName();
    return name.empty() ? device.uid.text() : name;
}

std::vector<RDMPlacing> sequentialPlan(const std::vector<RDMDeviceState>& devices, const std::vector<netcore::RDM::UID>& uids,
                                       int start, int gap) {
    std::vector<RDMPlacing> plan;
    long long address = start;
    for (const auto& uid : uids) {
        const auto device = std::ranges::find(devices, uid, &RDMDeviceState::uid);
        if (device == devices.end()) continue;
        const int footprint = std::max(1, device->info ? device->info->footprint : 1);
        plan.push_back({.uid = uid, .name = nameOf(*device), .first = whole(address), .last = whole(address + footprint - 1)});
        address += footprint;
        address += gap;
    }
    return plan;
}

std::vector<const RDMDeviceState*> overlaps(const std::vector<RDMDeviceState>& devices, int universe, int address, int footprint,
                                            const netcore::RDM::UID& uid) {
    std::vector<const RDMDeviceState*> met;
    for (const auto& device : devices) {
        if (device.universe != universe || device.uid == uid || !device.info || device.info->startAddress < 1) continue;
        const int first = device.info->startAddress, last = first + device.info->footprint - 1;
        // What has no slots is in nobody's way.
        if (first <= last && first <= address + footprint - 1 && address <= last) met.push_back(&device);
    }
    return met;
}

}  // namespace kestrelyne
