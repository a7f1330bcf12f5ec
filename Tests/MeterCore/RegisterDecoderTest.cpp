#include "MeterCore/RegisterDecoder.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace metercore {

using enum RegisterDataType;
using enum WordOrder;

TEST(RegisterDecoder, DecodesEveryTypeInBothOrders) {
    struct Row {
        std::vector<std::uint16_t> words;
        RegisterDataType type;
        WordOrder order;
        double expected;
    };
    const std::vector<Row> rows = {
        {{0x4248, 0x0000}, float32, bigEndian, 50.0},
        {{0x0000, 0x4248}, float32, wordSwapped, 50.0},
        {{0x4049, 0x0000, 0x0000, 0x0000}, float64, bigEndian, 50.0},
        {{0x0000, 0x0000, 0x0000, 0x4049}, float64, wordSwapped, 50.0},
        {{0xFFFF}, int16, bigEndian, -1},
        {{0xFFFF}, uint16, bigEndian, 65535},
        {{0x8000}, int16, wordSwapped, -32768},
        {{0xFFFF, 0xFFFE}, int32, bigEndian, -2},
        {{0xFFFE, 0xFFFF}, int32, wordSwapped, -2},
        {{0xFFFF, 0xFFFE}, uint32, bigEndian, 4294967294},
        {{0x0001, 0x0002}, uint32, bigEndian, 65538},
        {{0x0001, 0x0002}, uint32, wordSwapped, 131073},
        {{0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}, int64, bigEndian, -1},
        {{0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}, uint64, bigEndian, 18446744073709551615.0},
        {{0x0001, 0x0002, 0x0003, 0x0004}, uint64, bigEndian, 281483566841860},
        {{0x0004, 0x0003, 0x0002, 0x0001}, uint64, wordSwapped, 281483566841860},
    };
    for (const auto& row : rows)
        EXPECT_EQ(RegisterDecoder::decode(row.words, row.type, row.order), row.expected)
            << text(row.type) << " " << text(row.order);
}

TEST(RegisterDecoder, LetsInfinityAndNaNThrough) {
    EXPECT_TRUE(std::isnan(RegisterDecoder::float32(0x7FC0, 0x0000)));
    EXPECT_EQ(RegisterDecoder::float32(0xFF80, 0x0000), -INFINITY);
    const std::vector<std::uint16_t> infinity = {0x7F80, 0x0000};
    EXPECT_EQ(RegisterDecoder::decode(infinity, float32, bigEndian), INFINITY);
}

TEST(RegisterDecoder, WidthsAndTexts) {
    struct Row {
        RegisterDataType type;
        const char* name;
        int width;
    };
    for (const auto& [type, name, width] : std::initializer_list<Row>{{float32, "Float 32", 2},
                                                                      {float64, "Float 64", 4},
                                                                      {int16, "Int 16", 1},
                                                                      {uint16, "UInt 16", 1},
                                                                      {int32, "Int 32", 2},
                                                                      {uint32, "UInt 32", 2},
                                                                      {int64, "Int 64", 4},
                                                                      {uint64, "UInt 64", 4}}) {
        EXPECT_EQ(text(type), name);
        EXPECT_EQ(registerWidth(type), width);
        EXPECT_EQ(registerDataType(name), type);
    }
    EXPECT_EQ(text(bigEndian), "ABCD (Big Endian)");
    EXPECT_EQ(wordOrder("CDAB (Word-Swap)"), wordSwapped);
    EXPECT_EQ(wordOrder("DCBA"), std::nullopt);
    EXPECT_EQ(registerDataType("float32"), std::nullopt);
}

TEST(RegisterDecoderDeathTest, MoreWordsThanTheTypeHoldsIsAProgrammingError) {
    const std::vector<std::uint16_t> words = {1, 2};
    EXPECT_DEATH(RegisterDecoder::decode(words, uint16, bigEndian), "more words than the type holds");
}

}  // namespace metercore
