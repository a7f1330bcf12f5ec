// The main function of every test program.

#include <gtest/gtest.h>
#include <signal.h>

#include "Base/Reaper.hpp"

int main(int count, char** words) {
    // As the program itself does: a peer that closes is an error of write(), not the end.
    signal(SIGPIPE, SIG_IGN);
    // A death test starts anew instead of forking a process that has threads.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    testing::InitGoogleTest(&count, words);
    const int result = RUN_ALL_TESTS();
    // The sanitizers look at a process whose threads have ended.
    base::Reaper::shared().join();
    return result;
}
