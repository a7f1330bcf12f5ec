#include "Kestrelyne/App/InstanceLock.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Base/File.hpp"
#include "Support/TemporaryFolder.hpp"

namespace kestrelyne {
namespace {

class InstanceLockTest : public testing::Test {
protected:
    TemporaryFolder folder_;
    Folders folders_{.settings = folder_ / "c", .data = folder_ / "d"};
};

TEST_F(InstanceLockTest, TellsWhoHoldsBothFolders) {
    EXPECT_FALSE(InstanceLock::holder(folders_.settings));
    const InstanceLock lock(folders_, "/run/x.sock");
    for (const auto& folder : {folders_.settings, folders_.data}) {
        const auto holder = InstanceLock::holder(folder);
        ASSERT_TRUE(holder) << folder;
        EXPECT_EQ(holder->pid, getpid());
        EXPECT_EQ(holder->socket, "/run/x.sock");
    }
}

TEST_F(InstanceLockTest, ASecondIsRefusedWhicheverFolderTheyShare) {
    const InstanceLock lock(folders_, "/run/x.sock");
    EXPECT_THROW(InstanceLock(folders_, "/run/y.sock"), AlreadyRunning);
    EXPECT_THROW(InstanceLock({.settings = folders_.settings, .data = folder_ / "other"}, "/y"), AlreadyRunning);
    try {
        InstanceLock({.settings = folder_ / "other", .data = folders_.data}, "/y");
        FAIL() << "locked twice";
    } catch (const AlreadyRunning& error) {
        EXPECT_EQ(error.what(), "Kestrelyne läuft schon (Prozess " + std::to_string(getpid()) + ") mit dem Ordner „" +
                                    folders_.data.string() + "“.");
    }
    EXPECT_EQ(InstanceLock::holder(folders_.settings)->socket, "/run/x.sock") << "a refused one leaves the holder's line";
}

TEST_F(InstanceLockTest, AFailedStartLeavesNothingLocked) {
    const auto other = Folders{.settings = folder_ / "other", .data = folders_.data};
    {
        const InstanceLock lock(folders_, "/x");
        EXPECT_THROW(InstanceLock(other, "/y"), AlreadyRunning);
        EXPECT_FALSE(InstanceLock::holder(other.settings));
    }
    EXPECT_NO_THROW(InstanceLock(other, "/y"));
}

TEST_F(InstanceLockTest, EndsWithItsProcessHoweverThatEnds) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const auto child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const InstanceLock lock(folders_, "/x");
        [[maybe_unused]] const auto written = write(ready[1], "x", 1);
        pause();
        _exit(0);
    }
    char byte;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    EXPECT_EQ(InstanceLock::holder(folders_.settings)->pid, child);
    EXPECT_THROW(InstanceLock(folders_, "/y"), AlreadyRunning);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_FALSE(InstanceLock::holder(folders_.settings));
    EXPECT_NO_THROW(InstanceLock(folders_, "/y"));
    close(ready[0]);
    close(ready[1]);
}

TEST_F(InstanceLockTest, OneFolderForBothIsLockedOnce) {
    EXPECT_NO_THROW(InstanceLock({.settings = folder_ / "c", .data = folder_ / "c"}, "/x"));
    std::filesystem::create_directory_symlink(folder_ / "c", folder_ / "link");
    EXPECT_NO_THROW(InstanceLock({.settings = folder_ / "c", .data = folder_ / "link"}, "/x"));
}

TEST_F(InstanceLockTest, ALockFileWithRubbishTellsNobodyButStillHolds) {
    const InstanceLock lock(folders_, "/x");
    const int file = open((folders_.settings / "kestrelyne.lock").c_str(), O_WRONLY | O_TRUNC);
    ASSERT_EQ(write(file, "rubbish", 7), 7);
    close(file);
    const auto holder = InstanceLock::holder(folders_.settings);
    ASSERT_TRUE(holder);
    EXPECT_EQ(holder->pid, 0);
    EXPECT_TRUE(holder->socket.empty());
}

TEST_F(InstanceLockTest, SaysWhichFolderCannotBeMade) {
    base::replaceFile(folder_ / "file", "");
    try {
        InstanceLock({.settings = folder_ / "file/c", .data = folder_ / "d"}, "/x");
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find((folder_ / "file/c").string()), std::string::npos) << error.what();
    }
}

}  // namespace
}  // namespace kestrelyne
