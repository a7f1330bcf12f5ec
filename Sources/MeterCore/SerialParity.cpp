#include "MeterCore/SerialParity.hpp"

namespace metercore {

std::string_view text(SerialParity parity) {
    switch (parity) {
        case SerialParity::none: return "Keine";
        case SerialParity::even: return "Gerade";
        case SerialParity::odd: return "Ungerade";
    }
    return "";
}

std::optional<SerialParity> serialParity(std::string_view wanted) {
    for (const auto parity : {SerialParity::none, SerialParity::even, SerialParity::odd})
        if (text(parity) == wanted) return parity;
    return std::nullopt;
}

}  // namespace metercore
