#include "NetCore/MANet.hpp"

#include <gtest/gtest.h>

#include "NetCore/CaptureVectors.hpp"

namespace netcore {

namespace {

using Texts = std::vector<std::string>;
using vectors::operator+;

vectors::Bytes plain(std::string_view text) { return {text.begin(), text.end()}; }
vectors::Bytes wide(std::string_view text) {
    vectors::Bytes bytes;
    for (const char c : text) {
        bytes.push_back(static_cast<std::uint8_t>(c));
        bytes.push_back(0);
    }
    return bytes;
}
const vectors::Bytes zero = {0};

}  // namespace

TEST(MANet, VersionsHaveTheirNames) {
    EXPECT_EQ(MANet::text(MANet::Version::ma2), "MA-Net2");
    EXPECT_EQ(MANet::text(MANet::Version::ma3), "MA-Net3");
}

TEST(MANet, GroupsStandInTheirOrder) {
    EXPECT_EQ(MANet::ma3Groups(), (Texts{"236.4.1.0", "236.4.1.1", "236.4.1.2", "236.4.1.3", "236.4.1.4", "239.4.1.0", "239.4.1.1",
                                         "239.4.1.2", "239.4.1.3", "239.4.1.4"}));
    ASSERT_EQ(MANet::ma2Groups().size(), 256u);
    EXPECT_EQ(MANet::ma2Groups().front(), "236.4.0.0");
    EXPECT_EQ(MANet::ma2Groups()[200], "236.4.0.200");
    EXPECT_EQ(MANet::ma2Groups().back(), "236.4.0.255");
}

TEST(MANetStrings, AWordInBothKindsOfCharactersGivesTwoTexts) {
    EXPECT_EQ(MANet::strings(wide("Desk") + zero + plain("Desk"), 4), (Texts{"Desk", "Desk"}));
}

TEST(MANetStrings, PlainTextsComeFirstEachInOrderOfAppearance) {
    EXPECT_EQ(MANet::strings(wide("wide one") + wide("\x01") + wide("wide two") + plain("\x01\x01plain one\x01plain two"), 4),
              (Texts{"plain one", "plain two", "wide one", "wide two"}));
}

TEST(MANetStrings, DuplicatesStay) { EXPECT_EQ(MANet::strings(plain("Desk\nDesk"), 4), (Texts{"Desk", "Desk"})); }

TEST(MANetStrings, WhatIsNotWorthShowingIsDropped) {
    struct Row {
        const char* what;
        std::string text;
        Texts expected;
    };
    for (const auto& [what, text, expected] : std::initializer_list<Row>{
             {"one character repeated", "aaaa", {}},
             {"two different characters", "abababab", {}},
             {"three different characters", "aabc", {"aabc"}},
             {"signs alone", "-+*/-+*/", {}},
             {"signs with a digit", "-+*7", {"-+*7"}},
             {"too short", "abc", {}},
             {"just long enough", "abcd", {"abcd"}},
             {"blanks do not count", "  abc  ", {}},
             {"blanks at the ends go", "  ab cd  ", {"ab cd"}},
             {"a byte above 126 ends a run", "abcd\x7F\x65\x66gh", {"abcd", "efgh"}},
             {"a byte below 32 ends a run", "abcd\x1F\x65\x66gh", {"abcd", "efgh"}},
             {"the ends of the range belong to it", " ~abc~", {"~abc~"}},
         })
        EXPECT_EQ(MANet::strings(plain(text), 4), expected) << what;
}

TEST(MANetStrings, WideTextIsReadAtEvenOffsetsOnly) {
    EXPECT_EQ(MANet::strings(wide("Desk"), 4), Texts{"Desk"});
    EXPECT_EQ(MANet::strings(zero + wide("Desk"), 4), Texts{});
}

TEST(MANetStrings, AWideRunAtTheEndCountsAlsoBeforeAnOddByte) {
    EXPECT_EQ(MANet::strings(wide("Desk") + plain("x"), 4), Texts{"Desk"});
    EXPECT_EQ(MANet::strings(vectors::cut(wide("Desks"), 9), 4), Texts{"Desk"});
}

TEST(MANetStrings, NothingIsReadFromNothing) {
    EXPECT_EQ(MANet::strings({}, 4), Texts{});
    EXPECT_EQ(MANet::strings(plain("a"), 0), Texts{});
    EXPECT_EQ(MANet::strings(vectors::Bytes(100), 0), Texts{});
}

TEST(MANetVersions, AreWholeRunsOfDigitsAndPoints) {
    struct Row {
        const char* text;
        Texts expected;
    };
    for (const auto& [text, expected] : std::initializer_list<Row>{
             {"3.4.0.1", {"3.4.0.1"}},
             {"version 3.4.0.1!", {"3.4.0.1"}},
             {"v1.9.2-rc", {"1.9.2"}},
             {"12.34.567", {"12.34.567"}},
             {"12.34.567.8901", {"12.34.567.8901"}},
             {"1.2.3.4.5", {}},
             {"1.2", {}},
             {"1.2.", {}},
             {"1.2.3.", {}},
             {".1.2.3", {}},
             {"1..2.3", {}},
             {"123.4.5", {}},
             {"1.234.5", {}},
             {"1.2.3456", {}},
             {"1.2.3.45678", {}},
             {"1.2.3 and 4.5.6,7.8.9", {"1.2.3", "4.5.6", "7.8.9"}},
             {"10.11.12.13x14.15.16.17", {"10.11.12.13", "14.15.16.17"}},
             {"", {}},
             {"no digits", {}},
             {"...", {}},
         })
        EXPECT_EQ(MANet::versions({text}), expected) << text;
}

// What the expression (?<![\d.])\d{1,2}\.\d{1,2}\.\d{1,3}(?:\.\d{1,4})?(?![\d.]) finds in texts made at random.
TEST(MANetVersions, AreTheMatchesOfTheExpression) {
    struct Row {
        const char* text;
        Texts expected;
    };
    for (const auto& [text, expected] : std::initializer_list<Row>{
             {"3.7.248-x .8y4 .37..", {"3.7.248"}},
             {".35y5.7.7y3.4.4382..- 816", {"5.7.7"}},
             {".24.80.5x-1...56.4675.0.9.3.0 ", {}},
             {"1-4.14941.74.x...4 .7.93x.05..561.-3.", {}},
             {"3.32...1.1878.0....1-24.12.3.", {}},
             {"....y..4.69 ..-0 -.90.x1  .5.00.0", {}},
             {"4.y5.1.223.532648.44 -", {}},
             {"404327.258.757", {}},
             {"y2426 .x7.78.0.15..79.-04391.98-196", {}},
             {"5987.32.-.5..296...0530.0.77.15x", {}},
             {"x6-..7..3x9298y86.8.5-0-6.37", {"86.8.5"}},
             {".x5.y..3.. ...  -2 0.9.6y2419795180.", {"0.9.6"}},
             {"-1.5.9-04.x6.x..9-y.. 5-16.-18372xy48", {"1.5.9"}},
             {"1.y3.4.741 .71..81..x.4y-359.", {"3.4.741"}},
             {"2 4.0.634-.98.2.. x95", {"4.0.634"}},
             {"1..6.4.-59 4.-1.3.8", {"1.3.8"}},
             {"0.. 495.-947..9.2y1.4.9", {"1.4.9"}},
             {"y4.61.0-..y57.399x.0.3 ", {"4.61.0"}},
             {".7130-3.9.12-2 8x-0..19....41", {"3.9.12"}},
             {"..462-.61x8.5.58y-41", {"8.5.58"}},
             {"-3.4177x9y7..7502.71 5.38.3.87-..x6877.", {"5.38.3.87"}},
             {"4.7y-3.0.4y34.1.802..57", {"3.0.4"}},
             {".y80x9.05.2", {"9.05.2"}},
             {"8.35.9y.81.17.", {"8.35.9"}},
             {".02.25x.2 054.2.2 3.3.70y5", {"3.3.70"}},
             {"0...521xx..x5.34.0.87", {"5.34.0.87"}},
             {".114-63.1.8xx.y..5083.8..x.5", {"63.1.8"}},
             {".22..9.2.08.9x..4 .8706.y5.4050xy3.9.176", {"3.9.176"}},
             {"6.-9.29.x..-19 89-62.2.1x.-8.30893.x53", {"62.2.1"}},
             {"3.x1-5.2.29- y..9...079 ", {"5.2.29"}},
         })
        EXPECT_EQ(MANet::versions({text}), expected) << text;
}

TEST(MANetVersions, OfAllTextsStandInOrderWithDuplicates) {
    EXPECT_EQ(MANet::versions({"b 2.0.1", "nothing", "a 1.0.1 2.0.1"}), (Texts{"2.0.1", "1.0.1", "2.0.1"}));
}

TEST(MANetChannel, IsNamedByItsGroup) {
    struct Row {
        const char *group, *name;
    };
    for (const auto& [group, name] : std::initializer_list<Row>{
             {"236.4.1.0", "Administration"},
             {"239.4.1.0", "Administration"},
             {"236.4.1.1", "Allgemein"},
             {"239.4.1.1", "Allgemein"},
             {"236.4.1.2", "Erweitert"},
             {"239.4.1.2", "Erweitert"},
             {"236.4.1.3", "Erweitert DMX"},
             {"239.4.1.3", "Erweitert DMX"},
             {"236.4.1.4", "236.4.1.4"},
             {"236.4.0.0", "Gruppe 0"},
             {"236.4.0.255", "Gruppe 255"},
             {"236.4.01", "236.4.01"},
             {"239.4.0.7", "239.4.0.7"},
             {"", "Unicast/Broadcast"},
             {"10.0.0.1", "10.0.0.1"},
         })
        EXPECT_EQ(MANet::channelName(group), name) << group;
}

}  // namespace netcore
