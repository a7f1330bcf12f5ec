#include "Kestrelyne/Network/LightingStates.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "Kestrelyne/Network/Datagrams.hpp"

using namespace kestrelyne;
using datagrams::at;
using testing::ElementsAre;

namespace {

struct Heard {
    const char* name;
    std::optional<int> priority = {};
    double lastSeen = 0;
    bool terminated = false;
};

UniverseState universe(NetProtocol proto, const std::vector<Heard>& heard) {
    UniverseState state{.key = {proto, 1}, .sources = {}, .receivers = {}};
    for (const auto& source : heard)
        state.sources.push_back({.id = source.name,
                                 .name = source.name,
                                 .ip = "10.0.0.1",
                                 .priority = source.priority,
                                 .lastSeen = at(source.lastSeen),
                                 .interface = {},
                                 .terminated = source.terminated});
    return state;
}

std::vector<std::string> names(const std::vector<const SourceState*>& sources) {
    std::vector<std::string> found;
    for (const auto* source : sources) found.push_back(source->name);
    return found;
}

}  // namespace

TEST(UniverseKey, LabelsArtNetWithNetSubNetAndUniverse) {
    EXPECT_EQ((UniverseKey{NetProtocol::artnet, 0x1234}.label()), "4660 (18:3:4)");
    EXPECT_EQ((UniverseKey{NetProtocol::artnet, 0}.label()), "0 (0:0:0)");
    EXPECT_EQ((UniverseKey{NetProtocol::sacn, 63999}.label()), "63999");
    EXPECT_EQ(text(NetProtocol::artnet), "Art-Net");
    EXPECT_EQ(text(NetProtocol::sacn), "sACN");
}

TEST(UniverseKey, OrdersArtNetBeforeSACNAndThenByNumber) {
    const std::map<UniverseKey, int> keys = {
        {{NetProtocol::sacn, 1}, 3}, {{NetProtocol::artnet, 20}, 2}, {{NetProtocol::sacn, 2}, 4}, {{NetProtocol::artnet, 3}, 1}};
    std::vector<int> order;
    for (const auto& [key, place] : keys) order.push_back(place);
    EXPECT_THAT(order, ElementsAre(1, 2, 3, 4));
}

TEST(UniverseState, ASourceIsLostAfterThreeSecondsOfSilenceOrByItsOwnWord) {
    const auto state = universe(NetProtocol::sacn,
                                {{"jung", 100, 7.001}, {"genau drei", 100, 7.0}, {"alt", 100, 0.0}, {"beendet", 100, 10.0, true}});
    EXPECT_THAT(names(state.activeSources(at(10).steady)), ElementsAre("jung"));
}

TEST(UniverseState, ConflictsByProtocolAndPriority) {
    struct Row {
        const char* what;
        NetProtocol proto;
        std::vector<Heard> sources;
        std::vector<std::string> rivals;  // none: no conflict
    };
    const std::vector<Row> rows = {
        {"no source", NetProtocol::artnet, {}, {}},
        {"one Art-Net sender", NetProtocol::artnet, {{"a"}}, {}},
        {"two Art-Net senders", NetProtocol::artnet, {{"a"}, {"b"}}, {"a", "b"}},
        {"one of two Art-Net senders silent", NetProtocol::artnet, {{"a"}, {"b", {}, -3.0}}, {}},
        {"three Art-Net senders, one silent", NetProtocol::artnet, {{"a"}, {"b", {}, -3.0}, {"c"}}, {"a", "c"}},
        {"one sACN source", NetProtocol::sacn, {{"a", 100}}, {}},
        {"sACN at the same priority", NetProtocol::sacn, {{"a", 100}, {"b", 100}}, {"a", "b"}},
        {"sACN at two priorities", NetProtocol::sacn, {{"a", 120}, {"b", 100}}, {}},
        {"only the highest counts", NetProtocol::sacn, {{"a", 120}, {"b", 100}, {"c", 100}}, {}},
        {"in any order", NetProtocol::sacn, {{"b", 100}, {"c", 100}, {"a", 120}}, {}},
        {"a third below does not matter", NetProtocol::sacn, {{"a", 120}, {"b", 100}, {"c", 120}}, {"a", "c"}},
        {"the highest is silent", NetProtocol::sacn, {{"a", 120, -3.0}, {"b", 100}, {"c", 100}}, {"b", "c"}},
        {"the highest has ended", NetProtocol::sacn, {{"a", 120, 0, true}, {"b", 100}, {"c", 100}}, {"b", "c"}},
        {"none counts as 0", NetProtocol::sacn, {{"a", 0}, {"b"}}, {"a", "b"}},
        {"none is below 1", NetProtocol::sacn, {{"a", 1}, {"b"}}, {}},
    };
    for (const auto& row : rows) {
        const auto state = universe(row.proto, row.sources);
        EXPECT_EQ(state.hasConflict(at(0).steady), !row.rivals.empty()) << row.what;
        EXPECT_EQ(names(state.rivals(at(0).steady)), row.rivals) << row.what;
    }
}

TEST(UniverseState, AClockThatJumpsBackMakesNobodyLost) {
    EXPECT_THAT(names(universe(NetProtocol::artnet, {{"a", {}, 20.0}}).activeSources(at(10).steady)), ElementsAre("a"));
}
