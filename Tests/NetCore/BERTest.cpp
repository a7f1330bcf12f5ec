#include "NetCore/BER.hpp"

#include <limits>

#include "NetCore/NetError.hpp"

using namespace netcore;
using Octets = std::vector<std::uint8_t>;

namespace {

template <class Function>
std::string errorOf(Function function) {
    try {
        function();
    } catch (const NetError& error) {
        EXPECT_EQ(error.kind(), NetError::Case::protocolError);
        return error.description();
    }
    return "none";
}

Octets oidContent(const std::string& dotted) {
    const auto encoded = BER::oid(dotted);
    return {encoded.begin() + 2, encoded.end()};
}

}  // namespace

TEST(BER, WritesLengthsInTheFewestBytes) {
    for (const auto& [n, bytes] : std::initializer_list<std::pair<std::size_t, Octets>>{{0, {0x00}},
                                                                                        {127, {0x7F}},
                                                                                        {128, {0x81, 0x80}},
                                                                                        {255, {0x81, 0xFF}},
                                                                                        {256, {0x82, 0x01, 0x00}},
                                                                                        {65535, {0x82, 0xFF, 0xFF}},
                                                                                        {65536, {0x83, 0x01, 0x00, 0x00}}})
        EXPECT_EQ(BER::length(n), bytes) << n;
}

