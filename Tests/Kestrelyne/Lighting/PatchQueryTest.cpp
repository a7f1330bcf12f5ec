#include <gtest/gtest.h>

#include "Kestrelyne/Lighting/PatchFixture.hpp"

using namespace kestrelyne;

namespace {

PatchFixture lamp(const std::string& fixtureID, int universe = 0, int address = 0, int footprint = 0) {
    PatchFixture fixture;
    fixture.fixtureID = fixtureID;
    fixture.universe = universe;
    fixture.address = address;
    fixture.footprint = footprint;
    return fixture;
}

struct Row {
    const char* query;
    PatchFixture fixture;
    bool matches;
};
void check(std::initializer_list<Row> rows) {
    for (const auto& [query, fixture, matches] : rows)
        EXPECT_EQ(fixture.matches(query), matches) << query << " and " << fixture.displayName() << fixture.addressText();
}

}  // namespace

TEST(PatchQuery, AnEmptyOneMatchesEverything) { check({{"", lamp("101"), true}, {"  \t", lamp("A"), true}, {"", lamp(""), true}}); }

TEST(PatchQuery, DigitsLookAtTheBeginningOfTheNumberAlone) {
    check({{"10", lamp("10"), true},
           {"10", lamp("101"), true},
           {"10", lamp("210"), false},
           {" 10 ", lamp("101"), true},
           {"10", lamp("A10"), false}});
    auto named = lamp("7", 1, 10);
    named.name = "Spot 10";
    named.breaker = "10";
    check({{"10", named, false}});
}

TEST(PatchQuery, TwoNumbersAreUniverseAndAddress) {
    check({{"2.41", lamp("1", 2, 40, 2), true},
           {"2.41", lamp("1", 2, 42, 2), false},
           {"2.041", lamp("1", 2, 41, 1), true},
           {"2.42", lamp("1", 2, 40, 2), false},
           {"3.41", lamp("1", 2, 40, 2), false},
           {"2.41", lamp("1", 2, 41, 0), true},  // no channels count as one
           {"2.42", lamp("1", 2, 41, 0), false},
           {"2.0", lamp("1", 2, 0, 5), false},  // not patched
           {"2.1", lamp("1", 2, 0, 5), false},
           {"2.41.", lamp("1", 2, 41), true},     // nothing between dots is no number
           {"2.600", lamp("1", 2, 600), true}});  // kept as it is
}

TEST(PatchQuery, ANumberWithADotIsFoundAsItIs) {
    check({{"12.3", lamp("12.3"), true}, {"12.3", lamp("12.30"), false}, {"12.3", lamp("12.31"), false}});
}

TEST(PatchQuery, OtherCountsOfNumbersLookAtTheBeginningOfTheNumber) {
    check({{"12.", lamp("12.3"), true},
           {"12.", lamp("123"), false},
           {"12.", lamp("1", 12, 1), false},
           {"1.2.3", lamp("1.2.34"), true},
           {"1.2.3", lamp("1.2"), false},
           {".5", lamp(".55"), true},
           {".", lamp("1"), false},
           {"99999999999999999999.1", lamp("99999999999999999999.12"), true}});  // too large for a number
}

TEST(PatchQuery, WordsAreLookedForInTwelveTexts) {
    std::string PatchFixture::*const texts[] = {&PatchFixture::fixtureID, &PatchFixture::name,        &PatchFixture::manufacturer,
                                                &PatchFixture::model,     &PatchFixture::mode,        &PatchFixture::position,
                                                &PatchFixture::layer,     &PatchFixture::distributor, &PatchFixture::plugbox,
                                                &PatchFixture::breaker};
    for (const auto text : texts) {
        PatchFixture fixture;
        EXPECT_FALSE(fixture.matches("xyz"));
        fixture.*text = "Vor XyZ nach";
        EXPECT_TRUE(fixture.matches("xYz"));
    }
    PatchFixture linked;
    linked.rdmUID = "4D41:0000ABCD";
    EXPECT_TRUE(linked.matches("4d41:0000a"));
    EXPECT_TRUE(linked.matches("–")) << "the address text of a lamp that is not patched";
    EXPECT_TRUE(lamp("", -2, 41).matches("-2.0")) << "an address text";
    EXPECT_FALSE(lamp("", 2, 41).matches("–"));
}

TEST(PatchQuery, OtherTextsAreNotLookedAt) {
    PatchFixture fixture;
    fixture.socket = fixture.phase = fixture.notes = "xyz";
    EXPECT_FALSE(fixture.matches("xyz"));
}

TEST(PatchQuery, KnowsUmlauts) {
    PatchFixture fixture;
    fixture.name = "Vorbühne ÄUSSEN";
    EXPECT_TRUE(fixture.matches("BÜHNE"));
    EXPECT_TRUE(fixture.matches("äussen"));
    EXPECT_FALSE(fixture.matches("buhne"));
}

TEST(PatchQuery, ATextNumberIsFoundWhateverItsCase) {
    check({{"a12", lamp("A12"), true}, {"A12", lamp("a123"), true}, {"b12", lamp("A12"), false}});
}
