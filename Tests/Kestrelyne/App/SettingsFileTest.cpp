#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>

#include "Base/File.hpp"
#include "Kestrelyne/App/SettingsStore.hpp"
#include "Support/TemporaryFolder.hpp"

namespace kestrelyne {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> namesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

mode_t modeOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

void runSQL(const fs::path& path, const char* sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
    sqlite3_close(database);
}

const std::map<std::string, SettingValue> allKinds = {
    {"blob", SettingBlob{std::string("{\"a\":\0 1}", 9)}},
    {"blob.empty", SettingBlob{}},
    {"text", std::string("Bühne links\n\t„x“")},
    {"text.empty", std::string()},
    {"number", 0.1},
    {"number.whole", 8470.0},
    {"number.huge", -1.7976931348623157e308},
    {"yes", true},
    {"no", false},
};

TEST(SettingsFile, KeepsEveryKindOverAReopening) {
    const TemporaryFolder folder;
    const auto path = folder / "a/b/settings.sqlite";
    {
        SettingsFile file(path);
        for (const auto& [key, value] : allKinds) file.set(key, value);
        EXPECT_FALSE(file.movedAside());
    }
    SettingsFile file(path);
    EXPECT_EQ(file.all(), allKinds);
    EXPECT_EQ(file.get("number"), SettingValue(0.1));
    EXPECT_EQ(file.get("missing"), std::nullopt);
}

TEST(SettingsFile, ReplacesAValueOfAnotherKind) {
    const TemporaryFolder folder;
    SettingsFile file(folder / "settings.sqlite");
    file.set("key", SettingBlob{"[]"});
    file.set("key", true);
    EXPECT_EQ(file.all(), (std::map<std::string, SettingValue>{{"key", true}}));
}

TEST(SettingsFile, RemovesOneKeyOrAll) {
    const TemporaryFolder folder;
    SettingsFile file(folder / "settings.sqlite");
    file.setAll(allKinds);
    EXPECT_TRUE(file.remove("text"));
    EXPECT_FALSE(file.remove("text"));
    EXPECT_EQ(file.all().size(), allKinds.size() - 1);
    file.removeAll();
    EXPECT_TRUE(file.all().empty());
}

TEST(SettingsFile, SetsAllOrNothing) {
    const TemporaryFolder folder;
    SettingsFile file(folder / "settings.sqlite");
    file.set("a", 1.0);
    // The last of them cannot be stored.
    EXPECT_THROW(file.setAll({{"a", 2.0}, {"b", 3.0}, {"z", std::numeric_limits<double>::infinity()}}), std::runtime_error);
    EXPECT_EQ(file.all(), (std::map<std::string, SettingValue>{{"a", 1.0}}));
    file.setAll({{"b", 3.0}});
    EXPECT_EQ(file.all().size(), 2u);
}

TEST(SettingsFile, RefusesANumberThatIsNone) {
    const TemporaryFolder folder;
    SettingsFile file(folder / "settings.sqlite");
    EXPECT_THROW(file.set("a", std::nan("")), std::runtime_error);
    EXPECT_TRUE(file.all().empty());
}

TEST(SettingsFile, IsPrivateWhateverTheUmask) {
    const TemporaryFolder folder;
    const auto path = folder / "settings.sqlite";
    const auto old = umask(0);
    {
        SettingsFile file(path);
        file.set("web.v1", SettingBlob{"{}"});
        for (const auto* suffix : {"", "-wal", "-shm"}) EXPECT_EQ(modeOf(path.string() + suffix), 0600u) << suffix;
    }
    chmod(path.c_str(), 0644);
    SettingsFile again(path);
    again.set("web.v1", SettingBlob{"[]"});
    umask(old);
    for (const auto* suffix : {"", "-wal", "-shm"}) EXPECT_EQ(modeOf(path.string() + suffix), 0600u) << suffix;
}

TEST(SettingsFile, KeepsAWriteAheadLogAndSyncsEachChange) {
    const TemporaryFolder folder;
    const auto path = folder / "settings.sqlite";
    SettingsFile file(path);
    file.set("a", true);
    // The change is in the log, as nobody has folded it into the file yet.
    EXPECT_GT(fs::file_size(path.string() + "-wal"), 0u);
}

TEST(SettingsFile, TwoMayWriteAtOnce) {
    const TemporaryFolder folder;
    const auto path = folder / "settings.sqlite";
    constexpr int writers = 4, changes = 25;
    std::atomic<int> opened = 0;
    std::vector<std::thread> threads;
    for (int w = 0; w < writers; ++w)
        threads.emplace_back([&, w] {
            SettingsFile file(path);
            EXPECT_FALSE(file.movedAside());
            ++opened;
            for (int i = 0; i < changes; ++i) file.set(std::to_string(w) + "." + std::to_string(i), double(i));
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(opened, writers);
    SettingsFile file(path);
    EXPECT_EQ(file.all().size(), std::size_t(writers) * changes);
    EXPECT_EQ(namesIn(folder.path()).front(), "settings.sqlite");
}

TEST(SettingsFile, OpensBesideAnotherThatHasItOpen) {
    const TemporaryFolder folder;
    const auto path = folder / "settings.sqlite";
    SettingsFile program(path);
    program.set("a", 1.0);
    SettingsFile tool(path, SettingsFile::Damage::refuse);
    tool.set("a", 2.0);
    EXPECT_EQ(program.get("a"), SettingValue(2.0));
    program.set("a", 3.0);
    EXPECT_EQ(tool.get("a"), SettingValue(3.0));
}

/// A store of some pages, closed.
void makeStore(const fs::path& path) {
    SettingsFile file(path);
    for (int i = 0; i < 50; ++i) file.set("key." + std::to_string(i), SettingBlob{std::string(500, char('a' + i % 26))});
}

struct Harm {
    const char* name;
    void (*apply)(const fs::path&);
};
void PrintTo(const Harm& harm, std::ostream* out) { *out << harm.name; }

class DamagedSettingsFile : public testing::TestWithParam<Harm> {};

TEST_P(DamagedSettingsFile, IsMovedAsideAndReplacedByDefaults) {
    const TemporaryFolder folder;
    const auto path = folder / "settings.sqlite";
    makeStore(path);
    GetParam().apply(path);
    const auto damaged = base::readFile(path);

    EXPECT_THROW(SettingsFile(path, SettingsFile::Damage::refuse), std::runtime_error);
    EXPECT_EQ(base::readFile(path), damaged) << "refused, yet touched";

    SettingsFile file(path);
    ASSERT_TRUE(file.movedAside());
    EXPECT_TRUE(file.movedAside()->filename().string().starts_with("settings.sqlite.beschädigt-2")) << *file.movedAside();
    EXPECT_EQ(base::readFile(*file.movedAside()), damaged) << "moved, not overwritten";
    EXPECT_TRUE(file.all().empty());
    file.set("a", true);
    EXPECT_FALSE(SettingsFile(path).movedAside()) << "told once";
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, DamagedSettingsFile,
    testing::Values(
        Harm{"Garbage", [](const fs::path& path) { base::replaceFile(path, std::string(5000, 'x')); }},
        Harm{"FewBytes", [](const fs::path& path) { base::replaceFile(path, "hello"); }},
        Harm{"Truncated", [](const fs::path& path) { fs::resize_file(path, fs::file_size(path) / 2); }},
        Harm{"TruncatedWithinTheHeader", [](const fs::path& path) { fs::resize_file(path, 60); }},
        Harm{"PageOverwritten",
             [](const fs::path& path) {
                 auto bytes = *base::readFile(path);
                 bytes.replace(4096, 4096, std::string(4096, '\x7F'));
                 base::replaceFile(path, bytes);
             }},
        Harm{"WrongColumns",
             [](const fs::path& path) { runSQL(path, "DROP TABLE settings; CREATE TABLE settings (name TEXT, content BLOB)"); }},
        Harm{"KeyNotUnique",
             [](const fs::path& path) { runSQL(path, "DROP TABLE settings; CREATE TABLE settings (key TEXT, kind TEXT, value)"); }},
        Harm{"NoTable", [](const fs::path& path) { runSQL(path, "DROP TABLE settings"); }},
        Harm{"SomebodyElses", [](const fs::path& path) { runSQL(path, "PRAGMA application_id = 7"); }}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SettingsFile, BeginsAnewInAnEmptyFile) {
    const TemporaryFolder folder;
    const auto path = folder / "settings.sqlite";
    base::replaceFile(path, "");
    SettingsFile file(path);
    EXPECT_FALSE(file.movedAside()) << "there is nothing to keep";
    file.set("a", true);
    EXPECT_EQ(file.all().size(), 1u);
}

TEST(SettingsFile, KeepsTheLogOfAFileThatWasEmptied) {
    const TemporaryFolder folder;
    const auto path = folder / "settings.sqlite";
    const auto log = path.string() + "-wal";
    std::string logged;
    {
        SettingsFile file(path);
        file.set("a", true);
        logged = *base::readFile(log);
    }
    base::replaceFile(path, "");
    base::replaceFile(log, logged);
    SettingsFile file(path);
    ASSERT_TRUE(file.movedAside());
    EXPECT_EQ(base::readFile(file.movedAside()->string() + "-wal"), logged);
    EXPECT_TRUE(file.all().empty());
}

TEST(SettingsFile, LeavesOutRowsWhoseKindDoesNotFit) {
    const TemporaryFolder folder;
    const auto path = folder / "settings.sqlite";
    { SettingsFile(path).set("good", 1.0); }
    runSQL(path,
           "INSERT INTO settings VALUES ('a', 'json', 5), ('b', 'text', x'00'), ('c', 'number', 'x'), ('d', 'bool', 'true'), "
           "('e', 'date', 1), ('f', 'number', 7)");
    SettingsFile file(path);
    EXPECT_FALSE(file.movedAside());
    EXPECT_EQ(file.all(), (std::map<std::string, SettingValue>{{"f", 7.0}, {"good", 1.0}}));
    EXPECT_EQ(file.get("a"), std::nullopt);
    file.set("a", SettingBlob{"[]"});
    EXPECT_EQ(file.get("a"), SettingValue(SettingBlob{"[]"}));
}

TEST(SettingsFile, DoesNotTouchAStoreOfANewerProgram) {
    const TemporaryFolder folder;
    const auto path = folder / "settings.sqlite";
    makeStore(path);
    runSQL(path, "PRAGMA user_version = 2");
    const auto before = base::readFile(path);
    try {
        SettingsFile file(path);
        FAIL() << "opened";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("neueren Version"), std::string::npos) << error.what();
    }
    EXPECT_EQ(base::readFile(path), before);
}

TEST(SettingsFile, SaysWhichFolderCannotBeUsed) {
    const TemporaryFolder folder;
    base::replaceFile(folder / "file", "");
    for (const auto& path : {folder / "file/settings.sqlite", fs::path("/proc/self/settings.sqlite")}) {
        try {
            SettingsFile file(path);
            FAIL() << "opened " << path;
        } catch (const std::runtime_error& error) {
            EXPECT_NE(std::string(error.what()).find("„" + path.string() + "“"), std::string::npos) << error.what();
        }
    }
}

TEST(SettingsFile, ReportsAFolderWithoutPermission) {
    if (geteuid() == 0) GTEST_SKIP() << "root may write everywhere";
    const TemporaryFolder folder;
    chmod(folder.path().c_str(), 0500);
    EXPECT_THROW(SettingsFile(folder / "settings.sqlite"), std::runtime_error);
    chmod(folder.path().c_str(), 0700);
}

TEST(SettingsFile, KeepsItsLocksWhenOneOfTwoOpenersInAProcessCloses) {
    const TemporaryFolder folder;
    const auto path = folder / "settings.sqlite";
    SettingsFile first(path);
    first.set("a", 1.0);
    { SettingsFile second(path); }
    // The first still holds the log: it is not folded in and removed by the one that closed.
    EXPECT_TRUE(fs::exists(path.string() + "-wal"));
    first.set("a", 2.0);
    EXPECT_EQ(SettingsFile(path).get("a"), SettingValue(2.0));
}

}  // namespace
}  // namespace kestrelyne
