#include "NetCore/RDMParameters.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "Base/Text.hpp"
#include "NetCore/WireFields.hpp"

namespace netcore::RDM {

namespace {

using wire::big16;
using wire::big32;

constexpr std::size_t deviceInfoSize = 19, sensorDefinitionSize = 13, personalitySize = 3, sensorValueSize = 3;

int signed16(base::Bytes data, std::size_t at) { return static_cast<std::int16_t>(big16(data, at)); }

std::string upToZero(base::Bytes data) {
    const auto end = std::ranges::find(data, std::uint8_t{0});
    return base::repairUTF8(std::string(data.begin(), end));
}

}  // namespace

DeviceInfo::DeviceInfo(base::Bytes data) {
    if (data.size() < deviceInfoSize) return;
    // In front stands the version of the protocol, and behind the address the number of sub-devices.
    modelID = big16(data, 2);
    category = big16(data, 4);
    softwareVersionID = big32(data, 6);
    footprint = big16(data, 10);
    personality = data[12];
    personalityCount = data[13];
    startAddress = big16(data, 14);
    sensorCount = data[18];
}

double SensorDefinition::factor() const {
    constexpr std::array factors{1.0, 0.1, 0.01, 0.001};
    return factors[static_cast<std::size_t>(std::clamp<int>(prefix, 0, factors.size() - 1))];
}

std::optional<SensorDefinition> SensorDefinition::parse(base::Bytes data) {
    if (data.size() < sensorDefinitionSize) return std::nullopt;
    return SensorDefinition{.number = data[0],
                            .type = data[1],
                            .unit = data[2],
                            .prefix = data[3],
                            .normalMax = signed16(data, 10),
                            .description = upToZero(data.subspan(sensorDefinitionSize))};
}

std::optional<Personality> Personality::parse(base::Bytes data) {
    if (data.size() < personalitySize) return std::nullopt;
    return Personality{.number = data[0], .footprint = big16(data, 1), .description = text(data.subspan(personalitySize))};
}

std::optional<SensorValue> sensorValue(base::Bytes data) {
    if (data.size() < sensorValueSize) return std::nullopt;
    return SensorValue{.number = data[0], .value = signed16(data, 1)};
}

std::set<std::uint16_t> supportedPIDs(base::Bytes data) {
    std::set<std::uint16_t> pids;
    for (std::size_t at = 0; at + 1 < data.size(); at += 2) pids.insert(big16(data, at));
    return pids;
}

std::string text(base::Bytes data) { return std::string(base::trimmedBlanks(upToZero(data))); }

}  // namespace netcore::RDM
