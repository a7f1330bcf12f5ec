#include "NetCore/SNMPValue.hpp"

#include <limits>

using namespace netcore;

namespace {

SNMPValue string(std::string_view bytes) { return SNMPValue(SNMPValue::String(bytes.begin(), bytes.end())); }

template <std::size_t size>
SNMPValue bytes(const char (&literal)[size]) {
    return string({literal, size - 1});
}

const SNMPValue all[] = {SNMPValue(std::int64_t(-5)),
                         string("7"),
                         SNMPValue(SNMPValue::OID{"1.3.6"}),
                         SNMPValue(SNMPValue::IP{"10.0.0.1"}),
                         SNMPValue(SNMPValue::Counter{std::numeric_limits<std::uint64_t>::max()}),
                         SNMPValue(SNMPValue::Gauge{1000}),
                         SNMPValue(SNMPValue::Ticks{360000}),
                         SNMPValue(SNMPValue::Null{}),
                         SNMPValue(SNMPValue::NoSuch{})};

}  // namespace

TEST(SNMPValue, HasItsCasesInThisOrder) {
    for (std::size_t i = 0; i < std::size(all); ++i) EXPECT_EQ(all[i].content().index(), i);
}

TEST(SNMPValue, IsANumberWhenItCounts) {
    const std::optional<double> expected[] = {-5.0, {}, {}, {}, 18446744073709551615.0, 1000.0, 360000.0, {}, {}};
    for (std::size_t i = 0; i < std::size(all); ++i) EXPECT_EQ(all[i].number(), expected[i]) << all[i].text();
}

TEST(SNMPValue, CountsWithoutRounding) {
    const std::optional<std::uint64_t> expected[] = {{}, {}, {}, {}, 18446744073709551615u, 1000u, 360000u, {}, {}};
    for (std::size_t i = 0; i < std::size(all); ++i) EXPECT_EQ(all[i].count(), expected[i]) << all[i].text();
    EXPECT_EQ(SNMPValue(std::int64_t(9007199254740993)).count(), 9007199254740993u);
}

TEST(SNMPValue, IsAnIntegerOnlyWhenItIsSigned) {
    EXPECT_EQ(all[0].integer(), -5);
    for (std::size_t i = 1; i < std::size(all); ++i) EXPECT_EQ(all[i].integer(), std::nullopt) << all[i].text();
}

TEST(SNMPValue, HasATextInEveryCase) {
    const char* expected[] = {"-5", "7", "1.3.6", "10.0.0.1", "18446744073709551615", "1000", "360000", "null", "–"};
    for (std::size_t i = 0; i < std::size(all); ++i) EXPECT_EQ(all[i].text(), expected[i]);
}

TEST(SNMPValue, PrintsTextAsText) {
    EXPECT_EQ(bytes("abc\0").text(), "abc");
    EXPECT_EQ(bytes("a\0b\0\0c").text(), "abc") << "every zero goes";
    EXPECT_EQ(bytes("Lüfter – \xF0\x9F\x8E\xAD").text(), "Lüfter – \xF0\x9F\x8E\xAD");
    EXPECT_EQ(bytes(" \r\n\tzwei\nZeilen\t \r\n").text(), "zwei\nZeilen");
    EXPECT_EQ(bytes("\x7F").text(), "\x7F") << "control characters are those below 32";
    EXPECT_EQ(bytes("\0\0\0\0\0\0").text(), "");
    EXPECT_EQ(bytes("").text(), "");
}

TEST(SNMPValue, PrintsOtherBytesInPairs) {
    EXPECT_EQ(bytes("\x01\xA0\x0A\x00\xFE\x3C").text(), "01:A0:0A:00:FE:3C") << "zeros included";
    EXPECT_EQ(bytes("\x02\x42\xAC\x11\x02\x0F").text(), "02:42:AC:11:02:0F");
    EXPECT_EQ(bytes("\x1F").text(), "1F");
    EXPECT_EQ(bytes("abc\x1B[0m").text(), "61:62:63:1B:5B:30:6D");
    EXPECT_EQ(bytes("\xFF").text(), "FF") << "no UTF-8";
    EXPECT_EQ(bytes("\xC3").text(), "C3") << "cut within a character";
    EXPECT_EQ(bytes("\xED\xA0\x80").text(), "ED:A0:80") << "half of a pair";
    EXPECT_EQ(bytes("\xC3\0\xBC").text(), "ü") << "decoded without its zeros";
}
