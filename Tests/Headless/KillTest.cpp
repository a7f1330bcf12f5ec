#include <gtest/gtest.h>

#include <cstdlib>

#include "Base/ChildProcess.hpp"

// The kills themselves, and what is looked for after each, stand in scripts/kill-test.
TEST(Killing, LosesNothingThatACommandReturnedFrom) {
    const char* source = std::getenv("KESTRELYNE_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    const auto result = base::runChild(std::string(source) + "/scripts/kill-test", {"20"}, std::chrono::seconds(110));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->exitCode, 0) << result->output;
    EXPECT_NE(result->output.find("kill-test: 20 kills"), std::string::npos) << result->output;
}
