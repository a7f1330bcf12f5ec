#include "Base/LowerCase.hpp"

#include <gtest/gtest.h>

using namespace base;

TEST(LowerCase, KnowsTheLettersOfAllScripts) {
    EXPECT_EQ(lowerCase("BÜHNE Ärger ÖSE STRASSE ß"), "bühne ärger öse strasse ß");
    EXPECT_EQ(lowerCase("ŁÓDŹ ČESKÝ"), "łódź český");
    EXPECT_EQ(lowerCase("ΑΘΗΝΑ МОСКВА"), "αθηνα москва");
    EXPECT_EQ(lowerCase("ẞ"), "ß") << "three bytes become two";
    EXPECT_EQ(lowerCase("1.23 · „x“ 漢字"), "1.23 · „x“ 漢字");
}

TEST(LowerCase, LeavesBrokenBytesAlone) {
    EXPECT_EQ(lowerCase("A\xFF\xC3"), "a\xFF\xC3");
    EXPECT_TRUE(containsLower("A\xFFZ", "\xFFz"));
    EXPECT_FALSE(containsLower("\xC3\x84", "\x84")) << "a byte inside a character is none of its own";
}

TEST(LowerCase, ComparesWithoutRegardToCase) {
    EXPECT_TRUE(equalsLower("Bühne", "bühne"));
    EXPECT_TRUE(equalsLower("BÜHNE", "bühne"));
    EXPECT_FALSE(equalsLower("Bühne", "bühn"));
    EXPECT_FALSE(equalsLower("Bühn", "bühne"));
    EXPECT_TRUE(equalsLower("", ""));
    EXPECT_TRUE(beginsLower("ÄB12", "äb"));
    EXPECT_FALSE(beginsLower("Ä", "äb"));
}

TEST(LowerCase, FindsAnywhere) {
    EXPECT_TRUE(containsLower("HAUPTBÜHNE", "bühne"));
    EXPECT_TRUE(containsLower("aaab", "aab")) << "a false start does not hide what follows";
    EXPECT_TRUE(containsLower("x", ""));
    EXPECT_TRUE(containsLower("", ""));
    EXPECT_FALSE(containsLower("", "x"));
    EXPECT_FALSE(containsLower("Bühn", "bühne"));
}
