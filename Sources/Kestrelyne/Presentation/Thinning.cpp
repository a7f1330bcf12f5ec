#include "Kestrelyne/Presentation/Thinning.hpp"

#include <algorithm>

namespace kestrelyne {

namespace {
constexpr std::size_t trendPoints = 180;
}

std::size_t trendStride(std::size_t count) { return count >= trendPoints ? count / trendPoints : 1; }

std::vector<double> trend(const History& history, int id) {
    const auto stride = trendStride(history.size(id));
    std::vector<double> values;
    values.reserve(history.size(id) / stride + 1);
    history.forEach(
        id, [&values](const Sample& sample) { values.push_back(sample.value); }, stride);
    return values;
}

double trendSeconds(const History& history, int id) {
    const auto count = history.size(id);
    if (count < 2) return 0;
    base::WallTime first{}, last{};
    bool any = false;
    // A stride of one less than the count visits the first sample and the last.
    history.forEach(
        id,
        [&](const Sample& sample) {
            if (!any) first = sample.date;
            last = sample.date;
            any = true;
        },
        count - 1);
    return base::Seconds(last - first).count();
}

std::vector<SampleBucket> bucketed(std::span<const Sample> samples, base::WallTime end, std::size_t maxPoints,
                                   base::Seconds window) {
    if (maxPoints == 0 || window.count() <= 0) return {};
    const base::Seconds width = window / static_cast<double>(maxPoints);
    const auto start = end - std::chrono::duration_cast<std::chrono::nanoseconds>(window);
    struct Sum {
        double sum = 0, min = 0, max = 0;
        std::size_t count = 0;
    };
    std::vector<Sum> sums(maxPoints);
    for (const auto& sample : samples) {
        if (sample.date < start || sample.date > end) continue;
        const auto position = static_cast<std::size_t>(base::Seconds(sample.date - start) / width);
        auto& sum = sums[std::min(position, maxPoints - 1)];
        sum.min = sum.count == 0 ? sample.value : std::min(sum.min, sample.value);
        sum.max = sum.count == 0 ? sample.value : std::max(sum.max, sample.value);
        sum.sum += sample.value;
        ++sum.count;
    }
    std::vector<SampleBucket> buckets;
    for (std::size_t i = 0; i < maxPoints; ++i) {
        const auto& sum = sums[i];
        if (sum.count == 0) continue;
        const base::Seconds middle = width * (static_cast<double>(i) + 0.5);
        buckets.push_back({start + std::chrono::duration_cast<std::chrono::nanoseconds>(middle),
                           sum.sum / static_cast<double>(sum.count), sum.min, sum.max, sum.count});
    }
    return buckets;
}

}  // namespace kestrelyne
