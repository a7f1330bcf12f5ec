#include "NetCore/UPSStatus.hpp"

#include <algorithm>

namespace netcore {

std::optional<double> UPSStatus::maxLoad() const {
    if (load.empty()) return std::nullopt;
    return *std::ranges::max_element(load);
}

std::string_view text(UPSStatus::Source source) {
    switch (source) {
        case UPSStatus::Source::online: return "Netzbetrieb";
        case UPSStatus::Source::battery: return "Batteriebetrieb";
        case UPSStatus::Source::bypass: return "Bypass";
        case UPSStatus::Source::boost: return "Boost (Unterspannung)";
        case UPSStatus::Source::reducer: return "Buck (Überspannung)";
        case UPSStatus::Source::off: return "Ausgang aus";
        case UPSStatus::Source::unknown: break;
    }
    return "unbekannt";
}

std::string_view text(UPSStatus::Battery battery) {
    switch (battery) {
        case UPSStatus::Battery::normal: return "normal";
        case UPSStatus::Battery::low: return "schwach";
        case UPSStatus::Battery::depleted: return "leer";
        case UPSStatus::Battery::fault: return "Fehler / tauschen";
        case UPSStatus::Battery::unknown: break;
    }
    return "unbekannt";
}

}  // namespace netcore
