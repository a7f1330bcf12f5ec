#pragma once
// Temperatures that switches of any maker offer. Blocking; background only.

#include <string>

#include "NetCore/SNMPTarget.hpp"
#include "NetCore/SwitchMakers.hpp"
#include "NetCore/SwitchStatus.hpp"

namespace netcore::SwitchReader {

/// From the first source that has any. The last of them, for Cisco switches that no other source fits, also brings the load of the
/// CPU.
void readTemperatures(const SNMPTarget& client, const MakerSigns& makers, SwitchStatus& status);

/// Leaves out what is no temperature: an agent may state any scale, and the result overflow.
void addSensor(SwitchStatus& status, std::string name, double celsius);

}  // namespace netcore::SwitchReader
