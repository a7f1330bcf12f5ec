#pragma once
// The variables of the simulated UPS: rows of the system group (RFC 3418) and of the UPS-MIB (RFC 1628), each computed from time
// and faults. Pure; any thread.

#include <vector>

#include "NetCore/BER.hpp"
#include "NetCore/OIDNumbers.hpp"
#include "NetCore/UPSAgent.hpp"

namespace netcore::UPSAgent {

struct Variable {
    OIDNumbers oid;
    BER::Encoded value;  // with tag and length
};

/// All variables, in ascending order of their OIDs.
std::vector<Variable> table(const Scene& scene);

}  // namespace netcore::UPSAgent
