#include "Kestrelyne/App/AnswerText.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace kestrelyne {
namespace {

using nlohmann::json;

TEST(AnswerText, ColumnsStandInLineByCharacters) {
    EXPECT_EQ(alignedTable({{"Bühne", "x"}, {"FOH 63 A", "y", "z"}, {"", ""}}, "  "),
              "  Bühne     x\n"
              "  FOH 63 A  y  z\n"
              "\n");
}

TEST(AnswerText, CellsMoveNothing) {
    EXPECT_EQ(alignedTable({{"a\x1B[2J", "b\nc"}, {"ab", "d"}}, ""), "a\uFFFD[2J  b\uFFFDc\nab     d\n");
    EXPECT_EQ(captionedLines("Fehler", {"x\r"}), "Fehler         x\uFFFD\n");
    EXPECT_EQ(captionedLines("Fehler", {}), "Fehler         –\n");
}

TEST(AnswerText, KeysOfAnotherTypeReadAsNothing) {
    const json object = {{"text", "x"}, {"number", 5}, {"true", true}, {"list", {"a", 5, "b"}}, {"null", nullptr}};
    EXPECT_EQ(answer::textOr(object, "text", "y"), "x");
    EXPECT_EQ(answer::textOr(object, "number", "y"), "y");
    EXPECT_EQ(answer::textOr(json(5), "text", "y"), "y");
    EXPECT_EQ(answer::numberOr(object, "number", 7), 5);
    EXPECT_EQ(answer::numberOr(object, "text", 7), 7);
    EXPECT_TRUE(answer::isTrue(object, "true"));
    EXPECT_FALSE(answer::isTrue(object, "number"));
    EXPECT_FALSE(answer::isTrue(object, "missing"));
    EXPECT_EQ(answer::texts(answer::part(object, "list")), (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(answer::texts(answer::part(object, "text")).empty());
    EXPECT_TRUE(answer::part(object, "null").is_null());
}

}  // namespace
}  // namespace kestrelyne
