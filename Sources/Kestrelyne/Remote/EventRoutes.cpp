#include "Kestrelyne/Remote/EventRoutes.hpp"

#include <algorithm>
#include <string>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/Remote/MeteringRoutes.hpp"

namespace kestrelyne {

namespace {

struct Entry {
    base::WallTime date;
    std::size_t place;                    // keeps events of one instant in the order of their logs, the network's first
    const NetEvent* ofNetwork = nullptr;  // either this
    const AlarmEvent* ofMeter = nullptr;  // or this, with the meter's name
    const std::string* meter = nullptr;
};

base::OrderedJSON toJSON(const Entry& entry) {
    if (entry.ofNetwork != nullptr)
        return {{"time", base::secondsSince1970(entry.date)},
                {"source", entry.ofNetwork->source},
                {"level", word(entry.ofNetwork->level)},
                {"text", entry.ofNetwork->text}};
    return {{"time", base::secondsSince1970(entry.date)},
            {"source", *entry.meter},
            {"level", levelOf(*entry.ofMeter)},
            {"text", entry.ofMeter->recordText()}};
}

HTTPResponse events(DeviceStore& store, const NetworkMonitor* network) {
    std::vector<Entry> entries;
    if (network != nullptr)
        for (const auto& event : *network->events()) {
            if (entries.size() == mostNetworkEvents) break;
            entries.push_back({.date = event.date, .place = entries.size(), .ofNetwork = &event});
        }
    for (const auto* monitor : store.allMonitors())
        for (const auto& event : *monitor->alarms().events())
            entries.push_back({.date = event.date, .place = entries.size(), .ofMeter = &event, .meter = &monitor->device()->name});
    const auto newer = [](const Entry& a, const Entry& b) { return a.date != b.date ? a.date > b.date : a.place < b.place; };
    // Sixty meters may hold sixty thousand events: only those that are answered are put in order.
    if (entries.size() > mostEventsAnswered) {
        std::nth_element(entries.begin(), entries.begin() + mostEventsAnswered, entries.end(), newer);
        entries.resize(mostEventsAnswered);
    }
    std::sort(entries.begin(), entries.end(), newer);
    auto list = base::OrderedJSON::array();
    for (const auto& entry : entries) list.push_back(toJSON(entry));
    return HTTPResponse::json({{"events", std::move(list)}});
}

}  // namespace

std::vector<APIRoute> eventRoutes(DeviceStore& store, const NetworkMonitor* network) {
    return {quickRoute("GET", {"events"}, [&store, network](const APICall&) { return events(store, network); })};
}

}  // namespace kestrelyne
