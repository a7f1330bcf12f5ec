// Any frame, and its data as each of the parameters: nothing is read beyond it, and what is read fits into it.

#include <cstddef>
#include <cstdint>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "NetCore/RDM.hpp"
#include "NetCore/RDMParameters.hpp"

using namespace netcore;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const base::Bytes input(bytes, size);
    const auto isRepaired = [](const std::string& text) { return base::repairUTF8(text) == text; };
    const auto response = RDM::parse(input);
    if (response) {
        KESTRELYNE_REQUIRE(response->data.size() + 23 <= size, "only data that was sent");
        KESTRELYNE_REQUIRE(!response->nackReason().empty(), "every refusal has its sentence");
    }
    const base::Bytes data = response ? base::Bytes(response->data) : input;
    KESTRELYNE_REQUIRE(RDM::supportedPIDs(data).size() <= data.size() / 2, "a parameter has two bytes");
    KESTRELYNE_REQUIRE(isRepaired(RDM::text(data)), "a text is UTF-8");
    const RDM::DeviceInfo info(data);
    KESTRELYNE_REQUIRE(info.footprint <= 0xFFFF && info.sensorCount <= 0xFF, "numbers are those of their fields");
    if (const auto sensor = RDM::SensorDefinition::parse(data))
        KESTRELYNE_REQUIRE(isRepaired(sensor->description) && sensor->factor() > 0, "a sensor has a name and a step");
    if (const auto personality = RDM::Personality::parse(data))
        KESTRELYNE_REQUIRE(isRepaired(personality->description), "a personality has a name");
    RDM::sensorValue(data);
    return 0;
}
