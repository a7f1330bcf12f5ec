#include "Kestrelyne/App/Folders.hpp"

#include <gtest/gtest.h>

#include <map>

#include "Support/TemporaryFolder.hpp"

namespace kestrelyne {
namespace {

namespace fs = std::filesystem;

Environment environmentOf(std::map<std::string, std::string> variables) {
    return [variables](const char* name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        if (found == variables.end()) return std::nullopt;
        return found->second;
    };
}

TEST(Folders, FollowTheXDGVariables) {
    const auto folders =
        Folders::standard(environmentOf({{"HOME", "/home/a"}, {"XDG_CONFIG_HOME", "/c"}, {"XDG_DATA_HOME", "/d"}}));
    EXPECT_EQ(folders.settings, "/c/Kestrelyne");
    EXPECT_EQ(folders.settingsFile(), "/c/Kestrelyne/settings.sqlite");
    EXPECT_EQ(folders.data, "/d/Kestrelyne");
}

TEST(Folders, LieBelowTheHomeFolderWithoutThem) {
    const auto folders = Folders::standard(environmentOf({{"HOME", "/home/a"}}));
    EXPECT_EQ(folders.settings, "/home/a/.config/Kestrelyne");
    EXPECT_EQ(folders.data, "/home/a/.local/share/Kestrelyne");
}

TEST(Folders, IgnoreRelativeXDGPaths) {
    const auto folders =
        Folders::standard(environmentOf({{"HOME", "/home/a"}, {"XDG_CONFIG_HOME", "c"}, {"XDG_DATA_HOME", "./d"}}));
    EXPECT_EQ(folders.settings, "/home/a/.config/Kestrelyne");
    EXPECT_EQ(folders.data, "/home/a/.local/share/Kestrelyne");
}

TEST(Folders, FindTheHomeFolderWithoutAnyVariable) {
    const auto folders = Folders::standard(environmentOf({}));
    EXPECT_TRUE(folders.settings.is_absolute());
    EXPECT_EQ(folders.settings.filename(), "Kestrelyne");
}

TEST(Folders, OfAServiceLieInItsStateDirectory) {
    const auto folders = Folders::standard(
        environmentOf({{"STATE_DIRECTORY", "/var/lib/kestrelyne:/var/lib/other"}, {"HOME", "/home/a"}, {"XDG_CONFIG_HOME", "/c"}}));
    EXPECT_EQ(folders.settings, "/var/lib/kestrelyne/config");
    EXPECT_EQ(folders.data, "/var/lib/kestrelyne/data");
    EXPECT_EQ(Folders::ofSystemService().settings, folders.settings);
}

TEST(Folders, BothLieBelowAGivenOne) {
    EXPECT_EQ(Folders::below("/x/./y/").settings, "/x/y/config");
    EXPECT_EQ(Folders::below("x").data, fs::current_path() / "x/data");
}

TEST(Folders, TheWebRootIsTheVariableTheInstalledOrTheBuiltOne) {
    const TemporaryFolder folder;
    const auto binary = folder / "bin" / "kestrelyne";
    EXPECT_EQ(webRoot(environmentOf({{"KESTRELYNE_WEB_ROOT", "/w"}}), binary), "/w");
    EXPECT_EQ(webRoot(environmentOf({}), binary), folder / "bin/web");
    fs::create_directories(folder / "share/kestrelyne/web");
    EXPECT_EQ(webRoot(environmentOf({}), binary), folder / "share/kestrelyne/web");
}

TEST(Folders, KnowTheProgramsOwnFile) { EXPECT_TRUE(fs::is_regular_file(ownBinary())); }

TEST(Folders, AnEmptyVariableCountsAsUnset) {
    setenv("KESTRELYNE_TEST_EMPTY", "", 1);
    EXPECT_EQ(processEnvironment()("KESTRELYNE_TEST_EMPTY"), std::nullopt);
    setenv("KESTRELYNE_TEST_EMPTY", "x", 1);
    EXPECT_EQ(processEnvironment()("KESTRELYNE_TEST_EMPTY"), "x");
    unsetenv("KESTRELYNE_TEST_EMPTY");
}

}  // namespace
}  // namespace kestrelyne
