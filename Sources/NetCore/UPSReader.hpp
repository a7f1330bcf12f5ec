#pragma once
// Reads a UPS over SNMP: the UPS-MIB (RFC 1628), else the PowerNet-MIB of APC.

#include "Base/Clock.hpp"
#include "NetCore/SNMPTarget.hpp"
#include "NetCore/UPSStatus.hpp"

/// All block: background only. All throw NetError.
namespace netcore::UPSReader {

/// The first of both that the device speaks. Throws what asking for its description throws, or that it speaks neither.
UPSStatus read(const SNMPTarget& client, const base::Clock& clock = base::SystemClock::shared());
UPSStatus readRFC1628(const SNMPTarget& client, const base::Clock& clock = base::SystemClock::shared());
UPSStatus readAPC(const SNMPTarget& client, const base::Clock& clock = base::SystemClock::shared());

}  // namespace netcore::UPSReader
