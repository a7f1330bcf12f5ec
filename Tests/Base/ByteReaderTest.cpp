#include "Base/ByteReader.hpp"

#include <array>

TEST(ByteReader, ReadsNumbersInNetworkOrder) {
    const std::array<std::uint8_t, 9> bytes{0x01, 0x02, 0x03, 0xF4, 0xF5, 0xF6, 0xF7, 0x08, 0x09};
    base::ByteReader reader(bytes);
    EXPECT_EQ(reader.u8(), 0x01);
    EXPECT_EQ(reader.u16(), 0x0203);
    EXPECT_EQ(reader.u32(), 0xF4F5F6F7u);
    EXPECT_EQ(reader.remaining(), 2u);
    const auto rest = reader.take(2);
    ASSERT_TRUE(rest);
    EXPECT_EQ((*rest)[1], 0x09);
    EXPECT_EQ(reader.remaining(), 0u);
}

TEST(ByteReader, TooFewBytesAnswerNothingAndLeaveThePosition) {
    const std::array<std::uint8_t, 3> bytes{1, 2, 3};
    base::ByteReader reader(bytes);
    EXPECT_EQ(reader.u32(), std::nullopt);
    EXPECT_FALSE(reader.take(4));
    EXPECT_EQ(reader.remaining(), 3u);
    EXPECT_EQ(reader.u16(), 0x0102);
    EXPECT_EQ(reader.u16(), std::nullopt);
    EXPECT_EQ(reader.rest().size(), 1u);
    EXPECT_EQ(reader.u8(), 3);
    EXPECT_EQ(reader.u8(), std::nullopt);
    EXPECT_TRUE(reader.take(0));
    EXPECT_FALSE(reader.take(1));
    EXPECT_FALSE(reader.take(static_cast<std::size_t>(-1)));
}

TEST(ByteReader, AnEmptyBufferHoldsNothing) {
    base::ByteReader reader({});
    EXPECT_EQ(reader.u8(), std::nullopt);
    EXPECT_EQ(reader.remaining(), 0u);
}
