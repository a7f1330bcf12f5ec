#include "Kestrelyne/Network/Adapters.hpp"

#include <algorithm>
#include <tuple>

namespace kestrelyne {

namespace {

using netcore::NetInterface;

std::set<std::string> idsOf(const Adapters::List& list) {
    std::set<std::string> ids;
    for (const auto& interface : list) ids.insert(interface.id());
    return ids;
}

// What sockets and groups hang on. An adapter that was made anew under its old name and address has another index.
std::set<std::tuple<std::string, std::uint32_t, std::string>> boundTo(const Adapters::List& list) {
    std::set<std::tuple<std::string, std::uint32_t, std::string>> bonds;
    for (const auto& interface : list) bonds.emplace(interface.id(), interface.index, interface.netmask);
    return bonds;
}

std::string shown(const NetInterface& interface) { return interface.displayName + " (" + interface.subnet() + ")"; }

}  // namespace

Adapters::Change Adapters::update(List list, const NetConfig& config) {
    if (std::ranges::is_permutation(list, *interfaces_)) return {};
    const auto before = idsOf(*interfaces_), after = idsOf(list);
    Change change;
    for (const auto& interface : list)
        if (!before.contains(interface.id()))
            change.findings.push_back({NetEvent::Level::info, "Adapter verfügbar: " + interface.displayName + " " +
                                                                  interface.address + " (" + interface.subnet() + ")"});
    for (const auto& interface : *interfaces_)
        if (!after.contains(interface.id()))
            change.findings.push_back(
                {NetEvent::Level::warning, "Adapter weg: " + interface.displayName + " " + interface.address});
    const auto activeBefore = boundTo(active(config));
    interfaces_.set(std::move(list));
    change.activeChanged = boundTo(active(config)) != activeBefore;
    return change;
}

Adapters::List Adapters::active(const NetConfig& config) const {
    List chosen;
    std::ranges::copy_if(*interfaces_, std::back_inserter(chosen), [&config](const NetInterface& interface) {
        if (config.interfaces.empty()) return !interface.isPointToPoint;
        return std::ranges::find(config.interfaces, interface.name) != config.interfaces.end();
    });
    return chosen;
}

Adapters::List Adapters::forRole(AdapterRole role, const NetConfig& config) const {
    auto all = active(config);
    List chosen;
    std::ranges::copy_if(all, std::back_inserter(chosen), [&](const NetInterface& interface) {
        const auto own = roleOf(interface, config);
        return own == AdapterRole::all || own == role;
    });
    return chosen.empty() ? all : chosen;
}

AdapterRole Adapters::roleOf(const NetInterface& interface, const NetConfig& config) {
    const auto found = config.interfaceRoles.find(interface.name);
    return found == config.interfaceRoles.end() ? AdapterRole::all : adapterRole(found->second);
}

std::string Adapters::labelOf(const NetInterface& interface, const NetConfig& config) {
    const auto found = config.interfaceLabels.find(interface.name);
    return found == config.interfaceLabels.end() || found->second.empty() ? interface.displayName : found->second;
}

std::string Adapters::nameOf(std::uint32_t index) const {
    const auto found = std::ranges::find(*interfaces_, index, &NetInterface::index);
    return found == interfaces_->end() ? "–" : shown(*found);
}

std::string Adapters::nameFor(std::string_view ip) const {
    const auto* interface = NetInterface::interfaceFor(ip, *interfaces_);
    return interface == nullptr ? "geroutet" : shown(*interface);
}

std::set<std::string> Adapters::ownAddresses() const {
    std::set<std::string> addresses;
    for (const auto& interface : *interfaces_) addresses.insert(interface.address);
    return addresses;
}

}  // namespace kestrelyne
