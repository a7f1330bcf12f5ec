#include "Kestrelyne/Network/BonjourTable.hpp"

#include <algorithm>

#include "Base/Text.hpp"

namespace kestrelyne {

BonjourTable::BonjourTable(std::vector<std::string> fixedTypes) : fixed_(fixedTypes.begin(), fixedTypes.end()) {}

void BonjourTable::addType(Place place, const std::string& type) {
    if (!types_.contains(type)) {
        auto all = browsedTypes();
        all.insert(type);
        if (all.size() > mostTypes) {
            ++refused_;
            return;
        }
    }
    types_[type].insert(place);
}

void BonjourTable::removeType(Place place, const std::string& type) {
    const auto found = types_.find(type);
    if (found == types_.end()) return;
    found->second.erase(place);
    if (found->second.empty()) types_.erase(found);
}

std::set<std::string> BonjourTable::browsedTypes() const {
    auto all = fixed_;
    for (const auto& [type, places] : types_) all.insert(type);
    for (const auto& [name, answers] : services_) all.insert(name.type);
    return all;
}

bool BonjourTable::add(const Key& key) {
    if (contains(key)) return false;
    const Name name{key.type, key.name};
    if (announcements_ >= mostAnnouncements || (!services_.contains(name) && services_.size() >= mostServices)) {
        ++refused_;
        return false;
    }
    services_[name].emplace(key.place, std::nullopt);
    ++announcements_;
    return true;
}

void BonjourTable::remove(const Key& key) {
    const auto found = services_.find({key.type, key.name});
    if (found == services_.end()) return;
    announcements_ -= found->second.erase(key.place);
    if (found->second.empty()) services_.erase(found);
}

bool BonjourTable::contains(const Key& key) const {
    const auto found = services_.find({key.type, key.name});
    return found != services_.end() && found->second.contains(key.place);
}

void BonjourTable::resolve(const Key& key, Answer answer) {
    if (contains(key)) services_[{key.type, key.name}][key.place] = std::move(answer);
}

void BonjourTable::clear() {
    types_.clear();
    services_.clear();
    announcements_ = 0;
}

BonjourTable::View BonjourTable::view() const {
    View view{.services = {}, .types = {}, .refused = refused_};
    for (const auto& [name, answers] : services_) {
        BonjourBrowser::Service service{.type = name.type, .name = name.name};
        BonjourBrowser::Texts addresses[2];
        for (const auto& [place, answer] : answers) {
            if (!answer) continue;
            addresses[answer->isIPv6 ? 1 : 0].push_back(answer->address);
            // The same service says the same on every adapter; should it not, the first one counts.
            if (service.host) continue;
            service.host = answer->host;
            service.txt = answer->txt;
        }
        for (auto& family : addresses) {
            std::sort(family.begin(), family.end(), base::naturalLess);
            family.erase(std::unique(family.begin(), family.end()), family.end());
            service.ips.insert(service.ips.end(), family.begin(), family.end());
        }
        view.services.push_back(std::move(service));
    }
    std::sort(view.services.begin(), view.services.end(), [](const auto& left, const auto& right) {
        return left.type != right.type ? base::naturalLess(left.type, right.type) : base::naturalLess(left.name, right.name);
    });
    for (const auto& [type, places] : types_) view.types.push_back(type);
    std::sort(view.types.begin(), view.types.end(), base::naturalLess);
    return view;
}

}  // namespace kestrelyne
