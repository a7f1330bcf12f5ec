#pragma once
// The lowest and the highest value of each measurement since the last reset, and when they were seen.

#include <optional>
#include <vector>

#include "Base/Clock.hpp"
#include "MeterCore/ValueSet.hpp"

namespace kestrelyne {

struct Extreme {
    int id;
    double min;
    base::WallTime minTime;
    double max;
    base::WallTime maxTime;
};

/// Main thread.
class Extremes {
public:
    /// Takes in a reading; values that are not finite are skipped. An equal value keeps the earlier time.
    void note(const metercore::ValueSet& values, base::WallTime date);
    /// Begins anew with these values: a measurement that is not among them has no extreme.
    void reset(const metercore::ValueSet& values, base::WallTime date);

    const Extreme* find(int id) const;
    std::optional<double> min(int id) const;
    std::optional<double> max(int id) const;
    const std::vector<Extreme>& all() const { return all_; }

private:
    std::vector<Extreme> all_;  // ascending by id
};

}  // namespace kestrelyne
