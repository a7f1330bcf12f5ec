// Stored settings of the network side may be any bytes; what decodes can be used, and comes back the same after it was stored
// again.

#include <cstdint>
#include <string_view>

#include "Base/JSONFields.hpp"
#include "Base/Require.hpp"
#include "Kestrelyne/Network/NetConfig.hpp"
#include "Kestrelyne/Network/Reachability.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kestrelyne;
    NetConfig config;
    try {
        config = decodeNetConfig({reinterpret_cast<const char*>(data), size});
    } catch (const base::DecodeError&) {
        return 0;
    }
    KESTRELYNE_REQUIRE(decodeNetConfig(encodeNetConfig(config)) == config, "stored settings come back");
    for (const auto universe : config.sacnUniverseSet())
        KESTRELYNE_REQUIRE(universe >= 1 && universe <= 63999, "a universe of the standard");
    KESTRELYNE_REQUIRE(Reachability::timeout(config.pingInterval) >= base::Seconds(0.3), "a time limit that can be waited for");
    KESTRELYNE_REQUIRE(Reachability::timeout(config.pingInterval) <= base::Seconds(0.8), "a time limit that ends");
    return 0;
}
