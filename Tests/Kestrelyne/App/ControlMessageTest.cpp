#include "Kestrelyne/App/ControlMessage.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace kestrelyne {
namespace {

TEST(LineSplitter, CutsPiecesOfAnySizeIntoLines) {
    const std::string stream = "one\r\ntwo\n\nthree\nrest";
    for (std::size_t size = 1; size <= stream.size(); ++size) {
        LineSplitter lines(100);
        std::vector<std::string> found;
        for (std::size_t i = 0; i < stream.size(); i += size) {
            lines.feed(std::string_view(stream).substr(i, size));
            while (auto line = lines.next()) found.push_back(*line);
        }
        EXPECT_EQ(found, (std::vector<std::string>{"one", "two", "", "three"})) << size;
        EXPECT_FALSE(lines.tooLong());
    }
}

TEST(LineSplitter, TakesALineAtTheLimitAndNotOneMore) {
    LineSplitter fits(5);
    fits.feed("12345\n12345\n");
    EXPECT_EQ(fits.next(), "12345");
    EXPECT_EQ(fits.next(), "12345");
    EXPECT_FALSE(fits.tooLong());

    LineSplitter whole(5);
    whole.feed("ok\n123456\n");
    EXPECT_EQ(whole.next(), "ok");
    EXPECT_EQ(whole.next(), std::nullopt);
    EXPECT_TRUE(whole.tooLong());

    LineSplitter begun(5);
    begun.feed("12345");
    EXPECT_EQ(begun.next(), std::nullopt);
    EXPECT_FALSE(begun.tooLong());
    begun.feed("6");
    EXPECT_EQ(begun.next(), std::nullopt);
    EXPECT_TRUE(begun.tooLong());
    begun.feed("\nafter\n");
    EXPECT_EQ(begun.next(), std::nullopt) << "the stream is lost for good";
}

TEST(ControlRequest, IsAnObjectWithAVerb) {
    EXPECT_EQ(parseControlRequest(R"({"verb":"status","x":1})")["x"], 1);
    for (const auto* line : {"", "x", "[]", "5", "null", "{}", R"({"verb":null})", R"({"verb":5})", R"({"verb":"a"} b)"}) {
        try {
            parseControlRequest(line);
            ADD_FAILURE() << line;
        } catch (const ControlError& error) {
            EXPECT_EQ(error.code(), ExitCode::wrongWords);
        }
    }
}

}  // namespace
}  // namespace kestrelyne
