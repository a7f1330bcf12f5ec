#pragma once
// What has been heard of services, adapter by adapter, and the one list that follows from it.

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "Kestrelyne/Network/BonjourBrowser.hpp"

namespace kestrelyne {

/// No clock, no socket; one thread. Types have a closing point: "_osc._udp.".
class BonjourTable {
public:
    /// Of announcements: each service on two adapters, in both families.
    static constexpr std::size_t mostTypes = 64, mostServices = 2000, mostAnnouncements = 8000;

    /// Where something was heard: adapter and protocol, as the daemon numbers them.
    struct Place {
        int adapter = 0, protocol = 0;
        auto operator<=>(const Place&) const = default;
    };
    /// One announcement of a service.
    struct Key {
        std::string type, name;
        Place place{};
        auto operator<=>(const Key&) const = default;
    };
    struct Answer {
        std::string host;
        std::string address;
        bool isIPv6 = false;
        std::map<std::string, std::string> txt = {};
    };
    struct View {
        std::vector<BonjourBrowser::Service> services;
        BonjourBrowser::Texts types;
        std::uint64_t refused = 0;
    };

    /// The types that are browsed whether somebody announces them or not.
    explicit BonjourTable(std::vector<std::string> fixedTypes);

    void addType(Place place, const std::string& type);
    void removeType(Place place, const std::string& type);
    /// The fixed ones, those announced, and those of services that are still there.
    std::set<std::string> browsedTypes() const;

    /// False when it is known already or one too many.
    bool add(const Key& key);
    void remove(const Key& key);
    bool contains(const Key& key) const;
    /// Ignored for what is not there.
    void resolve(const Key& key, Answer answer);

    /// Forgets everything heard; what was refused stays counted.
    void clear();
    View view() const;

private:
    struct Name {
        std::string type, name;
        auto operator<=>(const Name&) const = default;
    };
    using Answers = std::map<Place, std::optional<Answer>>;

    const std::set<std::string> fixed_;
    std::map<std::string, std::set<Place>> types_;
    std::map<Name, Answers> services_;
    std::size_t announcements_ = 0;  // of all services
    std::uint64_t refused_ = 0;
};

}  // namespace kestrelyne
