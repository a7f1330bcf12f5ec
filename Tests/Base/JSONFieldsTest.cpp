#include "Base/JSONFields.hpp"

using base::DecodeError;
using base::JSON;

TEST(JSONFields, ParsesJSONAndRefusesEverythingElse) {
    EXPECT_EQ(base::parseJSON(R"({"a":[1,2.5,"ü",null,true]})")["a"].size(), 5u);
    for (const auto* text : {"", "{", "{\"a\":1,}", "nul", "NaN", "1 2", "'a'", "\"\xFF\"", "\"\\ud800\"", "1e999", "// x\n1"})
        EXPECT_THROW(base::parseJSON(text), DecodeError) << text;
}

TEST(JSONFields, TheLastOfTwoEqualKeysCounts) { EXPECT_EQ(base::parseJSON(R"({"a":1,"a":2})")["a"], 2); }

TEST(JSONFields, NestsSixtyFourLevelsAndNoMore) {
    const auto nested = [](std::size_t levels) { return std::string(levels, '[') + std::string(levels, ']'); };
    EXPECT_NO_THROW(base::parseJSON(nested(64)));
    EXPECT_THROW(base::parseJSON(nested(65)), DecodeError);
    EXPECT_THROW(base::parseJSON(std::string(1'000'000, '[')), DecodeError);
    std::string objects;
    for (int i = 0; i < 65; ++i) objects += "{\"a\":";
    EXPECT_THROW(base::parseJSON(objects + "1" + std::string(65, '}')), DecodeError);
}

TEST(JSONFields, BracketsInTextsAreNoLevels) {
    const auto text = R"({"a":"\"[\\)" + std::string(100, '[') + R"("})";
    EXPECT_EQ(base::parseJSON(text)["a"].get<std::string>().size(), 103u);
}

// A body of a megabyte must not hold up the main thread: the time grows with the length alone.
TEST(JSONFields, ALongListOfObjectsIsReadAtOnce) {
    constexpr std::size_t count = 200'000;
    std::string text = "[{}";
    for (std::size_t i = 1; i < count; ++i) text += ",{}";
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(base::parseJSON(text + "]").size(), count);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(10));
}

TEST(JSONFields, ReadsWholeNumbers) {
    EXPECT_EQ(base::asInteger(JSON(5)), 5);
    EXPECT_EQ(base::asInteger(JSON(5.0)), 5);
    EXPECT_EQ(base::asInteger(JSON(-5)), -5);
    EXPECT_EQ(base::asInteger(base::parseJSON("9223372036854775807")), 9223372036854775807LL);
    EXPECT_EQ(base::asInteger(base::parseJSON("-9223372036854775808")), std::numeric_limits<long long>::min());
    for (const auto* text : {"5.5", "9223372036854775808", "18446744073709551616", "1e19", "-1e19", "\"5\"", "true", "null", "[]"})
        EXPECT_THROW(base::asInteger(base::parseJSON(text)), DecodeError) << text;
    EXPECT_THROW(base::asInteger(JSON(std::nan(""))), DecodeError);
}

TEST(JSONFields, ReadsNumbersTextsAndBooleansStrictly) {
    EXPECT_EQ(base::asNumber(JSON(2.5)), 2.5);
    EXPECT_EQ(base::asNumber(JSON(7)), 7);
    EXPECT_THROW(base::asNumber(JSON("7")), DecodeError);
    EXPECT_THROW(base::asNumber(JSON(true)), DecodeError);
    EXPECT_EQ(base::asText(JSON("Bühne")), "Bühne");
    EXPECT_THROW(base::asText(JSON(1)), DecodeError);
    EXPECT_TRUE(base::asBool(JSON(true)));
    EXPECT_THROW(base::asBool(JSON(1)), DecodeError);
    EXPECT_THROW(base::asBool(JSON(nullptr)), DecodeError);
}

TEST(JSONFields, ReadsUUIDsAndDates) {
    EXPECT_EQ(base::asUUID(JSON("e621e1f8-c36c-495a-93fc-0c247a3e6e5f")).text(), "E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    EXPECT_THROW(base::asUUID(JSON("E621E1F8")), DecodeError);
    EXPECT_THROW(base::asUUID(JSON(1)), DecodeError);
    EXPECT_EQ(base::secondsSince2001(base::asDate(JSON(803671200.5))), 803671200.5);
    EXPECT_THROW(base::asDate(JSON(1e12)), DecodeError);
    EXPECT_THROW(base::asDate(JSON("2026")), DecodeError);
}

TEST(JSONFields, AMissingMemberAndNullAreTheSame) {
    const auto object = base::parseJSON(R"({"a":1,"b":null})");
    ASSERT_NE(base::member(object, "a"), nullptr);
    EXPECT_EQ(*base::member(object, "a"), 1);
    EXPECT_EQ(base::member(object, "b"), nullptr);
    EXPECT_EQ(base::member(object, "c"), nullptr);
    EXPECT_EQ(base::required(object, "a"), 1);
    EXPECT_THROW(base::required(object, "b"), DecodeError);
    EXPECT_THROW(base::required(object, "c"), DecodeError);
    for (const auto* text : {"[]", "1", "null", "\"a\""})
        EXPECT_THROW(base::member(base::parseJSON(text), "a"), DecodeError) << text;
}

TEST(JSONFields, OverlaysWhatIsThere) {
    const auto object = base::parseJSON(R"({"port":502,"name":"A","on":false,"gone":null,"big":70000,"negative":-1,"wrong":"x"})");
    int port = 1;
    std::string name = "B", gone = "C";
    bool on = true;
    base::overlay(object, "port", port, base::asInteger);
    base::overlay(object, "name", name, base::asText);
    base::overlay(object, "on", on, base::asBool);
    base::overlay(object, "gone", gone, base::asText);
    base::overlay(object, "missing", gone, base::asText);
    EXPECT_EQ(port, 502);
    EXPECT_EQ(name, "A");
    EXPECT_FALSE(on);
    EXPECT_EQ(gone, "C");
    std::uint16_t small = 7;
    EXPECT_THROW(base::overlay(object, "big", small, base::asInteger), DecodeError);
    EXPECT_THROW(base::overlay(object, "negative", small, base::asInteger), DecodeError);
    EXPECT_THROW(base::overlay(object, "wrong", small, base::asInteger), DecodeError);
    EXPECT_EQ(small, 7) << "an error leaves the target";
}

TEST(JSONFields, PrintsCompactAndRepairsText) {
    base::OrderedJSON answer;
    answer["z"] = 1;
    answer["a"] = base::numberOrNull(2.5);
    answer["n"] = base::numberOrNull(std::nullopt);
    answer["i"] = base::numberOrNull(std::numeric_limits<double>::infinity());
    EXPECT_EQ(base::dump(answer), R"({"z":1,"a":2.5,"n":null,"i":null})");
    EXPECT_EQ(base::dump(JSON("L\xFC"
                              "fter")),
              "\"L\xEF\xBF\xBD"
              "fter\"");
    EXPECT_EQ(base::dump(JSON("Bühne")), "\"Bühne\"");
}
