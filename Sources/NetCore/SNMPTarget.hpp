#pragma once
// What the readers of switches and UPSs need of an agent.

#include <map>
#include <string>
#include <vector>

#include "NetCore/NetError.hpp"
#include "NetCore/SNMPValue.hpp"

namespace netcore {

/// Somebody who answers SNMP v2c. Every call blocks its thread until an answer or the time limit and throws NetError.
class SNMPTarget {
public:
    virtual ~SNMPTarget() = default;

    /// One GET of all OIDs. The key is the OID as the agent returned it; a later binding with the same OID replaces the earlier.
    virtual std::map<std::string, SNMPValue> get(const std::vector<std::string>& oids) const = 0;
    /// The rows below `base` (dotted, no leading dot) in the order received, by GETBULK of 25. The limit is looked at between
    /// pages: up to 24 rows more may come. A table of more than four megabytes of text is cut off. Rows gathered before a failure
    /// are dropped.
    virtual std::vector<SNMPRow> walk(const std::string& base, int maxRows) const = 0;
};

}  // namespace netcore
