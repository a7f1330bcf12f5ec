#include "Base/ChildProcess.hpp"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <latch>
#include <sstream>

#include "Base/FileDescriptor.hpp"
#include "Base/SerialQueue.hpp"
#include "Base/Text.hpp"

using namespace std::chrono_literals;

namespace {

constexpr base::Seconds ample{20};
// For a shell to print its first line, on a machine that is busy too.
constexpr base::Seconds longEnoughToBegin{0.25};

std::optional<base::ChildResult> shell(const std::string& script, base::Seconds timeout = ample) {
    return base::runChild("/bin/sh", {"-c", script}, timeout);
}

base::Seconds since(base::SteadyTime begun) { return base::SystemClock::shared().steadyNow() - begun; }

}  // namespace

TEST(ChildProcess, GathersBothStreamsInOrderAndTheExitCode) {
    const auto result = shell("echo out; echo err >&2; echo end; exit 3");
    ASSERT_TRUE(result);
    EXPECT_EQ(result->output, "out\nerr\nend\n");
    EXPECT_EQ(result->exitCode, 3);
    EXPECT_FALSE(result->timedOut);
}

TEST(ChildProcess, PassesItsArgumentsAsTheyAre) {
    const auto result = base::runChild("/usr/bin/printf", {"<%s>", "a b", "", "$HOME;'\"*", "ü"}, ample);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->output, "<a b><><$HOME;'\"*><ü>");
    EXPECT_EQ(result->exitCode, 0);
}

TEST(ChildProcess, WhatCannotBeStartedIsAbsent) {
    EXPECT_EQ(base::runChild("/missing/program", {}, ample), std::nullopt);
    EXPECT_EQ(base::runChild("/etc/passwd", {}, ample), std::nullopt) << "not executable";
    EXPECT_EQ(base::runChild("sh", {"-c", "exit 0"}, ample), std::nullopt) << "no search through PATH";
}

TEST(ChildProcess, ASignalThatEndsItIsNoExitCode) {
    const auto result = shell("echo x; kill -9 $$");
    ASSERT_TRUE(result);
    EXPECT_EQ(result->output, "x\n");
    EXPECT_EQ(result->exitCode, -1);
    EXPECT_FALSE(result->timedOut);
}

TEST(ChildProcess, IsTerminatedWithAllItHasStartedWhenTheTimeIsUp) {
    const auto begun = base::SystemClock::shared().steadyNow();
    const auto result = shell("echo begun; sleep 60; echo never", longEnoughToBegin);
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->timedOut);
    EXPECT_EQ(result->exitCode, -1);
    EXPECT_EQ(result->output, "begun\n");
    EXPECT_LT(since(begun).count(), 1.2) << "SIGTERM was enough";
}

TEST(ChildProcess, OneThatIgnoresSIGTERMIsKilledASecondLater) {
    const auto begun = base::SystemClock::shared().steadyNow();
    const auto result = shell("trap '' TERM; echo begun; while :; do sleep 1; done", longEnoughToBegin);
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->timedOut);
    EXPECT_EQ(result->exitCode, -1);
    EXPECT_EQ(result->output, "begun\n");
    EXPECT_GE(since(begun).count(), 1.0);
    EXPECT_LT(since(begun).count(), 10.0);
}

TEST(ChildProcess, MayTidyUpWhenItIsTerminated) {
    const auto result = shell("trap 'echo tidy; exit 4' TERM; echo begun; while :; do sleep 0.01; done", longEnoughToBegin);
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->timedOut);
    EXPECT_EQ(result->exitCode, 4);
    EXPECT_TRUE(result->output.ends_with("tidy\n")) << result->output;
}

TEST(ChildProcess, TheTimeLimitAlsoHoldsWhenItHasClosedItsOutput) {
    const auto result = shell("exec >&- 2>&-; exec sleep 60", longEnoughToBegin);
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->timedOut);
    EXPECT_EQ(result->exitCode, -1);
}

TEST(ChildProcess, AnExitAfterItsOutputWasClosedIsAwaited) {
    const auto result = shell("exec >&- 2>&-; sleep 0.02; exit 6");
    ASSERT_TRUE(result);
    EXPECT_FALSE(result->timedOut);
    EXPECT_EQ(result->exitCode, 6);
}

TEST(ChildProcess, KeepsEightMebibytesOfOutputAndReadsOn) {
    const auto result = shell("head -c 9000000 /dev/zero; exit 5");
    ASSERT_TRUE(result);
    EXPECT_EQ(result->output.size(), std::size_t{8} << 20);
    EXPECT_EQ(result->exitCode, 5);
}

TEST(ChildProcess, BrokenUTF8IsRepaired) {
    const auto result = base::runChild("/usr/bin/printf", {"L\\374fter"}, ample);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->output,
              "L\xEF\xBF\xBD"
              "fter");
}

TEST(ChildProcess, InheritsNoDescriptorAndAnEmptyInput) {
    // Without close-on-exec on purpose: even a careless library's descriptor stays here.
    const base::FileDescriptor careless(open("/dev/null", O_RDONLY));
    ASSERT_GE(careless.get(), 3);
    const auto result = shell("cat; ls /proc/$$/fd");
    ASSERT_TRUE(result);
    EXPECT_EQ(result->output, "0\n1\n2\n");
}

TEST(ChildProcess, StartedFromAQueueItTakesSignalsAsUsual) {
    base::SerialQueue queue("children");
    std::optional<base::ChildResult> result;
    std::latch done(1);
    queue.post([&] {
        result = shell("sed -n 's/^SigBlk:.//p; s/^SigIgn:.//p' /proc/self/status");
        done.count_down();
    });
    done.wait();
    ASSERT_TRUE(result);
    std::istringstream masks(result->output);
    std::uint64_t blocked = 1, ignored = 0;
    ASSERT_TRUE(masks >> std::hex >> blocked >> ignored) << result->output;
    EXPECT_EQ(blocked, 0u);
    EXPECT_EQ(ignored >> (SIGPIPE - 1) & 1, 0u) << "this process ignores it, as the program does";
}
