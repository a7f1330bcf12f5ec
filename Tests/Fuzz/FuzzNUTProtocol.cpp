// Any bytes of a server on the port of UPS management: the asking ends or goes on, within its limits, and pieces make no
// difference.

#include <cmath>
#include <cstdint>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "NetCore/NUTFacts.hpp"
#include "NetCore/NUTProtocol.hpp"

using namespace netcore;

namespace {

void check(const NUTDevice& device) {
    KESTRELYNE_REQUIRE(device.variables.size() <= NUTConversation::mostVariables, "variables have a limit");
    const auto finding = nutFinding(device, {});
    if (!finding) return;
    const auto& status = finding->status;
    KESTRELYNE_REQUIRE(!finding->name.empty() && base::repairUTF8(finding->name) == finding->name, "a name can be shown");
    KESTRELYNE_REQUIRE(base::repairUTF8(status.manufacturer) == status.manufacturer, "so can its maker");
    KESTRELYNE_REQUIRE(!status.charge || std::isfinite(*status.charge), "numbers are finite");
    KESTRELYNE_REQUIRE(!status.runtimeMinutes || *status.runtimeMinutes >= 0, "time goes on");
    KESTRELYNE_REQUIRE(!status.batteryVoltage || *status.batteryVoltage > 0, "a voltage is one");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    NUTConversation whole, pieces;
    whole.receive(bytes);
    for (const char byte : bytes)
        if (pieces.receive({&byte, 1}) != NUTConversation::State::talking) break;
    KESTRELYNE_REQUIRE(whole.state() == pieces.state(), "pieces make no difference");
    KESTRELYNE_REQUIRE(whole.devices().size() == pieces.devices().size(), "pieces make no difference");
    KESTRELYNE_REQUIRE(whole.devices().size() <= NUTConversation::mostDevices, "devices have a limit");
    const auto request = whole.takeRequest();
    KESTRELYNE_REQUIRE(request.empty() || request.find('\n') == request.size() - 1, "one request at a time");
    for (const auto& device : whole.devices()) check(device);
    return 0;
}
