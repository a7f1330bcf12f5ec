#include "MeterCore/DeviceProfile.hpp"

#include <algorithm>

namespace metercore::DeviceProfiles {

namespace {

std::vector<DeviceProfile> makeBuiltIn() {
    DeviceProfile janitza{
        .id = std::string(janitzaID),
        .manufacturer = "Janitza",
        .name = "UMG (Messwerttabelle 19000)",
        .models = "UMG 96RM, 96RM-E/-EL/-P/-CBM, UMG 96-PA, UMG 103, 104, 508, 509, 511, 512, 604, 605, 801",
        .notes = "Volle Unterstützung: Gerätespeicher (96RM-E), Sternpunkt, Min/Max im Gerät, Zeigerdiagramm.",
        .source = "Janitza Modbus-Adressliste",
        .isJanitzaNative = true,
        .registers = {},
    };
    return {std::move(janitza)};
}

}  // namespace

std::span<const DeviceProfile> builtIn() {
    static const auto profiles = makeBuiltIn();
    return profiles;
}

const DeviceProfile& profile(std::string_view id) {
    const auto profiles = builtIn();
    const auto found =
        std::find_if(profiles.begin(), profiles.end(), [id](const DeviceProfile& candidate) { return candidate.id == id; });
    return found == profiles.end() ? profiles.front() : *found;
}

}  // namespace metercore::DeviceProfiles
