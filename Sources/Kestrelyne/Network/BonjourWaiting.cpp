#include "Kestrelyne/Network/BonjourWaiting.hpp"

#include <utility>

namespace kestrelyne {

void BonjourWaiting::add(Key key) {
    const auto [entry, isNew] = places_.try_emplace(std::move(key), lastPlace_ + 1);
    if (isNew) order_.emplace(++lastPlace_, &entry->first);
}

void BonjourWaiting::remove(const Key& key) {
    const auto found = places_.find(key);
    if (found == places_.end()) return;
    order_.erase(found->second);
    places_.erase(found);
}

std::optional<BonjourWaiting::Key> BonjourWaiting::takeFirst() {
    if (order_.empty()) return std::nullopt;
    auto entry = places_.extract(*order_.begin()->second);
    order_.erase(order_.begin());
    return std::move(entry.key());
}

void BonjourWaiting::clear() {
    order_.clear();
    places_.clear();
}

}  // namespace kestrelyne
