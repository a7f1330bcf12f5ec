#include "NetCore/ArtNetTimeCode.hpp"

#include <gtest/gtest.h>

#include "NetCore/ArtNetVectors.hpp"

namespace netcore {

TEST(ArtNetTimeCode, IsReadFromItsBytes) {
    EXPECT_EQ(ArtNet::parseTimeCode(vectors::timeCodeBytes), vectors::timeCode);
    EXPECT_FALSE(ArtNet::parseTimeCode(vectors::cut(vectors::timeCodeBytes, 18)));
    EXPECT_FALSE(ArtNet::parseTimeCode(vectors::todBytes));
}

TEST(ArtNetTimeCode, IsBuiltFromItsFields) {
    EXPECT_EQ(vectors::copyOf(ArtNet::timeCodePacket(vectors::timeCode)), vectors::timeCodeBytes);
    const ArtNet::TimeCode wide{.hours = 255, .minutes = 128, .seconds = 0, .frames = 1, .type = 3};
    EXPECT_EQ(ArtNet::parseTimeCode(ArtNet::timeCodePacket(wide)), wide);
    EXPECT_EQ(ArtNet::parseTimeCode(ArtNet::timeCodePacket({.hours = 256 + 7}))->hours, 7) << "the lower 8 bits are sent";
}

TEST(ArtNetTimeCode, NoFieldIsRangeChecked) {
    EXPECT_EQ(ArtNet::parseTimeCode(vectors::with(vectors::timeCodeBytes, {{14, 5, 255}})),
              (ArtNet::TimeCode{.hours = 255, .minutes = 255, .seconds = 255, .frames = 255, .type = 255}));
}

TEST(ArtNetTimeCode, TheTypeNamesTheFrameRateAndCountsAsTheNearerEndOutside) {
    struct Row {
        int type;
        const char* label;
    };
    for (const auto& [type, label] : std::initializer_list<Row>{{-1, "24 fps (Film)"},
                                                                {0, "24 fps (Film)"},
                                                                {1, "25 fps (EBU)"},
                                                                {2, "29,97 fps (DF)"},
                                                                {3, "30 fps (SMPTE)"},
                                                                {7, "30 fps (SMPTE)"}})
        EXPECT_EQ(ArtNet::TimeCode{.type = type}.fpsLabel(), label) << type;
}

TEST(ArtNetTimeCode, TextHasAtLeastTwoDigitsAField) {
    EXPECT_EQ(vectors::timeCode.text(), "23:59:58:24");
    EXPECT_EQ((ArtNet::TimeCode{.hours = 1, .minutes = 2, .seconds = 3, .frames = 4, .type = 0}.text()), "01:02:03:04");
    EXPECT_EQ((ArtNet::TimeCode{.hours = 100, .minutes = 0, .seconds = 0, .frames = 255, .type = 0}.text()), "100:00:00:255");
}

}  // namespace netcore
