#pragma once
// How a meter of some maker is read, in the measurement ids of the whole program.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "MeterCore/RegisterDecoder.hpp"
#include "MeterCore/SerialParity.hpp"

namespace metercore {

/// What a decoded number needs beyond its factor.
enum class RegisterTransform { schneiderPowerFactor };

/// One row: read this register in this way, store the result under this id.
struct ProfileRegister {
    int id;
    int address;  // as sent on the wire
    RegisterDataType type;
    WordOrder order = WordOrder::bigEndian;
    double scale = 1;           // the decoded number is multiplied by it; results are V, A, W, VA, var, Wh, Hz, %
    std::uint8_t function = 3;  // 3 or 4
    std::optional<RegisterTransform> transform;
};

struct DeviceProfile {
    std::string id;
    std::string manufacturer;
    std::string name;
    std::string models;  // which models it fits
    std::string notes;
    std::string source = "Eigenes Profil";  // where the table comes from
    int defaultPort = 502;
    int defaultUnitID = 1;
    int defaultBaudRate = 9600;
    SerialParity defaultParity = SerialParity::none;
    int defaultStopBits = 1;
    bool isJanitzaNative = false;  // read through JanitzaRegisterMap, not through `registers`
    std::vector<ProfileRegister> registers;

    std::string displayName() const { return manufacturer + " " + name; }
};

/// The catalogue. Any thread.
namespace DeviceProfiles {

inline constexpr std::string_view janitzaID = "janitza-umg";
/// The first is the Janitza profile.
std::span<const DeviceProfile> builtIn();
/// The profile with this id, or the Janitza profile when there is none. Lives as long as the program.
const DeviceProfile& profile(std::string_view id);

}  // namespace DeviceProfiles
}  // namespace metercore
