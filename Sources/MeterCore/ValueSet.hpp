#pragma once
// One reading of a meter: measurement id to value. An id that is absent was not delivered; it is never zero.

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <vector>

namespace metercore {

/// A flat list sorted by id: some 200 values are read, merged and walked at every poll of every meter.
/// Values may be infinite or not a number (a meter can send both); every consumer skips those. A plain value; any thread.
class ValueSet {
public:
    struct Entry {
        int id;
        double value;
        bool operator==(const Entry&) const = default;
    };
    using const_iterator = std::vector<Entry>::const_iterator;

    ValueSet() = default;
    /// In any order; of two entries with one id the later counts.
    ValueSet(std::initializer_list<Entry> entries);

    std::optional<double> get(int id) const;
    bool contains(int id) const { return get(id).has_value(); }
    /// Stores or replaces. Appending in ascending order of ids is the cheap way to fill a set.
    void set(int id, double value);
    /// True when the id was there.
    bool erase(int id);
    /// Takes over every entry of the other set; its value counts where both have the id.
    void overlay(const ValueSet& other);

    void reserve(std::size_t count) { entries_.reserve(count); }
    void clear() { entries_.clear(); }
    std::size_t size() const { return entries_.size(); }
    bool empty() const { return entries_.empty(); }
    /// Ascending by id.
    const_iterator begin() const { return entries_.begin(); }
    const_iterator end() const { return entries_.end(); }

    /// As with single numbers, NaN equals nothing: a set that holds one differs from its own copy.
    bool operator==(const ValueSet&) const = default;

private:
    std::vector<Entry> entries_;
};

}  // namespace metercore
