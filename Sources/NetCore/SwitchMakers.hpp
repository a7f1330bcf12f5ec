#pragma once
// What only some makers' switches offer. The queries block; background only.

#include <string>
#include <string_view>

#include "NetCore/SNMPTarget.hpp"
#include "NetCore/SwitchStatus.hpp"

namespace netcore::SwitchReader {

/// What a switch says of its maker. The signs are independent: several may hold.
struct MakerSigns {
    bool cisco = false;
    bool ciscoBusiness = false;  // the small series, which answers other tables; `cisco` holds as well
    bool netgear = false;
    bool luminex = false;
    bool operator==(const MakerSigns&) const = default;
};

/// From sysObjectID (dotted) and sysDescr. Pure.
MakerSigns makerSigns(std::string_view objectID, std::string_view description);
/// The first that fits of "Cisco Business", "Cisco", "Netgear", "Luminex", else empty. Pure.
std::string vendorName(const MakerSigns& signs);

/// Temperature where none is known yet, load of the CPU, fans.
void readCiscoBusiness(const SNMPTarget& client, SwitchStatus& status);
/// Temperatures where none is known yet, fans and power supplies of the makers that have the "box services" tables.
void readBoxServices(const SNMPTarget& client, const MakerSigns& signs, SwitchStatus& status);
/// The redundant power supply.
void readLuminex(const SNMPTarget& client, SwitchStatus& status);

}  // namespace netcore::SwitchReader
