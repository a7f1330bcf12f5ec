#include "NetCore/OIDNumbers.hpp"

#include <gtest/gtest.h>

namespace netcore {

TEST(OIDNumbers, ReadsDottedText) {
    EXPECT_EQ(oidNumbers("1.3.6.4294967295"), (OIDNumbers{1, 3, 6, 4294967295}));
    EXPECT_EQ(oidNumbers(""), OIDNumbers());
    for (const char* text : {".", "1.", ".1", "1..3", "1.x", "1.-3", "1. 3", "1.4294967296", "1.99999999999999999999999"})
        EXPECT_EQ(oidNumbers(text), std::nullopt) << text;
}

TEST(OIDNumbers, HoldsAsManyAsAnObjectIdentifierMayHave) {
    std::string text = "1";
    for (int i = 1; i < 128; ++i) text += ".1";
    ASSERT_TRUE(oidNumbers(text));
    EXPECT_EQ(oidNumbers(text)->size(), 128U);
    EXPECT_EQ(oidNumbers(text + ".1"), std::nullopt);
}

TEST(OIDNumbers, ComparesAsNumbers) {
    EXPECT_LT(*oidNumbers("1.3.9"), *oidNumbers("1.3.10"));
    EXPECT_LT(*oidNumbers("1.3"), *oidNumbers("1.3.0"));
}

TEST(OIDNumbers, AnIndexStandsBehindTheBaseAndADot) {
    EXPECT_EQ(oidIndex("1.3.6.7.8", "1.3.6"), (OIDNumbers{7, 8}));
    for (const char* oid : {"1.3.6", "1.3.6.", "1.3.61", "1.3", "1.4.6.7", "1.3.6.x"})
        EXPECT_EQ(oidIndex(oid, "1.3.6"), std::nullopt) << oid;
}

}  // namespace netcore
