#include "NetCore/RDMUID.hpp"

#include <gtest/gtest.h>

#include <unordered_set>

namespace netcore {

TEST(RDMUID, TextIsManufacturerAndDevice) {
    EXPECT_EQ((RDM::UID{0x7FF0, 0x0000ABCD}.text()), "7FF0:0000ABCD");
    EXPECT_EQ((RDM::UID{0x0001, 0xFFFFFFFF}.text()), "0001:FFFFFFFF");
}

TEST(RDMUID, IsReadFromItsText) {
    EXPECT_EQ(RDM::UID::parse("7FF0:0000ABCD"), (RDM::UID{0x7FF0, 0x0000ABCD}));
    EXPECT_EQ(RDM::UID::parse("ffff:ffffffff"), (RDM::UID{0xFFFF, 0xFFFFFFFF}));
    for (const char* other : {"", "7FF0", "7FF0:0000ABC", "7FF0:0000ABCDE", "7FF00000ABCD0", "7FF0-0000ABCD", "7FG0:0000ABCD",
                              "7FF0:0000ABC ", "-FF0:0000ABCD", "7FF0:+000ABCD"})
        EXPECT_FALSE(RDM::UID::parse(other)) << other;
}

TEST(RDMUID, CanBeKeptInSets) {
    const std::unordered_set<RDM::UID> uids = {{0x7A70, 1}, {0xFFFE, 0x89ABCDEF}, {0x7A70, 1}};
    EXPECT_EQ(uids.size(), 2u);
    EXPECT_TRUE(uids.contains({0x7A70, 1}));
    EXPECT_FALSE(uids.contains({0x7A70, 2}));
}

}  // namespace netcore
