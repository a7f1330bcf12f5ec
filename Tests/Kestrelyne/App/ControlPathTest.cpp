#include "Kestrelyne/App/ControlPath.hpp"

#include <gtest/gtest.h>

#include <map>

namespace kestrelyne {
namespace {

Environment environmentOf(std::map<std::string, std::string> variables) {
    return [variables](const char* name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        if (found == variables.end()) return std::nullopt;
        return found->second;
    };
}

const Folders folders{.settings = "/home/a/.config/Kestrelyne", .data = "/home/a/.local/share/Kestrelyne"};

TEST(ControlPath, LiesInTheUsersRuntimeFolderUnderAShortName) {
    const auto path = ControlPath::choose(environmentOf({{"XDG_RUNTIME_DIR", "/run/user/1000"}}), folders);
    EXPECT_EQ(path.path.parent_path(), "/run/user/1000/kestrelyne");
    EXPECT_EQ(path.path.filename().string().size(), std::string("0123456789abcdef.sock").size());
    EXPECT_FALSE(path.forGroup);
}

TEST(ControlPath, DiffersBySettingsFolderAndIsTheSameEachTime) {
    const auto environment = environmentOf({{"XDG_RUNTIME_DIR", "/run/user/1000"}});
    const auto path = [&](const char* data) { return ControlPath::choose(environment, Folders::below(data)).path; };
    EXPECT_NE(path("/a"), path("/b"));
    EXPECT_EQ(path("/a"), path("/x/../a"));
}

TEST(ControlPath, LiesBesideTheLockWithoutOne) {
    for (const auto& environment : {environmentOf({}), environmentOf({{"XDG_RUNTIME_DIR", "relative"}})})
        EXPECT_EQ(ControlPath::choose(environment, folders).path, "/home/a/.config/Kestrelyne/control.sock");
}

TEST(ControlPath, IsForTheGroupInASystemService) {
    const auto path = ControlPath::choose(environmentOf({{"RUNTIME_DIRECTORY", "/run/kestrelyne:/run/other"}}), folders);
    EXPECT_EQ(path.path, "/run/kestrelyne/control.sock");
    EXPECT_TRUE(path.forGroup);
    EXPECT_EQ(path.path, ControlPath::ofSystemService().path);
}

TEST(ControlPath, IsForTheUserAloneInAServiceOfTheUser) {
    const auto path = ControlPath::choose(
        environmentOf({{"RUNTIME_DIRECTORY", "/run/user/1000/kestrelyne"}, {"XDG_RUNTIME_DIR", "/run/user/1000"}}), folders);
    EXPECT_EQ(path.path, "/run/user/1000/kestrelyne/control.sock");
    EXPECT_FALSE(path.forGroup);
}

TEST(ControlPath, FitsIntoASocketAddressWhateverTheFolders) {
    // "/control.sock" has 13 characters.
    const Folders longest{.settings = "/" + std::string(longestSocketPath - 14, 'x'), .data = "/d"};
    EXPECT_EQ(ControlPath::choose(environmentOf({}), longest).path, longest.settings / "control.sock");
    const Folders longer{.settings = longest.settings.string() + "x", .data = "/d"};
    const auto path = ControlPath::choose(environmentOf({{"XDG_RUNTIME_DIR", "/" + std::string(100, 'r')}}), longer).path;
    EXPECT_TRUE(path.string().starts_with("/tmp/kestrelyne-")) << path;
    EXPECT_LE(path.string().size(), longestSocketPath);
}

}  // namespace
}  // namespace kestrelyne
