#include "Base/File.hpp"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <regex>
#include <system_error>

#include "Support/TemporaryFolder.hpp"

namespace fs = std::filesystem;

namespace {

std::size_t countOf(const fs::path& folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

mode_t modeOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

}  // namespace

TEST(File, ReadsBackWhatWasWrittenByteForByte) {
    const TemporaryFolder folder;
    std::string content(200'000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i % 251);
    base::replaceFile(folder / "data", content);
    EXPECT_EQ(base::readFile(folder / "data"), content);
    base::replaceFile(folder / "data", "");
    EXPECT_EQ(base::readFile(folder / "data"), "");
}

TEST(File, WhatCannotBeReadIsAbsent) {
    const TemporaryFolder folder;
    EXPECT_EQ(base::readFile(folder / "missing"), std::nullopt);
    EXPECT_EQ(base::readFile(folder.path()), std::nullopt) << "a folder";
    base::replaceFile(folder / "data", "12345");
    EXPECT_EQ(base::readFile(folder / "data", 5), "12345");
    EXPECT_EQ(base::readFile(folder / "data", 4), std::nullopt);
}

TEST(File, TheLimitHoldsForFilesThatDoNotSayTheirLength) {
    EXPECT_TRUE(base::readFile("/proc/self/status"));
    EXPECT_EQ(base::readFile("/proc/self/status", 10), std::nullopt);
}

TEST(File, APipeInItsPlaceDoesNotHoldTheReader) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(base::readFile(folder / "pipe"), "");
}

TEST(File, IsReplacedWithTheGivenModeAndNothingIsLeftBeside) {
    const TemporaryFolder folder;
    base::replaceFile(folder / "state", "old");
    EXPECT_EQ(modeOf(folder / "state"), 0644u);
    base::replaceFile(folder / "state", "new", 0600);
    EXPECT_EQ(modeOf(folder / "state"), 0600u);
    EXPECT_EQ(base::readFile(folder / "state"), "new");
    EXPECT_EQ(countOf(folder.path()), 1u);
}

// Whoever has the old file open keeps the old content: it is a new file, not the old one rewritten.
TEST(File, AReaderOfTheOldFileKeepsItsContent) {
    const TemporaryFolder folder;
    base::replaceFile(folder / "state", "old");
    std::ifstream reader(folder / "state");
    base::replaceFile(folder / "state", "new");
    std::string content;
    reader >> content;
    EXPECT_EQ(content, "old");
}

TEST(File, AFailureOfTheWriteLeavesTheOldFileAndNothingBeside) {
    const TemporaryFolder folder;
    base::replaceFile(folder / "state", "old");
    // A file of more than 4096 bytes cannot be written; the signal that tells so is ignored, as the error says it too.
    struct rlimit before {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto oldHandler = signal(SIGXFSZ, SIG_IGN);
    struct rlimit tight = before;
    tight.rlim_cur = 4096;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
    int error = 0;
    try {
        base::replaceFile(folder / "state", std::string(100'000, 'x'));
    } catch (const std::system_error& thrown) {
        error = thrown.code().value();
    }
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, oldHandler);
    EXPECT_EQ(error, EFBIG);
    EXPECT_EQ(base::readFile(folder / "state"), "old");
    EXPECT_EQ(countOf(folder.path()), 1u);
}

TEST(File, AFailureOfTheRenameLeavesWhatIsThereAndNothingBeside) {
    const TemporaryFolder folder;
    base::makeFolder(folder / "state");
    EXPECT_THROW(base::replaceFile(folder / "state", "new"), std::system_error);
    EXPECT_TRUE(fs::is_directory(folder / "state"));
    EXPECT_EQ(countOf(folder.path()), 1u);
    EXPECT_THROW(base::replaceFile(folder.path() / "missing" / "state", "new"), std::system_error);
}

TEST(File, ADamagedFileIsMovedAsideUnderTheTimeAndNeverOverAnother) {
    const TemporaryFolder folder;
    const std::regex wanted("state\\.json\\.beschädigt-\\d{4}-\\d\\d-\\d\\d \\d\\d-\\d\\d-\\d\\d(-\\d+)?");
    // Three at once fall into two different seconds at most, so that one name at least carries a number.
    int numbered = 0;
    for (int i = 0; i < 3; ++i) {
        base::replaceFile(folder / "state.json", std::to_string(i));
        const auto moved = base::moveAside(folder / "state.json");
        ASSERT_TRUE(moved);
        EXPECT_TRUE(std::regex_match(moved->filename().string(), wanted)) << *moved;
        numbered += moved->filename().string().ends_with("-2") ? 1 : 0;
        EXPECT_EQ(moved->parent_path(), folder.path());
        EXPECT_EQ(base::readFile(*moved), std::to_string(i));
        EXPECT_FALSE(fs::exists(folder / "state.json"));
    }
    EXPECT_EQ(countOf(folder.path()), 3u);
    EXPECT_GE(numbered, 1);
}

TEST(File, WhatIsNotThereCannotBeMovedAside) {
    const TemporaryFolder folder;
    EXPECT_EQ(base::moveAside(folder / "missing"), std::nullopt);
    EXPECT_EQ(countOf(folder.path()), 0u);
}

TEST(Folder, IsMadeWithItsParentsForTheOwnerAlone) {
    const TemporaryFolder folder;
    base::makeFolder(folder.path() / "a" / "b/");
    EXPECT_EQ(modeOf(folder.path() / "a"), 0700u);
    EXPECT_EQ(modeOf(folder.path() / "a" / "b"), 0700u);
    base::makeFolder(folder.path() / "a" / "b");
    base::makeFolder("/");
    chmod((folder / "a").c_str(), 0750);
    base::makeFolder(folder.path() / "a" / "c");
    EXPECT_EQ(modeOf(folder.path() / "a"), 0750u) << "one that is there stays as it is";
}

TEST(Folder, AFileInItsWayIsAnError) {
    const TemporaryFolder folder;
    base::replaceFile(folder / "a", "");
    EXPECT_THROW(base::makeFolder(folder / "a"), std::system_error);
    EXPECT_THROW(base::makeFolder(folder.path() / "a" / "b"), std::system_error);
}
