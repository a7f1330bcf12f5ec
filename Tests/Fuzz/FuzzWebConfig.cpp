// Stored settings of the web interface may be any bytes; what decodes comes back the same after it was stored again.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string_view>

#include "Base/JSONFields.hpp"
#include "Base/Require.hpp"
#include "Kestrelyne/Remote/HostCheck.hpp"
#include "Kestrelyne/Remote/WebConfig.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using kestrelyne::WebConfig;
    const auto config = WebConfig::fromStored({reinterpret_cast<const char*>(data), size});
    KESTRELYNE_REQUIRE(WebConfig::fromStored(base::dump(config.toJSON())) == config, "stored settings come back");
    const auto host = config.publicHost();
    KESTRELYNE_REQUIRE(host.empty() || host.find(':') != std::string::npos || kestrelyne::hostAllowed(host, host),
                       "the public host is allowed");
    return 0;
}
