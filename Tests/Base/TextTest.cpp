#include "Base/Text.hpp"

#include <cerrno>

#include <algorithm>

using namespace std::string_literals;

namespace {
const std::string bad = "\xEF\xBF\xBD";
}

// The rows of table 3-8 to 3-11 of The Unicode Standard 15, and the bounds of table 3-7.
TEST(Text, ReplacesEachMaximalBrokenPartOfUTF8) {
    struct Row {
        std::string bytes, repaired;
    };
    for (const auto& [bytes, repaired] : std::initializer_list<Row>{
             {"", ""},
             {"Bühne 1 – 32 A €", "Bühne 1 – 32 A €"},
             {"\x00x"s, "\x00x"s},
             {"\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},  // U+10FFFF
             {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", bad + bad + bad + bad + bad + bad + bad + bad + "A"},
             {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", bad + bad + bad + bad + bad + bad + bad + bad + "A"},
             {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", bad + bad + bad + bad + bad + "A" + bad + bad + "B"},
             {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", bad + bad + bad + bad + "A"},
             {"\x80", bad},
             {"\xC3", bad},
             {"\xC1\x81", bad + bad},
             {"\xE0\x9F\x80", bad + bad + bad},
             {"\xE0\xA0", bad},
             {"\xED\x9F\xBF", "\xED\x9F\xBF"},
             {"\xF0\x8F\x80\x80", bad + bad + bad + bad},
             {"\xF0\x90\x80", bad},
             {"\xF5\x80\x80\x80", bad + bad + bad + bad},
             {"a\xFE\xFFz", "a" + bad + bad + "z"},
             {"L\xFC"
              "fter",
              "L" + bad + "fter"},  // Latin-1
         })
        EXPECT_EQ(base::repairUTF8(bytes), repaired);
}

TEST(Text, CutsAtCharacters) {
    EXPECT_EQ(base::firstCharacters("Bühne", 2), "Bü");
    EXPECT_EQ(base::firstCharacters("€😀x", 2), "€😀");
    EXPECT_EQ(base::firstCharacters("Bühne", 0), "");
    EXPECT_EQ(base::firstCharacters("Bühne", 5), "Bühne");
    EXPECT_EQ(base::firstCharacters("Bühne", 99), "Bühne");
}

TEST(Text, Trims) {
    EXPECT_EQ(base::trimmed(" \t\r\n\v\fa b\n "), "a b");
    EXPECT_EQ(base::trimmed(" \n "), "");
    EXPECT_EQ(base::trimmed(""), "");
    EXPECT_EQ(base::trimmed("\u00A0x"), "\u00A0x") << "ASCII white space only";
    EXPECT_EQ(base::trimmedBlanks(" \tx\n "), "x\n");
    EXPECT_EQ(base::trimmedOf("\"a\"b\"", "\""), "a\"b");
}

TEST(Text, LowersASCIIOnly) { EXPECT_EQ(base::lowerASCII("Content-LENGTH Ä@[`{"), "content-length Ä@[`{"); }

TEST(Text, Splits) {
    using Pieces = std::vector<std::string_view>;
    EXPECT_EQ(base::split("a,,b,", ',', true), (Pieces{"a", "", "b", ""}));
    EXPECT_EQ(base::split("a,,b,", ',', false), (Pieces{"a", "b"}));
    EXPECT_EQ(base::split("", ',', true), Pieces{""});
    EXPECT_EQ(base::split("", ',', false), Pieces{});
    EXPECT_EQ(base::split("abc", ',', true), Pieces{"abc"});
}

TEST(Text, ReadsIntegersOnlyWhole) {
    EXPECT_EQ(base::parseInteger("502"), 502);
    EXPECT_EQ(base::parseInteger("-7"), -7);
    EXPECT_EQ(base::parseInteger("+7"), 7);
    EXPECT_EQ(base::parseInteger("007"), 7);
    EXPECT_EQ(base::parseInteger("9223372036854775807"), 9223372036854775807LL);
    EXPECT_EQ(base::parseInteger("-9223372036854775808"), std::numeric_limits<long long>::min());
    for (const auto* text : {"", "+", "-", "+-7", "--7", " 7", "7 ", "7.0", "0x10", "1e3", "9223372036854775808", "１"})
        EXPECT_EQ(base::parseInteger(text), std::nullopt) << text;
    EXPECT_EQ(base::parseInteger("7\0"s), std::nullopt);
}

TEST(Text, ReadsNumbersOnlyWholeAndFinite) {
    EXPECT_EQ(base::parseDouble("230.5"), 230.5);
    EXPECT_EQ(base::parseDouble("-0.25"), -0.25);
    EXPECT_EQ(base::parseDouble("+3"), 3);
    EXPECT_EQ(base::parseDouble("1e3"), 1000);
    for (const auto* text : {"", "+", "+-1", "1,5", " 1", "1 ", "inf", "-inf", "nan", "1e999", "0x1p3", "1.5V"})
        EXPECT_EQ(base::parseDouble(text), std::nullopt) << text;
}

TEST(Text, PrintsHexadecimal) {
    const std::uint8_t bytes[] = {0x00, 0x9A, 0xFF};
    EXPECT_EQ(base::hex(bytes), "009aff");
    EXPECT_EQ(base::hex({}), "");
}

TEST(Text, DecodesPercentEscapes) {
    EXPECT_EQ(base::percentDecoded("B%C3%BChne%201"), "Bühne 1");
    EXPECT_EQ(base::percentDecoded("%2f%2F"), "//");
    EXPECT_EQ(base::percentDecoded("a+b"), "a+b");
    EXPECT_EQ(base::percentDecoded("%00"), "\0"s);
    EXPECT_EQ(base::percentDecoded("%2541"), "%41") << "once";
    for (const auto* text : {"%", "%4", "x%", "%4g", "%g4", "%%41", "%-1"})
        EXPECT_EQ(base::percentDecoded(text), std::nullopt) << text;
}

TEST(Text, PutsNamesInTheOrderPeopleExpect) {
    // Each before the next, and never the other way round.
    const std::vector<std::string> order = {"",
                                            "0",
                                            "007",
                                            "7",
                                            "8",
                                            "10.0.0.9",
                                            "10.0.0.10",
                                            "10.0.1.1",
                                            "99999999999999999999",
                                            "100000000000000000000",
                                            "Box 2 rear",
                                            "Box 2a",
                                            "box 10",
                                            "eth1",
                                            "eth2",
                                            "eth02a",
                                            "eth2a0",
                                            "eth10",
                                            "Über"};
    for (std::size_t i = 0; i < order.size(); ++i) {
        EXPECT_FALSE(base::naturalLess(order[i], order[i])) << order[i];
        for (std::size_t j = i + 1; j < order.size(); ++j) {
            EXPECT_TRUE(base::naturalLess(order[i], order[j])) << order[i] << " < " << order[j];
            EXPECT_FALSE(base::naturalLess(order[j], order[i])) << order[j] << " > " << order[i];
        }
    }
    EXPECT_TRUE(base::naturalLess("ETH2", "eth2")) << "equal but for the case: by bytes";
    EXPECT_TRUE(base::naturalLess("eth2", "ETH10"));
    auto shuffled = order;
    std::ranges::reverse(shuffled);
    std::ranges::sort(shuffled, base::naturalLess);
    EXPECT_EQ(shuffled, order);
}

TEST(Text, ComparesSecretsToTheLastByte) {
    EXPECT_TRUE(base::equalInConstantTime("secret", "secret"));
    EXPECT_TRUE(base::equalInConstantTime("", ""));
    for (const auto* given : {"", "s", "secre", "secrets", "secreT", "Secret", "secretsecret"})
        EXPECT_FALSE(base::equalInConstantTime("secret", given)) << given;
    EXPECT_FALSE(base::equalInConstantTime("", "x"));
    EXPECT_FALSE(base::equalInConstantTime("x", ""));
    EXPECT_FALSE(base::equalInConstantTime("x", "xx"));
    EXPECT_FALSE(base::equalInConstantTime("a\0b"s, "a\0c"s));
}

TEST(Text, HasTheSystemsTextForAnError) {
    EXPECT_EQ(base::errnoText(EADDRINUSE), "Address already in use");
    EXPECT_EQ(base::errnoText(99999), "Unknown error 99999");
}

TEST(Text, NothingOfAPrintableTextMovesATerminal) {
    struct Row {
        std::string given, expected;
    };
    for (const auto& [given, expected] :
         std::initializer_list<Row>{{"Bühne – 63 A „süß“ 🎭", "Bühne – 63 A „süß“ 🎭"},
                                    {"", ""},
                                    {"a\nb\tc\rd", "a\uFFFDb\uFFFDc\uFFFDd"},
                                    {"a\0b"s, "a\uFFFDb"},
                                    {"\x1B[2Jx\x7F", "\uFFFD[2Jx\uFFFD"},
                                    {"\u0080\u009B31m\u009F\u00A0", "\uFFFD\uFFFD31m\uFFFD\u00A0"},
                                    {"\u2027\u2028\u2029\u202A\u202E\u202F", "\u2027\uFFFD\uFFFD\uFFFD\uFFFD\u202F"},
                                    {"\u2065\u2066\u2067\u2068\u2069\u206A", "\u2065\uFFFD\uFFFD\uFFFD\uFFFD\u206A"},
                                    // A C1 character as a single byte is broken UTF-8, and some terminals would take it.
                                    {"a\x9B"
                                     "2Jb",
                                     "a\uFFFD2Jb"},
                                    {"\xE2\x80", "\uFFFD"}})
        EXPECT_EQ(base::printable(given), expected);
}
