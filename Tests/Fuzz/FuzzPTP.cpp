// Any datagram on the ports of clocks: an announcement has texts of known shape and no field of the other version.

#include <cstdint>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "NetCore/PTP.hpp"

using namespace netcore;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto seen = PTP::parse({data, size});
    if (!seen) return 0;
    const bool second = seen->version == 2;
    KESTRELYNE_REQUIRE(second || seen->version == 1, "two versions");
    const std::size_t identity = second ? 23 : 17;  // 8 or 6 bytes, two digits each, ":" between them
    KESTRELYNE_REQUIRE(seen->sender.size() == identity && seen->grandmaster.size() == identity, "identities have their length");
    KESTRELYNE_REQUIRE(!seen->domain.empty() && base::repairUTF8(seen->domain) == seen->domain, "a domain has a valid name");
    KESTRELYNE_REQUIRE(seen->priority1.has_value() == second && seen->priority2.has_value() == second &&
                           seen->clockClass.has_value() == second && seen->stepsRemoved.has_value() == second &&
                           seen->stratum.has_value() != second,
                       "each version has its own fields");
    KESTRELYNE_REQUIRE(size >= (second ? 64u : 80u), "only whole messages are read");
    return 0;
}
