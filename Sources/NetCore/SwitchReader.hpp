#pragma once
// Reads a switch over SNMP: what every switch offers first, then what only some makers do.

#include <string>
#include <string_view>
#include <vector>

#include "Base/Clock.hpp"
#include "NetCore/SNMPTarget.hpp"
#include "NetCore/SwitchStatus.hpp"

namespace netcore::SwitchReader {

/// A value that the user wants to see besides.
struct ExtraOID {
    std::string name;
    std::string oid;  // no leading dot
    double factor = 1;

    /// Lines of the form "Name = OID × 0,1"; bad ones are skipped.
    static std::vector<ExtraOID> parse(std::string_view text);
    bool operator==(const ExtraOID&) const = default;
};

/// Blocks for some fifteen to thirty walks: background only. Throws NetError when the system group is not answered; whatever fails
/// after that counts as empty.
SwitchStatus read(const SNMPTarget& client, const std::vector<ExtraOID>& extra,
                  const base::Clock& clock = base::SystemClock::shared());

}  // namespace netcore::SwitchReader
