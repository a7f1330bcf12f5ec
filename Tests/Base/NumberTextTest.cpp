#include "Base/NumberText.hpp"

#include <cmath>
#include <limits>

TEST(NumberText, FormatsWithExactlyTheDecimalsAndTheMarkOfTheLocale) {
    EXPECT_EQ(base::formatDecimal(230.456, 1, "de_DE"), "230,5");
    EXPECT_EQ(base::formatDecimal(230.456, 1, "en_US"), "230.5");
    EXPECT_EQ(base::formatDecimal(230, 2, "de_DE"), "230,00");
    EXPECT_EQ(base::formatDecimal(230.6, 0, "de_DE"), "231");
    EXPECT_EQ(base::formatDecimal(-0.5, 3, "de_DE"), "-0,500");
    EXPECT_EQ(base::formatDecimal(1.5, 3, "de_DE"), "1,500");
}

TEST(NumberText, GroupsNoDigits) {
    EXPECT_EQ(base::formatDecimal(1234567.25, 2, "de_DE"), "1234567,25");
    EXPECT_EQ(base::formatDecimal(1e15, 0, "en_US"), "1000000000000000");
}

TEST(NumberText, FormatsTheLargestNumbersWithoutAnExponent) {
    const auto text = base::formatDecimal(std::numeric_limits<double>::max(), 0, "de_DE");
    EXPECT_EQ(text.size(), 309u);
    EXPECT_TRUE(text.starts_with("1797693134862315")) << text;
}

TEST(NumberText, HalvesGoToTheEvenDigit) {
    EXPECT_EQ(base::formatDecimal(0.5, 0, "de_DE"), "0");
    EXPECT_EQ(base::formatDecimal(1.5, 0, "de_DE"), "2");
    EXPECT_EQ(base::formatDecimal(2.5, 0, "de_DE"), "2");
    EXPECT_EQ(base::formatDecimal(0.25, 1, "de_DE"), "0,2");
}

TEST(NumberText, ANegativeValueKeepsItsSignWhenItRoundsToZero) {
    EXPECT_EQ(base::formatDecimal(-0.04, 1, "de_DE"), "-0,0");
    EXPECT_EQ(base::formatDecimal(0.04, 1, "de_DE"), "0,0");
}

TEST(NumberText, WhatIsNotFiniteIsADash) {
    for (const double value : {std::nan(""), std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(base::formatDecimal(value, 1), "–");
        EXPECT_EQ(base::formatDecimal(value, 1, "de_DE"), "–");
    }
}

TEST(NumberText, DecimalsOutOfRangeAreTheNearerBound) {
    EXPECT_EQ(base::formatDecimal(1.25, -1, "de_DE"), "1");
    EXPECT_EQ(base::formatDecimal(1.25, 12, "de_DE"), "1,250000000");
    EXPECT_EQ(base::formatDecimal(1.25, 12), base::formatDecimal(1.25, 9));
}

TEST(NumberText, TheUsersLocaleIsUsedWithoutAName) {
    EXPECT_EQ(base::formatDecimal(1234.5, 1), base::formatDecimal(1234.5, 1, base::userLocale()));
}

// The environment is read once in a process: each case is a process of its own.
TEST(NumberTextDeathTest, TheUsersLocaleComesFromTheFirstVariableThatIsSet) {
    struct Row {
        const char *all, *numeric, *lang, *expected;
    };
    const auto say = [](const Row& row) {
        const auto set = [](const char* name, const char* value) { value ? setenv(name, value, 1) : unsetenv(name); };
        set("LC_ALL", row.all);
        set("LC_NUMERIC", row.numeric);
        set("LANG", row.lang);
        std::fprintf(stderr, "<%s>", base::userLocale().c_str());
        std::_Exit(0);
    };
    for (const auto& row : std::initializer_list<Row>{{"en_US.UTF-8", "fr_FR", "de_DE", "<en_US>"},
                                                      {nullptr, "fr_CH.UTF-8", "de_DE", "<fr_CH>"},
                                                      {"", "", "it_IT@euro", "<it_IT>"},
                                                      {nullptr, nullptr, nullptr, "<de_DE>"},
                                                      {"C.UTF-8", nullptr, "en_US.UTF-8", "<de_DE>"},
                                                      {nullptr, nullptr, "POSIX", "<de_DE>"}})
        EXPECT_EXIT(say(row), testing::ExitedWithCode(0), row.expected);
}
