#include "NetCore/SACNDiscovery.hpp"

#include <gtest/gtest.h>

#include "NetCore/SACNVectors.hpp"

namespace netcore {

using vectors::cut;
using vectors::with;

TEST(SACNDiscovery, IsReadFromItsBytes) { EXPECT_EQ(SACN::parseDiscovery(vectors::discoveryBytes), vectors::discovery); }

TEST(SACNDiscovery, TheListReachesToTheLastWholeUniverse) {
    struct Row {
        std::size_t size;
        std::size_t universes;
    };
    for (const auto& [size, universes] :
         std::initializer_list<Row>{{120, 0}, {121, 0}, {122, 1}, {123, 1}, {124, 2}, {125, 2}, {126, 3}}) {
        const auto discovery = SACN::parseDiscovery(cut(vectors::discoveryBytes, size));
        ASSERT_TRUE(discovery) << size;
        EXPECT_EQ(discovery->universes.size(), universes) << size;
    }
    EXPECT_FALSE(SACN::parseDiscovery(cut(vectors::discoveryBytes, 119)));
}

TEST(SACNDiscovery, AFullPageHas512Universes) {
    EXPECT_EQ(SACN::parseDiscovery(with(vectors::discoveryBytes, {{120, 1024, 0x01}}))->universes, std::vector<int>(512, 0x0101));
}

TEST(SACNDiscovery, AnotherListVectorIsNothing) {
    for (const std::size_t at : {114u, 117u}) EXPECT_FALSE(SACN::parseDiscovery(with(vectors::discoveryBytes, {{at, {2}}}))) << at;
}

TEST(SACNDiscovery, ASourceNameIsReadAsInDataPackets) {
    EXPECT_EQ(SACN::parseDiscovery(with(vectors::discoveryBytes, {{44, 64, 'n'}}))->sourceName, std::string(64, 'n'));
    EXPECT_EQ(SACN::parseDiscovery(with(vectors::discoveryBytes, {{44, {'P', 0xFC, 0}}}))->sourceName, "P\xEF\xBF\xBD");
}

TEST(SACNDiscovery, OtherPacketsAreNothing) {
    EXPECT_FALSE(SACN::parseDiscovery(vectors::sacn[0].bytes));
    EXPECT_FALSE(SACN::parseDiscovery(vectors::syncBytes));
    EXPECT_FALSE(SACN::parseDiscovery({}));
}

}  // namespace netcore
