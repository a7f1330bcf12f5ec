#include "Kestrelyne/Metering/Extremes.hpp"

#include <algorithm>
#include <cmath>

namespace kestrelyne {

void Extremes::note(const metercore::ValueSet& values, base::WallTime date) {
    auto place = all_.begin();
    for (const auto& [id, value] : values) {
        if (!std::isfinite(value)) continue;
        while (place != all_.end() && place->id < id) ++place;
        if (place == all_.end() || place->id != id) {
            place = all_.insert(place, Extreme{id, value, date, value, date});
            continue;
        }
        if (value < place->min) {
            place->min = value;
            place->minTime = date;
        }
        if (value > place->max) {
            place->max = value;
            place->maxTime = date;
        }
    }
}

void Extremes::reset(const metercore::ValueSet& values, base::WallTime date) {
    all_.clear();
    note(values, date);
}

const Extreme* Extremes::find(int id) const {
    const auto found =
        std::lower_bound(all_.begin(), all_.end(), id, [](const Extreme& entry, int wanted) { return entry.id < wanted; });
    return found != all_.end() && found->id == id ? &*found : nullptr;
}

std::optional<double> Extremes::min(int id) const {
    const auto* found = find(id);
    return found == nullptr ? std::nullopt : std::optional(found->min);
}

std::optional<double> Extremes::max(int id) const {
    const auto* found = find(id);
    return found == nullptr ? std::nullopt : std::optional(found->max);
}

}  // namespace kestrelyne
