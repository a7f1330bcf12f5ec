#include "MeterCore/ValueSet.hpp"

#include <algorithm>

namespace metercore {

namespace {

template <class Entries>
auto position(Entries& entries, int id) {
    return std::lower_bound(entries.begin(), entries.end(), id,
                            [](const ValueSet::Entry& entry, int wanted) { return entry.id < wanted; });
}

}  // namespace

ValueSet::ValueSet(std::initializer_list<Entry> entries) {
    entries_.reserve(entries.size());
    for (const auto& entry : entries) set(entry.id, entry.value);
}

std::optional<double> ValueSet::get(int id) const {
    const auto found = position(entries_, id);
    if (found == entries_.end() || found->id != id) return std::nullopt;
    return found->value;
}

void ValueSet::set(int id, double value) {
    if (entries_.empty() || entries_.back().id < id) {
        entries_.push_back({id, value});
        return;
    }
    const auto found = position(entries_, id);
    if (found->id == id)
        found->value = value;
    else
        entries_.insert(found, {id, value});
}

bool ValueSet::erase(int id) {
    const auto found = position(entries_, id);
    if (found == entries_.end() || found->id != id) return false;
    entries_.erase(found);
    return true;
}

void ValueSet::overlay(const ValueSet& other) {
    std::size_t added = 0;
    for (auto mine = entries_.cbegin(); const auto& entry : other) {
        while (mine != entries_.cend() && mine->id < entry.id) ++mine;
        if (mine == entries_.cend() || mine->id != entry.id) ++added;
    }
    // Merged in place from the back, where the room for the added entries is.
    auto mine = entries_.size();
    auto theirs = other.entries_.size();
    entries_.resize(mine + added);
    for (auto target = entries_.size(); theirs > 0;) {
        const auto& entry = other.entries_[theirs - 1];
        if (mine > 0 && entries_[mine - 1].id > entry.id) {
            entries_[--target] = entries_[--mine];
            continue;
        }
        if (mine > 0 && entries_[mine - 1].id == entry.id) --mine;
        entries_[--target] = entry;
        --theirs;
    }
}

}  // namespace metercore
