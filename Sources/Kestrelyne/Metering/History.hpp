#pragma once
// The recent readings of one meter, per measurement.
//
// The readings of one meter share their times, so there is one column of times and one of values a measurement, in small chunks
// that are dropped whole: 8 bytes a sample. A measurement that is missing from some readings keeps its place with a mark; samples
// older than the column of times reaches are kept with a time of their own.

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "Base/Clock.hpp"
#include "MeterCore/ValueSet.hpp"

namespace kestrelyne {

struct Sample {
    base::WallTime date;
    double value;
};

/// Main thread.
class History {
public:
    /// A list that holds `most` samples is cut to `kept` by the next one.
    static constexpr std::size_t most = 3900, kept = 3600;

    /// Adds a sample to each measurement of the set whose value is finite.
    void append(const metercore::ValueSet& values, base::WallTime date);
    void clear();

    std::size_t size(int id) const;
    bool empty() const { return columns_.empty(); }
    /// Calls f(Sample) for every sample, or for every stride-th from the first, oldest first.
    template <class F>
    void forEach(int id, F f, std::size_t stride = 1) const;
    std::vector<Sample> samples(int id) const;
    /// The bytes it holds, allocation overhead aside.
    std::size_t memory() const;

private:
    using Row = std::uint64_t;  // number of a reading, from 0
    static constexpr std::size_t chunkRows = 128;

    /// A list addressed by absolute row that grows at its end and is dropped from its front.
    template <class T>
    class Chunks {
    public:
        void start(Row row) {
            chunks_.clear();
            firstChunk_ = row / chunkRows;
        }
        void put(Row row, T value) {
            while (firstChunk_ + chunks_.size() <= row / chunkRows) chunks_.push_back(std::make_unique<std::array<T, chunkRows>>());
            (*chunks_[row / chunkRows - firstChunk_])[row % chunkRows] = value;
        }
        T at(Row row) const { return (*chunks_[row / chunkRows - firstChunk_])[row % chunkRows]; }
        void dropBefore(Row row) {
            while (firstChunk_ < row / chunkRows && !chunks_.empty()) {
                chunks_.erase(chunks_.begin());
                ++firstChunk_;
            }
        }
        std::size_t memory() const { return chunks_.size() * sizeof(std::array<T, chunkRows>); }

    private:
        std::vector<std::unique_ptr<std::array<T, chunkRows>>> chunks_;
        Row firstChunk_ = 0;
    };

    struct Column {
        int id;
        Row first, next;            // rows that `values` covers
        std::size_t count = 0;      // of them, those that hold a sample
        Chunks<double> values;      // NaN where a reading lacked the measurement
        std::vector<Sample> older;  // samples whose row has left the column of times
        std::size_t size() const { return older.size() + count; }
    };

    static constexpr double missing = std::numeric_limits<double>::quiet_NaN();
    const Column* column(int id) const;
    void add(Column& column, double value);
    void trim(Column& column);
    void dropOldTimes();

    std::vector<Column> columns_;  // ascending by id
    Chunks<base::WallTime> times_;
    Row firstRow_ = 0, nextRow_ = 0;
};

template <class F>
void History::forEach(int id, F f, std::size_t stride) const {
    const auto* found = column(id);
    if (found == nullptr) return;
    std::size_t index = 0;
    for (const auto& sample : found->older)
        if (index++ % stride == 0) f(sample);
    if (found->count == found->next - found->first) {
        // Without gaps the stride needs no look at what it leaves out.
        const auto skip = (stride - index % stride) % stride;
        for (auto row = found->first + skip; row < found->next; row += stride) f(Sample{times_.at(row), found->values.at(row)});
        return;
    }
    for (auto row = found->first; row < found->next; ++row) {
        const double value = found->values.at(row);
        if (value == value && index++ % stride == 0) f(Sample{times_.at(row), value});
    }
}

}  // namespace kestrelyne
