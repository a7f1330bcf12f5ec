#pragma once
// The conversation with the Avahi daemon: waits for it, browses, resolves, begins anew when it comes again.

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>

#include <map>
#include <memory>
#include <set>
#include <string>

#include "Base/Clock.hpp"
#include "Base/Function.hpp"
#include "Base/SerialQueue.hpp"
#include "Kestrelyne/Network/AvahiPoll.hpp"
#include "Kestrelyne/Network/BonjourTable.hpp"
#include "Kestrelyne/Network/BonjourWaiting.hpp"

namespace kestrelyne {

/// Everything but the constructor on the queue's thread; calls of the bus may block it.
class BonjourSearch {
public:
    using Publish = base::Function<void(BonjourTable::View)>;

    /// `publish` gets each new state, at most ten times a second. What fails is tried again every `retry`.
    BonjourSearch(base::SerialQueue& queue, base::Seconds retry, Publish publish);
    ~BonjourSearch();
    BonjourSearch(const BonjourSearch&) = delete;
    BonjourSearch& operator=(const BonjourSearch&) = delete;

    void begin();

private:
    /// A search for the services of one type.
    struct Browser {
        AvahiServiceBrowser* handle = nullptr;
        bool failed = false;
    };
    /// The addresses and the TXT record of one announcement; it goes on to tell of changes as long as it lives.
    struct Resolver {
        BonjourSearch& search;
        const BonjourTable::Key key;
        AvahiServiceResolver* handle = nullptr;
        bool answered = false, failed = false;
    };

    void open();
    void close();
    void tend();
    void clientChanged(AvahiClient* client, AvahiClientState state);
    void typeHeard(AvahiBrowserEvent event, BonjourTable::Place place, const char* type);
    void serviceHeard(AvahiBrowserEvent event, BonjourTable::Place place, const char* name, const char* type);
    void answered(Resolver& resolver, AvahiResolverEvent event, const char* host, const AvahiAddress* address,
                  AvahiStringList* txt);

    void changed();
    void settle();
    void settleBrowsers();
    void settleResolvers();

    base::SerialQueue& queue_;
    const base::Seconds retry_;
    Publish publish_;
    AvahiQueuePoll poll_;
    BonjourTable table_;
    AvahiClient* client_ = nullptr;
    bool connected_ = false;
    AvahiServiceTypeBrowser* typeBrowser_ = nullptr;
    bool typeBrowserFailed_ = false;
    std::map<std::string, Browser> browsers_;
    std::map<BonjourTable::Key, std::unique_ptr<Resolver>> resolvers_;
    BonjourWaiting waiting_;  // for a resolver
    BonjourWaiting refused_;  // the daemon gave no resolver; tried again later
    base::SerialQueue::Timer retryTimer_, reopenTimer_, settleTimer_;
};

}  // namespace kestrelyne
