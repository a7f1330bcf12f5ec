// Any text of the field for extra OIDs: what is taken from it can be sent and calculated with.

#include <cmath>
#include <cstdint>
#include <string_view>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "NetCore/BER.hpp"
#include "NetCore/SwitchReader.hpp"

using namespace netcore;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    for (const auto& [name, oid, factor] : SwitchReader::ExtraOID::parse(text)) {
        KESTRELYNE_REQUIRE(std::isfinite(factor), "a factor is a number");
        KESTRELYNE_REQUIRE(base::split(oid, '.', false).size() >= 4, "an OID has four parts");
        KESTRELYNE_REQUIRE(name.find('\n') == std::string::npos && name.find('=') == std::string::npos,
                           "a name is one piece of a line");
        const auto encoded = BER::oid(oid);
        KESTRELYNE_REQUIRE(BER::Reader(encoded).readAny().tag == BER::Tag::objectIdentifier, "an OID can be sent");
    }
    return 0;
}
