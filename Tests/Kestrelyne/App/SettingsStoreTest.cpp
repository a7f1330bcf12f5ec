#include "Kestrelyne/App/SettingsStore.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <future>

#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

namespace kestrelyne {
namespace {

class SettingsStoreTest : public testing::Test {
protected:
    std::unique_ptr<SettingsFile> open() { return std::make_unique<SettingsFile>(path_); }
    void flush() {
        bool done = false;
        auto body = [](base::StoreWriter& writer, bool& flag) -> base::Co<> {
            co_await writer.flush();
            flag = true;
        };
        const base::Task task("flush", body(writer_, done));
        ASSERT_TRUE(loop_.runUntil([&] { return done; }));
    }

    TemporaryFolder folder_;
    std::filesystem::path path_ = folder_ / "settings.sqlite";
    TestLoop loop_;
    base::StoreWriter writer_;
};

TEST_F(SettingsStoreTest, AnswersFromMemoryAtOnceAndWritesBehind) {
    SettingsStore store(open(), writer_);
    store.setBlob("blob", "[1]");
    store.setBoolean("flag", false);
    store.setText("text", "ä");
    EXPECT_EQ(store.blob("blob"), "[1]");
    EXPECT_EQ(store.boolean("flag"), false);
    EXPECT_EQ(store.text("text"), "ä");
    flush();
    EXPECT_EQ(open()->all(),
              (std::map<std::string, SettingValue>{{"blob", SettingBlob{"[1]"}}, {"flag", false}, {"text", std::string("ä")}}));
    EXPECT_EQ(store.failedWrites(), 0u);
}

TEST_F(SettingsStoreTest, LoadsWhatIsThere) {
    open()->setAll({{"n", 2.5}, {"b", true}});
    const SettingsStore store(open(), writer_);
    EXPECT_EQ(store.number("n"), 2.5);
    EXPECT_EQ(store.boolean("b"), true);
    EXPECT_EQ(store.value("n"), SettingValue(2.5));
    EXPECT_EQ(store.value("x"), std::nullopt);
}

TEST_F(SettingsStoreTest, AValueOfAnotherKindIsAbsentButATextCountsAsBlob) {
    SettingsStore store;
    store.setText("text", "[]");
    store.setBlob("blob", "[]");
    EXPECT_EQ(store.blob("text"), "[]");
    EXPECT_EQ(store.text("blob"), std::nullopt);
    EXPECT_EQ(store.number("text"), std::nullopt);
    EXPECT_EQ(store.boolean("text"), std::nullopt);
    EXPECT_EQ(store.blob("missing"), std::nullopt);
}

TEST_F(SettingsStoreTest, TheLastChangeOfAKeyStaysInTheFile) {
    SettingsStore store(open(), writer_);
    for (int i = 0; i < 20; ++i) store.setText("key", std::to_string(i));
    store.setText("gone", "x");
    store.remove("gone");
    flush();
    EXPECT_EQ(open()->all(), (std::map<std::string, SettingValue>{{"key", std::string("19")}}));
    EXPECT_EQ(store.value("gone"), std::nullopt);
}

TEST_F(SettingsStoreTest, AKeyThatChangesWhileTheDiskIsSlowWaitsOnce) {
    SettingsStore store(open(), writer_);
    std::promise<void> disk;
    writer_.write([held = disk.get_future().share()] { held.wait(); });
    for (int i = 0; i < 1000; ++i) store.setText("log", std::to_string(i));
    store.setText("other", "x");
    store.remove("other");
    EXPECT_EQ(store.waitingWrites(), 2u);
    disk.set_value();
    flush();
    EXPECT_EQ(store.waitingWrites(), 0u);
    EXPECT_EQ(open()->all(), (std::map<std::string, SettingValue>{{"log", std::string("999")}}));
}

TEST_F(SettingsStoreTest, RemovesAlsoWhatAnotherProgramHasWritten) {
    SettingsStore store(open(), writer_);
    open()->set("theirs", true);
    store.remove("theirs");
    flush();
    EXPECT_EQ(open()->get("theirs"), std::nullopt);
}

TEST_F(SettingsStoreTest, AWriteAfterItsEndStillReachesTheFile) {
    {
        SettingsStore store(open(), writer_);
        store.setText("last", "word");
    }
    flush();
    EXPECT_EQ(open()->get("last"), SettingValue(std::string("word")));
}

TEST_F(SettingsStoreTest, GoesOnAndCountsWhenAWriteFails) {
    SettingsStore store(open(), writer_);
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path_.c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "DROP TABLE settings", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(other);
    store.setText("a", "b");
    flush();
    EXPECT_EQ(store.text("a"), "b");
    EXPECT_EQ(store.failedWrites(), 1u);
}

}  // namespace
}  // namespace kestrelyne
