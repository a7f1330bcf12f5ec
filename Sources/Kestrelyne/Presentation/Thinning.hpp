#pragma once
// A history made small enough to draw or to send.

#include <cstddef>
#include <span>
#include <vector>

#include "Base/Clock.hpp"
#include "Kestrelyne/Metering/History.hpp"

namespace kestrelyne {

/// Every how manieth sample of a history of `count` goes out, so that some 180 to 360 remain.
std::size_t trendStride(std::size_t count);

/// The values of a thinned history, oldest first.
std::vector<double> trend(const History& history, int id);
/// The seconds from the first to the last sample of a history; 0 when there are fewer than two.
double trendSeconds(const History& history, int id);

/// One point of a thinned curve: what its samples had in common.
struct SampleBucket {
    base::WallTime date;  // middle of the bucket
    double mean, min, max;
    std::size_t count;
};

/// At most `maxPoints` equal buckets over the `window` that ends at `end`; a bucket without samples gives no point, so that gaps
/// stay visible.
std::vector<SampleBucket> bucketed(std::span<const Sample> samples, base::WallTime end, std::size_t maxPoints,
                                   base::Seconds window);

}  // namespace kestrelyne
