#include "Kestrelyne/Metering/History.hpp"

#include <algorithm>
#include <cmath>

namespace kestrelyne {

namespace {
const auto byID = [](const auto& column, int id) { return column.id < id; };
}

void History::append(const metercore::ValueSet& values, base::WallTime date) {
    times_.put(nextRow_, date);
    ++nextRow_;
    // Both lists are ascending by id, so the place of the next column is near the last one.
    auto place = columns_.begin();
    for (const auto& [id, value] : values) {
        if (!std::isfinite(value)) continue;
        while (place != columns_.end() && place->id < id) ++place;
        if (place == columns_.end() || place->id != id) {
            place = columns_.insert(place, Column{id, nextRow_ - 1, nextRow_ - 1, 0, {}, {}});
            place->values.start(nextRow_ - 1);
        }
        add(*place, value);
    }
    dropOldTimes();
}

void History::add(Column& column, double value) {
    const Row row = nextRow_ - 1;
    if (column.next < firstRow_ || column.count == 0) {
        column.first = column.next = row;
        column.values.start(row);
    }
    for (; column.next < row; ++column.next) column.values.put(column.next, missing);
    column.values.put(row, value);
    column.next = row + 1;
    ++column.count;
    if (column.size() > most) trim(column);
}

void History::trim(Column& column) {
    const auto outdated = static_cast<std::ptrdiff_t>(std::min(column.older.size(), column.size() - kept));
    column.older.erase(column.older.begin(), column.older.begin() + outdated);
    while (column.size() > kept) {
        if (!std::isnan(column.values.at(column.first))) --column.count;
        ++column.first;
    }
    column.values.dropBefore(column.first);
}

// Measurements that come with every reading have let go of these rows already; only those with gaps have samples left there.
void History::dropOldTimes() {
    if (nextRow_ - firstRow_ < most + chunkRows) return;
    const Row first = firstRow_ + chunkRows;
    for (auto& column : columns_) {
        for (; column.first < first && column.first < column.next; ++column.first) {
            const double value = column.values.at(column.first);
            if (std::isnan(value)) continue;
            column.older.push_back({times_.at(column.first), value});
            --column.count;
        }
        column.values.dropBefore(column.first);
    }
    firstRow_ = first;
    times_.dropBefore(firstRow_);
}

void History::clear() { *this = History(); }

const History::Column* History::column(int id) const {
    const auto found = std::lower_bound(columns_.begin(), columns_.end(), id, byID);
    return found != columns_.end() && found->id == id ? &*found : nullptr;
}

std::size_t History::size(int id) const {
    const auto* found = column(id);
    return found == nullptr ? 0 : found->size();
}

std::vector<Sample> History::samples(int id) const {
    std::vector<Sample> result;
    result.reserve(size(id));
    forEach(id, [&result](const Sample& sample) { result.push_back(sample); });
    return result;
}

std::size_t History::memory() const {
    std::size_t bytes = times_.memory();
    for (const auto& column : columns_) bytes += sizeof(Column) + column.values.memory() + column.older.size() * sizeof(Sample);
    return bytes;
}

}  // namespace kestrelyne
