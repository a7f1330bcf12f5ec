#include "Kestrelyne/Remote/WebAccess.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

using kestrelyne::WebAccess;
using namespace std::chrono_literals;

namespace {

base::SteadyTime at(std::chrono::milliseconds time) { return base::SteadyTime(time); }

TEST(WebAccess, TheRightPINOpensASession) {
    WebAccess access;
    const auto token = access.login("1234", "1234", "a", at(0s));
    ASSERT_TRUE(token);
    EXPECT_EQ(token->size(), 64U);
    EXPECT_TRUE(std::ranges::all_of(*token, [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); }));
    EXPECT_TRUE(access.hasSession(*token));
    EXPECT_FALSE(access.hasSession(""));
    EXPECT_FALSE(access.hasSession(std::string(64, '0')));
}

TEST(WebAccess, EverySessionHasATokenOfItsOwn) {
    WebAccess access;
    std::set<std::string> tokens;
    for (int i = 0; i < 50; ++i) tokens.insert(access.login("1", "1", std::to_string(i), at(0s)).value());
    EXPECT_EQ(tokens.size(), 50U);
}

TEST(WebAccess, OnlyTheExactPINCounts) {
    WebAccess access;
    int i = 0;
    for (const char* guess : {"", "123", "12345", "1234 ", " 1234", "1235"})
        EXPECT_FALSE(access.login(guess, "1234", std::to_string(i++), at(0s))) << guess;
    EXPECT_TRUE(access.sessions().empty());
}

TEST(WebAccess, NobodyLogsInWithoutAPIN) {
    WebAccess access;
    EXPECT_FALSE(access.login("", "", "a", at(0s)));
    EXPECT_FALSE(access.login("x", "", "a", at(0s)));
}

TEST(WebAccess, TheSixthAttemptWithinAMinuteIsTooMany) {
    WebAccess access;
    for (int i = 0; i < 5; ++i) {
        EXPECT_FALSE(access.tooManyAttempts("a", at(i * 1s))) << i;
        EXPECT_FALSE(access.login("x", "1234", "a", at(i * 1s)));
    }
    EXPECT_TRUE(access.tooManyAttempts("a", at(5s)));
    EXPECT_FALSE(access.login("1234", "1234", "a", at(5s))) << "the right PIN comes too late";
    EXPECT_FALSE(access.tooManyAttempts("b", at(5s))) << "another address has a budget of its own";
}

TEST(WebAccess, ARightAttemptCountsAsWell) {
    WebAccess access;
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(access.login("1", "1", "a", at(0s)));
    EXPECT_FALSE(access.login("1", "1", "a", at(59s)));
}

TEST(WebAccess, AnAttemptIsForgottenAfterAMinuteAndARefusedOneIsNotCounted) {
    WebAccess access;
    for (int i = 0; i < 5; ++i) access.login("x", "1", "a", at(i * 10s));
    EXPECT_FALSE(access.login("1", "1", "a", at(59999ms)));
    EXPECT_TRUE(access.login("1", "1", "a", at(60s))) << "the first of the five is 60 s old";
    EXPECT_FALSE(access.login("1", "1", "a", at(60s)));
    EXPECT_TRUE(access.login("1", "1", "a", at(70s)));
}

TEST(WebAccess, RemembersAttemptsOfTheLastMinuteOnly) {
    WebAccess access;
    for (int i = 0; i < 1000; ++i) access.login("x", "1", std::to_string(i), at(i * 100ms));
    EXPECT_LE(access.rememberedAttempts(), 600U);
    access.tooManyAttempts("a", at(1000s));
    EXPECT_EQ(access.rememberedAttempts(), 0U);
}

TEST(WebAccess, RemembersAStatedNumberOfAttempts) {
    WebAccess access;
    for (std::size_t i = 0; i <= WebAccess::mostAttempts; ++i) access.login("x", "1", std::to_string(i), at(0s));
    EXPECT_EQ(access.rememberedAttempts(), WebAccess::mostAttempts);
}

TEST(WebAccess, DropsTheOldestSessionBeyondTheCap) {
    std::vector<std::string> stored;
    for (std::size_t i = 0; i < WebAccess::mostSessions; ++i) stored.push_back("token" + std::to_string(i));
    WebAccess access(stored);
    EXPECT_TRUE(access.hasSession("token0"));
    const auto token = access.login("1", "1", "a", at(0s));
    EXPECT_EQ(access.sessions().size(), WebAccess::mostSessions);
    EXPECT_FALSE(access.hasSession("token0"));
    EXPECT_TRUE(access.hasSession("token1"));
    EXPECT_TRUE(access.hasSession(*token));
}

TEST(WebAccess, TakesOverStoredSessionsAndEndsThemAll) {
    WebAccess access({"a", "b", "a"});
    EXPECT_EQ(access.sessions(), (std::deque<std::string>{"a", "b"}));
    access.endAllSessions();
    EXPECT_FALSE(access.hasSession("a"));
    EXPECT_TRUE(access.sessions().empty());
}

}  // namespace
