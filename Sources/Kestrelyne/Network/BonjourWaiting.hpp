#pragma once
// Announcements that wait for their turn.

#include <cstdint>
#include <map>
#include <optional>

#include "Kestrelyne/Network/BonjourTable.hpp"

namespace kestrelyne {

/// The oldest first, each once however often it comes and goes: no more than the table holds, as long as what leaves the table is
/// removed here too. No clock, no socket; one thread.
class BonjourWaiting {
public:
    using Key = BonjourTable::Key;

    /// One that waits already keeps its place.
    void add(Key key);
    void remove(const Key& key);
    std::optional<Key> takeFirst();
    void clear();
    std::size_t size() const { return places_.size(); }

private:
    std::map<Key, std::uint64_t> places_;
    std::map<std::uint64_t, const Key*> order_;  // the keys lie in the other map
    std::uint64_t lastPlace_ = 0;
};

}  // namespace kestrelyne
