#pragma once
// Where devices lie within a universe: addresses one behind the other, and who would be in the way. Pure functions; any thread.

#include <string>
#include <vector>

#include "Kestrelyne/Lighting/RDMDeviceState.hpp"

namespace kestrelyne {

/// What a device is called where it needs a name: its display name, else its UID.
std::string nameOf(const RDMDeviceState& device);

/// A device with the slots that it is to have, from 1; `last` may lie beyond the universe.
struct RDMPlacing {
    netcore::RDM::UID uid{};
    std::string name;
    int first = 0, last = 0;
    bool fits() const { return last <= lastSlot; }
    static constexpr int lastSlot = 512;
    bool operator==(const RDMPlacing&) const = default;
};

/// The devices in the order of the UIDs, each behind the one before with so many slots between them; unknown UIDs are passed over,
/// and a device without slots counts as one with a single slot.
std::vector<RDMPlacing> sequentialPlan(const std::vector<RDMDeviceState>& devices, const std::vector<netcore::RDM::UID>& uids,
                                       int start, int gap);

/// Those of the universe, but the one with this UID, that have a slot among the given ones.
std::vector<const RDMDeviceState*> overlaps(const std::vector<RDMDeviceState>& devices, int universe, int address, int footprint,
                                            const netcore::RDM::UID& uid);

}  // namespace kestrelyne