TEST(BER, WritesAndReadsIntegersInTheFewestBytes) {
    constexpr auto least = std::numeric_limits<std::int64_t>::min(), most = std::numeric_limits<std::int64_t>::max();
    for (const auto& [value, bytes] :
         std::initializer_list<std::pair<std::int64_t, Octets>>{{0, {2, 1, 0x00}},
                                                                {1, {2, 1, 0x01}},
                                                                {127, {2, 1, 0x7F}},
                                                                {128, {2, 2, 0x00, 0x80}},
                                                                {255, {2, 2, 0x00, 0xFF}},
                                                                {256, {2, 2, 0x01, 0x00}},
                                                                {0x7FFFFFFF, {2, 4, 0x7F, 0xFF, 0xFF, 0xFF}},
                                                                {-1, {2, 1, 0xFF}},
                                                                {-128, {2, 1, 0x80}},
                                                                {-129, {2, 2, 0xFF, 0x7F}},
                                                                {-256, {2, 2, 0xFF, 0x00}},
                                                                {most, {2, 8, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
                                                                {least, {2, 8, 0x80, 0, 0, 0, 0, 0, 0, 0}}}) {
        EXPECT_EQ(BER::integer(value), bytes) << value;
        EXPECT_EQ(BER::Reader(bytes).readInt(), value);
    }
}

TEST(BER, ReadsIntegersOfAnyLength) {
    EXPECT_EQ(BER::decodeInteger({}), 0);
    EXPECT_EQ(BER::decodeInteger(Octets{0x00, 0x00, 0x05}), 5);
    EXPECT_EQ(BER::decodeInteger(Octets{0xFF, 0xFF, 0xFE}), -2);
    EXPECT_EQ(BER::decodeInteger(Octets{0x01, 0, 0, 0, 0, 0, 0, 0, 7}), 7) << "the ninth byte from behind is lost";
    EXPECT_EQ(BER::decodeInteger(Octets{0xFF, 0, 0, 0, 0, 0, 0, 0, 7}), 7) << "and with it the sign";
}

TEST(BER, WritesUnsignedNumbersWithoutALeadingSign) {
    EXPECT_EQ(BER::unsignedNumber(BER::Tag::gauge32, 0), (Octets{0x42, 1, 0}));
    EXPECT_EQ(BER::unsignedNumber(BER::Tag::counter32, 0x80), (Octets{0x41, 2, 0, 0x80}));
    EXPECT_EQ(BER::unsignedNumber(BER::Tag::timeTicks, 0x7FFF), (Octets{0x43, 2, 0x7F, 0xFF}));
    EXPECT_EQ(BER::unsignedNumber(BER::Tag::counter64, ~std::uint64_t(0)),
              (Octets{0x46, 9, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(BER, WritesOIDs) {
    for (const auto& [text, bytes] : std::initializer_list<std::pair<const char*, Octets>>{
             {"1.3.6.1.2.1.1.1.0", {0x06, 0x08, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x01, 0x01, 0x00}},
             {".1.3.6.1", {0x06, 0x03, 0x2B, 0x06, 0x01}},
             {"1..3.x.6.-1.1", {0x06, 0x03, 0x2B, 0x06, 0x01}},
             {"1.3.127.128.16383.16384", {0x06, 0x09, 0x2B, 0x7F, 0x81, 0x00, 0xFF, 0x7F, 0x81, 0x80, 0x00}},
             {"1.3.4294967295", {0x06, 0x06, 0x2B, 0x8F, 0xFF, 0xFF, 0xFF, 0x7F}},
             {"1.3.18446744073709551615", {0x06, 0x0B, 0x2B, 0x81, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}},
             {"1.3.18446744073709551616.5", {0x06, 0x02, 0x2B, 0x05}},
             {"0.0", {0x06, 0x01, 0x00}},
             {"2.47", {0x06, 0x01, 0x7F}},
             {"6.15", {0x06, 0x01, 0xFF}},
             {"garbage", {0x06, 0x00}},
             {"1", {0x06, 0x00}},
             {"", {0x06, 0x00}}})
        EXPECT_EQ(BER::oid(text), bytes) << text;
}

TEST(BER, WritesLongOIDsWithALongLength) {
    std::string text = "1.3";
    for (int i = 0; i < 200; ++i) text += ".7";
    const auto encoded = BER::oid(text);
    ASSERT_EQ(encoded.size(), 204u);
    EXPECT_EQ(Octets(encoded.begin(), encoded.begin() + 4), (Octets{0x06, 0x81, 201, 0x2B}));
    EXPECT_EQ(BER::decodeOID(base::Bytes(encoded).subspan(3)), text);
}

TEST(BER, TellsWhichOIDsCannotBeWritten) {
    for (const auto* text : {"1.3.6.1", "6.15.1", "0.255", "", "garbage", "7", "x.1.3"})
        EXPECT_TRUE(BER::canEncodeOID(text)) << text;
    for (const auto* text : {"6.16.1", "7.0", "0.256", "x.99.99.1", "18446744073709551615.1", "1.18446744073709551615"})
        EXPECT_FALSE(BER::canEncodeOID(text)) << text;
    EXPECT_DEATH(BER::oid("7.0.1"), "share a byte");
}

TEST(BER, ReadsOIDs) {
    for (const auto& [bytes, text] : std::initializer_list<std::pair<Octets, const char*>>{
             {{}, ""},
             {{0x2B}, "1.3"},
             {{0x2B, 0x06, 0x01, 0x81, 0x00}, "1.3.6.1.128"},
             {{0x28, 0xC4, 0x62}, "1.0.8802"},
             {{0x88, 0x37}, "3.16.55"},
             {{0x2B, 0x06, 0x81}, "1.3.6"},
             {{0x2B, 0x81, 0x80}, "1.3"},
             {{0x2B, 0x80, 0x05}, "1.3.5"},
             {{0x2B, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}, "1.3.18446744073709551615"}})
        EXPECT_EQ(BER::decodeOID(bytes), text);
}

TEST(BER, ReadsItsOwnOIDsAgain) {
    for (const auto* text : {"1.3.6.1.2.1.31.1.1.1.6.10101", "1.0.8802.1.1.2.1.4.1.1.9.0.49.1", "0.0", "2.39.18446744073709551615"})
        EXPECT_EQ(BER::decodeOID(oidContent(text)), text);
}

TEST(BER, ReadsValuesByTheirTag) {
    const auto string = [](std::string_view text) { return SNMPValue(SNMPValue::String(text.begin(), text.end())); };
    EXPECT_EQ(BER::decodeValue(0x02, Octets{0xFF}), SNMPValue(std::int64_t(-1)));
    EXPECT_EQ(BER::decodeValue(0x02, {}), SNMPValue(std::int64_t(0)));
    EXPECT_EQ(BER::decodeValue(0x04, Octets{'a', 'b'}), string("ab"));
    EXPECT_EQ(BER::decodeValue(0x04, {}), string(""));
    EXPECT_EQ(BER::decodeValue(0x05, Octets{1, 2}), SNMPValue(SNMPValue::Null{}));
    EXPECT_EQ(BER::decodeValue(0x06, Octets{0x2B, 0x06}), SNMPValue(SNMPValue::OID{"1.3.6"}));
    EXPECT_EQ(BER::decodeValue(0x40, Octets{10, 0, 0, 255}), SNMPValue(SNMPValue::IP{"10.0.0.255"}));
    EXPECT_EQ(BER::decodeValue(0x40, Octets{10, 0, 0, 0, 1}), SNMPValue(SNMPValue::IP{"10.0.0.0.1"})) << "any length";
    EXPECT_EQ(BER::decodeValue(0x40, {}), SNMPValue(SNMPValue::IP{""}));
    EXPECT_EQ(BER::decodeValue(0x41, Octets{0xFF, 0xFF, 0xFF, 0xFF}), SNMPValue(SNMPValue::Counter{0xFFFFFFFF}));
    EXPECT_EQ(BER::decodeValue(0x42, Octets{0x80}), SNMPValue(SNMPValue::Gauge{128})) << "never a sign";
    EXPECT_EQ(BER::decodeValue(0x43, {}), SNMPValue(SNMPValue::Ticks{0}));
    EXPECT_EQ(BER::decodeValue(0x46, Octets{1, 2, 0, 0, 0, 0, 0, 0, 0, 3}), SNMPValue(SNMPValue::Counter{3}))
        << "bytes beyond the eighth push the high ones out";
    for (const std::uint8_t tag : {0x80, 0x81, 0x82}) EXPECT_TRUE(BER::decodeValue(tag, {}).isNoSuch());
    for (const std::uint8_t tag : {0x01, 0x03, 0x30, 0x44, 0x45, 0x47, 0x83, 0xFF})
        EXPECT_EQ(BER::decodeValue(tag, Octets{'x'}), string("x")) << int(tag);
}

TEST(BERReader, ReadsShortAndLongLengths) {
    for (const auto& bytes :
         {Octets{0x04, 0x02, 'h', 'i'}, Octets{0x04, 0x81, 0x02, 'h', 'i'}, Octets{0x04, 0x84, 0x00, 0x00, 0x00, 0x02, 'h', 'i'}}) {
        BER::Reader reader(bytes);
        const auto content = reader.read(0x04);
        EXPECT_EQ(Octets(content.begin(), content.end()), (Octets{'h', 'i'}));
        EXPECT_TRUE(reader.atEnd());
    }
}

TEST(BERReader, ReadsALengthOfNoBytesAsNothing) {
    const Octets bytes{0x04, 0x80, 0x02, 0x01, 0x07};
    BER::Reader reader(bytes);
    EXPECT_TRUE(reader.read(0x04).empty());
    EXPECT_EQ(reader.readInt(), 7) << "what follows is the next element";
}

TEST(BERReader, StandsBehindTheHeader) {
    const Octets bytes{0x30, 0x03, 0x02, 0x01, 0x09};
    BER::Reader reader(bytes);
    const auto header = reader.header();
    EXPECT_EQ(header.tag, 0x30);
    EXPECT_EQ(header.length, 3u);
    EXPECT_EQ(reader.readInt(), 9);
    EXPECT_TRUE(reader.atEnd());
}

TEST(BERReader, RefusesWhatReachesBeyondItsEnd) {
    struct Row {
        Octets bytes;
        const char* error;
    };
    for (const auto& [bytes, error] : std::initializer_list<Row>{{{}, "SNMP: Paket zu kurz"},
                                                                 {{0x04}, "SNMP: Paket zu kurz"},
                                                                 {{0x04, 0x01}, "SNMP: Länge"},
                                                                 {{0x04, 0x7F, 1, 2, 3}, "SNMP: Länge"},
                                                                 {{0x04, 0x81}, "SNMP: Länge"},
                                                                 {{0x04, 0x82, 0x01}, "SNMP: Länge"},
                                                                 {{0x04, 0x84, 0xFF, 0xFF, 0xFF, 0xFF, 0}, "SNMP: Länge"},
                                                                 {{0x04, 0x85, 0, 0, 0, 0, 1, 7}, "SNMP: Länge"},
                                                                 {{0x04, 0xFF, 0, 0, 0, 0, 1, 7}, "SNMP: Länge"}})
        EXPECT_EQ(errorOf([&] { BER::Reader(bytes).readAny(); }), error);
}

TEST(BERReader, ComparesTheTag) {
    const Octets bytes{0x42, 0x01, 0x05};
    EXPECT_EQ(errorOf([&] { BER::Reader(bytes).read(0x04); }), "SNMP: unerwartetes Tag 66");
    EXPECT_EQ(errorOf([&] { BER::Reader(bytes).readInt(); }), "SNMP: unerwartetes Tag 66");
    EXPECT_EQ(errorOf([&] { BER::Reader(bytes).enter(0x30); }), "SNMP: unerwartetes Tag 66");
    EXPECT_EQ(errorOf([&] { BER::Reader(base::Bytes(bytes).first(2)).readInt(); }), "SNMP: Länge") << "the length comes first";
}

TEST(BERReader, NeverLeavesAnElementThatItEntered) {
    const Octets bytes{0x30, 0x04, 0x02, 0x03, 0x01, 0x02, 0x02, 0x01, 0x09};
    BER::Reader reader(bytes);
    auto inner = reader.enter(0x30);
    EXPECT_EQ(errorOf([&] { inner.readInt(); }), "SNMP: Länge") << "three bytes are there, but two belong to it";
    EXPECT_EQ(reader.readInt(), 9) << "the outer one stands behind it";
    EXPECT_TRUE(reader.atEnd());
}
