#include "Base/JSONWriter.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "Base/JSONFields.hpp"

using base::JSONWriter;

namespace {

std::string textOf(std::string_view value) {
    JSONWriter json(0);
    json.text(value);
    return json.take();
}

std::string numberOf(std::optional<double> value) {
    JSONWriter json(0);
    json.number(value);
    return json.take();
}

}  // namespace

TEST(JSONWriter, SetsCommasBetweenValuesAndNowhereElse) {
    JSONWriter json(64);
    json.beginObject();
    json.key("empty").beginObject();
    json.endObject();
    json.key("list").beginArray();
    json.integer(1);
    json.beginArray();
    json.endArray();
    json.beginObject();
    json.key("a").boolean(true);
    json.key("b").null();
    json.endObject();
    json.text("x");
    json.endArray();
    json.key("last").number(0.5);
    json.endObject();
    EXPECT_EQ(json.take(), R"({"empty":{},"list":[1,[],{"a":true,"b":null},"x"],"last":0.5})");
    json.boolean(false);
    EXPECT_EQ(json.take(), "false") << "it begins anew";
}

TEST(JSONWriter, TextsAreThoseOfTheUsualSerialiser) {
    for (const std::string& value : {std::string(), std::string("plain"), std::string("Bühne „links“ \"rechts\" \\ / <script>"),
                                     std::string("\0\a\x1F\x7F", 4), std::string("gebrochen \xC3"),
                                     std::string("\xFF\xFE\xED\xA0\x80 mitten"), std::string("\xF0\x9F\x92\xA1")})
        EXPECT_EQ(nlohmann::json::parse(textOf(value)), nlohmann::json::parse(base::dump(base::JSON(value))));
}

TEST(JSONWriter, AKeyOfAnyTextIsEscapedAsATextIs) {
    JSONWriter json(0);
    json.beginObject();
    json.textKey("Verteiler \"1\"\n").integer(1);
    json.textKey("").integer(2);
    json.endObject();
    EXPECT_EQ(json.take(), R"({"Verteiler \"1\"\u000a":1,"":2})");
}

TEST(JSONWriter, EveryByteComesOutAsValidJSON) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string value = "a" + std::string(1, static_cast<char>(byte)) + "b";
        const auto parsed = nlohmann::json::parse(textOf(value), nullptr, false);
        ASSERT_TRUE(parsed.is_string()) << byte;
        if (byte < 128) EXPECT_EQ(parsed.get<std::string>(), value);
    }
}

TEST(JSONWriter, NumbersKeepTheirValue) {
    EXPECT_EQ(numberOf(43.98), "43.98");
    EXPECT_EQ(numberOf(25.0), "25");
    EXPECT_EQ(numberOf(std::nullopt), "null");
    EXPECT_EQ(numberOf(NAN), "null");
    EXPECT_EQ(numberOf(-INFINITY), "null");
    for (const double value :
         {1.0 / 3, -0.0, 1e300, std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::lowest()})
        EXPECT_EQ(nlohmann::json::parse(numberOf(value)).get<double>(), value);
    JSONWriter json(0);
    json.integer(std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(json.take(), "-9223372036854775808");
}
