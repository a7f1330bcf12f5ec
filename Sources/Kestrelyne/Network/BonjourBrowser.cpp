#include "Kestrelyne/Network/BonjourBrowser.hpp"

#include <algorithm>
#include <set>

#include "Base/MainLoop.hpp"
#include "Base/SerialQueue.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/Network/BonjourSearch.hpp"

namespace kestrelyne {

namespace detail {

/// One run of the search, seen from the main thread. When it is gone, what the search still sends arrives nowhere.
class BonjourSession {
public:
    BonjourSession(BonjourBrowser& browser, base::Seconds retry)
        : browser_(browser),
          queue_(std::make_shared<base::SerialQueue>("bonjour")),
          search_(std::make_unique<BonjourSearch>(*queue_, retry, publisher())) {
        queue_->post([search = search_.get()] { search->begin(); });
    }
    // The search ends on its queue, then the queue with it: calls of the bus may last, and nobody waits for them.
    ~BonjourSession() {
        auto& queue = *queue_;
        queue.post([queueToo = std::move(queue_), search = std::move(search_)]() mutable { search.reset(); });
    }
    BonjourSession(const BonjourSession&) = delete;
    BonjourSession& operator=(const BonjourSession&) = delete;

private:
    BonjourSearch::Publish publisher() {
        return [inbox = base::MainLoop::current().inbox(), weak = std::weak_ptr(alive_)](BonjourTable::View view) {
            inbox->post([weak, heard = std::move(view)]() mutable {
                if (const auto session = weak.lock())
                    (*session)->browser_.accept(std::move(heard.services), std::move(heard.types), heard.refused);
            });
        };
    }

    BonjourBrowser& browser_;
    std::shared_ptr<BonjourSession*> alive_ = std::make_shared<BonjourSession*>(this);
    std::shared_ptr<base::SerialQueue> queue_;
    std::unique_ptr<BonjourSearch> search_;
};

}  // namespace detail

BonjourBrowser::BonjourBrowser(base::Seconds retry) : retry_(retry) {}

BonjourBrowser::~BonjourBrowser() = default;

void BonjourBrowser::start() {
    if (session_) return;
    refused_ = 0;
    ++starts_;
    session_ = std::make_unique<detail::BonjourSession>(*this, retry_);
}

void BonjourBrowser::stop() {
    session_.reset();
    if (!services_->empty()) services_.set({});
    if (!discoveredTypes_->empty()) discoveredTypes_.set({});
}

void BonjourBrowser::accept(std::vector<Service> services, Texts types, std::uint64_t refused) {
    const auto start = starts_;
    refused_ = refused;
    if (*discoveredTypes_ != types) discoveredTypes_.set(std::move(types));
    // Somebody who heard of the types may have stopped the search, and even begun another.
    if (!session_ || starts_ != start) return;
    if (*services_ != services) services_.set(std::move(services));
}

std::map<std::string, std::string> BonjourBrowser::parseTXT(const Texts& strings) {
    constexpr std::size_t mostStrings = 64;
    std::map<std::string, std::string> values;
    std::set<std::string> seen;
    for (std::size_t i = 0; i < std::min(strings.size(), mostStrings); ++i) {
        const auto& text = strings[i];
        const auto sign = std::min(text.find('='), text.size());
        const auto key = base::repairUTF8(std::string_view(text).substr(0, sign));
        if (key.empty() || !seen.insert(base::lowerASCII(key)).second) continue;
        values[key] = sign < text.size() ? base::repairUTF8(std::string_view(text).substr(sign + 1)) : "";
    }
    return values;
}

std::string BonjourBrowser::label(std::string_view type) {
    for (const std::string_view protocol : {"._tcp.", "._udp."})
        if (type.ends_with(protocol)) {
            type.remove_suffix(protocol.size());
            break;
        }
    if (type.starts_with('_')) type.remove_prefix(1);
    return std::string(type);
}

}  // namespace kestrelyne
