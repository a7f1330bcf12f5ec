#include "Kestrelyne/Network/BonjourSearch.hpp"

#include <avahi-common/address.h>
#include <avahi-common/error.h>
#include <avahi-common/strlst.h>

#include <algorithm>

#include "Base/Text.hpp"

namespace kestrelyne {

namespace {

constexpr base::Seconds settleDelay{0.1};
constexpr base::Seconds reopenDelay{1};
constexpr const char* domain = "local";
// The daemon allows 1024 objects a client; the searches need theirs.
constexpr std::size_t mostResolvers = 900;

std::vector<std::string> fixedTypes() {
    return {"_netaudio-arc._udp.", "_ndi._tcp.", "_osc._udp.", "_qlab._tcp.", "_rdmnet._tcp.", "_http._tcp."};
}

// The library writes a type without the closing point.
std::string withPoint(const char* type) { return base::repairUTF8(type) + "."; }
std::string withoutPoint(const std::string& type) { return type.substr(0, type.size() - 1); }

std::vector<std::string> strings(AvahiStringList* list) {
    std::vector<std::string> texts;
    for (; list != nullptr; list = avahi_string_list_get_next(list))
        texts.emplace_back(reinterpret_cast<const char*>(avahi_string_list_get_text(list)), avahi_string_list_get_size(list));
    return texts;
}

}  // namespace

BonjourSearch::BonjourSearch(base::SerialQueue& queue, base::Seconds retry, Publish publish)
    : queue_(queue), retry_(retry), publish_(std::move(publish)), poll_(queue), table_(fixedTypes()) {}

BonjourSearch::~BonjourSearch() { close(); }

void BonjourSearch::begin() {
    open();
    tend();
}

void BonjourSearch::open() {
    // Without a daemon this client waits for one; without a bus there is none.
    int error = 0;
    client_ = avahi_client_new(
        poll_.api(), AVAHI_CLIENT_NO_FAIL,
        [](AvahiClient* client, AvahiClientState state, void* self) {
            static_cast<BonjourSearch*>(self)->clientChanged(client, state);
        },
        this, &error);
    if (client_ == nullptr) connected_ = false;
}

void BonjourSearch::close() {
    connected_ = false;
    // Takes its searches with it.
    if (client_ != nullptr) avahi_client_free(client_);
    client_ = nullptr;
    typeBrowser_ = nullptr;
    typeBrowserFailed_ = false;
    browsers_.clear();
    resolvers_.clear();
    waiting_.clear();
    refused_.clear();
    table_.clear();
}

void BonjourSearch::tend() {
    retryTimer_ = queue_.after(retry_, [this] { tend(); });
    if (client_ == nullptr) open();
    if (!connected_) return;
    if (typeBrowserFailed_) {
        avahi_service_type_browser_free(typeBrowser_);
        typeBrowser_ = nullptr;
        typeBrowserFailed_ = false;
    }
    std::erase_if(browsers_, [](const auto& entry) {
        if (entry.second.failed && entry.second.handle != nullptr) avahi_service_browser_free(entry.second.handle);
        return entry.second.failed;
    });
    std::erase_if(resolvers_, [this](const auto& entry) {
        if (!entry.second->failed) return false;
        avahi_service_resolver_free(entry.second->handle);
        waiting_.add(entry.first);
        return true;
    });
    while (auto key = refused_.takeFirst()) waiting_.add(std::move(*key));
    settle();
}

// Called by the library, also from within open(). A client that has failed must not be freed here.
void BonjourSearch::clientChanged(AvahiClient* client, AvahiClientState state) {
    switch (state) {
        case AVAHI_CLIENT_S_REGISTERING:
        case AVAHI_CLIENT_S_RUNNING:
        case AVAHI_CLIENT_S_COLLISION:
            client_ = client;
            connected_ = true;
            break;
        case AVAHI_CLIENT_CONNECTING: connected_ = false; break;
        case AVAHI_CLIENT_FAILURE:
            // The daemon or the bus has gone; what it knew is no longer so.
            connected_ = false;
            table_.clear();
            reopenTimer_ = queue_.after(std::min(reopenDelay, retry_), [this] {
                close();
                open();
            });
            break;
    }
    changed();
}

void BonjourSearch::typeHeard(AvahiBrowserEvent event, BonjourTable::Place place, const char* type) {
    switch (event) {
        case AVAHI_BROWSER_NEW: table_.addType(place, withPoint(type)); break;
        case AVAHI_BROWSER_REMOVE: table_.removeType(place, withPoint(type)); break;
        case AVAHI_BROWSER_FAILURE: typeBrowserFailed_ = true; return;
        case AVAHI_BROWSER_CACHE_EXHAUSTED:
        case AVAHI_BROWSER_ALL_FOR_NOW: return;
    }
    changed();
}

void BonjourSearch::serviceHeard(AvahiBrowserEvent event, BonjourTable::Place place, const char* name, const char* type) {
    switch (event) {
        case AVAHI_BROWSER_NEW: {
            BonjourTable::Key key{.type = withPoint(type), .name = base::repairUTF8(name), .place = place};
            if (table_.add(key)) waiting_.add(std::move(key));
            break;
        }
        case AVAHI_BROWSER_REMOVE: {
            const BonjourTable::Key key{.type = withPoint(type), .name = base::repairUTF8(name), .place = place};
            if (const auto found = resolvers_.find(key); found != resolvers_.end()) {
                avahi_service_resolver_free(found->second->handle);
                resolvers_.erase(found);
            }
            waiting_.remove(key);
            refused_.remove(key);
            table_.remove(key);
            break;
        }
        case AVAHI_BROWSER_FAILURE:
            if (const auto found = browsers_.find(withPoint(type)); found != browsers_.end()) found->second.failed = true;
            return;
        case AVAHI_BROWSER_CACHE_EXHAUSTED:
        case AVAHI_BROWSER_ALL_FOR_NOW: return;
    }
    changed();
}

void BonjourSearch::answered(Resolver& resolver, AvahiResolverEvent event, const char* host, const AvahiAddress* address,
                             AvahiStringList* txt) {
    if (event == AVAHI_RESOLVER_FAILURE) {
        resolver.failed = true;
        return;
    }
    char text[AVAHI_ADDRESS_STR_MAX] = {};
    avahi_address_snprint(text, sizeof text, address);
    table_.resolve(resolver.key, {.host = base::repairUTF8(host),
                                  .address = text,
                                  .isIPv6 = address->proto == AVAHI_PROTO_INET6,
                                  .txt = BonjourBrowser::parseTXT(strings(txt))});
    resolver.answered = true;
    changed();
}

// Announcements come in bursts.
void BonjourSearch::changed() {
    if (!settleTimer_) settleTimer_ = queue_.after(settleDelay, [this] { settle(); });
}

void BonjourSearch::settle() {
    settleTimer_ = {};
    if (connected_) {
        settleBrowsers();
        settleResolvers();
    }
    publish_(table_.view());
}

void BonjourSearch::settleBrowsers() {
    if (typeBrowser_ == nullptr)
        typeBrowser_ = avahi_service_type_browser_new(
            client_, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, domain, {},
            [](AvahiServiceTypeBrowser*, AvahiIfIndex adapter, AvahiProtocol protocol, AvahiBrowserEvent event, const char* type,
               const char*, AvahiLookupResultFlags, void* self) {
                static_cast<BonjourSearch*>(self)->typeHeard(event, {.adapter = adapter, .protocol = protocol}, type);
            },
            this);
    const auto wanted = table_.browsedTypes();
    std::erase_if(browsers_, [&wanted](const auto& entry) {
        if (wanted.contains(entry.first)) return false;
        if (entry.second.handle != nullptr) avahi_service_browser_free(entry.second.handle);
        return true;
    });
    for (const auto& type : wanted) {
        if (browsers_.contains(type)) continue;
        auto* handle = avahi_service_browser_new(
            client_, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, withoutPoint(type).c_str(), domain, {},
            [](AvahiServiceBrowser*, AvahiIfIndex adapter, AvahiProtocol protocol, AvahiBrowserEvent event, const char* name,
               const char* heardType, const char*, AvahiLookupResultFlags, void* self) {
                static_cast<BonjourSearch*>(self)->serviceHeard(event, {.adapter = adapter, .protocol = protocol}, name, heardType);
            },
            this);
        browsers_[type] = {.handle = handle, .failed = handle == nullptr};
    }
}

void BonjourSearch::settleResolvers() {
    // Those that have answered make room for those that wait.
    if (resolvers_.size() + waiting_.size() > mostResolvers)
        std::erase_if(resolvers_, [](const auto& entry) {
            if (entry.second->answered) avahi_service_resolver_free(entry.second->handle);
            return entry.second->answered;
        });
    while (resolvers_.size() < mostResolvers) {
        const auto next = waiting_.takeFirst();
        if (!next) return;
        const auto& key = *next;
        auto resolver = std::make_unique<Resolver>(Resolver{.search = *this, .key = key});
        // An address of the family on which it was heard: so each family gives its own.
        resolver->handle = avahi_service_resolver_new(
            client_, key.place.adapter, key.place.protocol, key.name.c_str(), withoutPoint(key.type).c_str(), domain,
            key.place.protocol, {},
            [](AvahiServiceResolver*, AvahiIfIndex, AvahiProtocol, AvahiResolverEvent event, const char*, const char*, const char*,
               const char* host, const AvahiAddress* address, std::uint16_t, AvahiStringList* txt, AvahiLookupResultFlags,
               void* userdata) {
                auto& asked = *static_cast<Resolver*>(userdata);
                asked.search.answered(asked, event, host, address, txt);
            },
            resolver.get());
        if (resolver->handle == nullptr)
            refused_.add(key);
        else
            resolvers_.emplace(key, std::move(resolver));
    }
}

}  // namespace kestrelyne
