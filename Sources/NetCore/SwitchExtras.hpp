#pragma once
// Values of a switch that its user asked for by OID. Blocking; background only.

#include <vector>

#include "NetCore/SNMPTarget.hpp"
#include "NetCore/SwitchReader.hpp"
#include "NetCore/SwitchStatus.hpp"

namespace netcore::SwitchReader {

/// Numbers are multiplied by their factor and written in the user's locale; with "temp" in the name they are temperatures too.
void readExtras(const SNMPTarget& client, const std::vector<ExtraOID>& extra, SwitchStatus& status);

}  // namespace netcore::SwitchReader
