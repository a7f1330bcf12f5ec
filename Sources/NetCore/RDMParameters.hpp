#pragma once
// What the parameters of Remote Device Management carry (ANSI E1.20, 10). All values are big-endian.

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "Base/ByteReader.hpp"

/// Pure functions; any thread. Texts are repaired to UTF-8, but otherwise as the device has them.
namespace netcore::RDM {

struct DeviceInfo {
    int modelID = 0, category = 0;
    std::uint32_t softwareVersionID = 0;
    int footprint = 0;                          // slots
    int personality = 0, personalityCount = 0;  // from 1
    int startAddress = 0;                       // 1…512; 0xFFFF of a device without slots
    int sensorCount = 0;

    DeviceInfo() = default;
    /// All zero when it is too short.
    explicit DeviceInfo(base::Bytes data);
    bool operator==(const DeviceInfo&) const = default;
};

struct SensorDefinition {
    int number = 0, type = 0, unit = 0, prefix = 0;  // appendix A.12 to A.14
    int normalMax = 0;                               // in the sensor's own steps, see factor()
    std::string description;

    /// What a step of the sensor's values is worth in its unit.
    double factor() const;
    /// Absent when it is too short.
    static std::optional<SensorDefinition> parse(base::Bytes data);
    bool operator==(const SensorDefinition&) const = default;
};

struct Personality {
    int number = 0;  // from 1
    int footprint = 0;
    std::string description;

    /// Absent when it is too short.
    static std::optional<Personality> parse(base::Bytes data);
    bool operator==(const Personality&) const = default;
};

struct SensorValue {
    int number = 0;
    int value = 0;  // present, in the sensor's own steps
    bool operator==(const SensorValue&) const = default;
};
/// Absent when it is too short. Recorded values behind the present one are not looked at.
std::optional<SensorValue> sensorValue(base::Bytes data);

/// Those of the complete pairs of bytes.
std::set<std::uint16_t> supportedPIDs(base::Bytes data);

/// A label, up to its first zero byte, without blanks at both ends.
std::string text(base::Bytes data);

}  // namespace netcore::RDM
