#include "Kestrelyne/Lighting/PatchStore.hpp"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <latch>
#include <optional>
#include <set>
#include <thread>

#include "Base/File.hpp"
#include "Base/JSONFields.hpp"
#include "Kestrelyne/Lighting/RDMDeviceState.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

using namespace kestrelyne;
using namespace std::chrono_literals;

namespace {

PatchFixture lamp(const std::string& fixtureID, int universe = 1, int address = 1) {
    PatchFixture fixture;
    fixture.fixtureID = fixtureID;
    fixture.universe = universe;
    fixture.address = address;
    return fixture;
}

class PatchStoreTest : public testing::Test {
protected:
    void open() { store_.emplace(folder_.path(), *writer_); }
    // Everything that was handed over is written.
    void settle() {
        const base::Task flush("flush", writer_->flush());
        ASSERT_TRUE(loop_.runUntil([&] { return !flush.running(); }));
    }
    bool flush() {
        const base::Task flush("flush", store_->flush());
        return loop_.runUntil([&] { return !flush.running(); });
    }
    // Writes wait until the latch opens.
    std::shared_ptr<std::latch> hold() {
        auto go = std::make_shared<std::latch>(1);
        writer_->write([go] { go->wait(); });
        return go;
    }
    std::vector<std::string> stored() {
        std::vector<std::string> numbers;
        for (const auto& fixture : PatchStore::read(folder_.path()).fixtures) numbers.push_back(fixture.fixtureID);
        return numbers;
    }
    bool fileIsThere() const { return std::filesystem::exists(file_); }
    using Numbers = std::vector<std::string>;

    TestLoop loop_;
    TemporaryFolder folder_;
    const std::filesystem::path file_ = folder_ / "Patch" / "patch.json";
    std::optional<base::StoreWriter> writer_{std::in_place};
    std::optional<PatchStore> store_;
};

TEST_F(PatchStoreTest, BeginsEmptyWithoutAFileAndMakesNone) {
    open();
    EXPECT_EQ(*store_->patch(), Patch());
    EXPECT_EQ(store_->settings(), PatchSettings());
    EXPECT_TRUE(store_->movedAside().empty());
    loop_.advance(base::Seconds(5));
    settle();
    EXPECT_FALSE(std::filesystem::exists(folder_ / "Patch")) << "a folder is made at first use";
    EXPECT_EQ(PatchStore::read(folder_.path()), Patch());
}

TEST_F(PatchStoreTest, SavesHalfASecondAfterTheLastOfABurst) {
    open();
    store_->update(lamp("1"));
    loop_.advance(base::Seconds(0.4));
    store_->update(lamp("2"));
    loop_.advance(base::Seconds(0.4));
    settle();
    EXPECT_FALSE(fileIsThere()) << "the second change has begun the wait anew";
    loop_.advance(base::Seconds(0.2));
    settle();
    EXPECT_EQ(stored(), (Numbers{"1", "2"}));
    struct stat status {};
    ASSERT_EQ(stat(file_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0644u);
}

TEST_F(PatchStoreTest, EveryChangeIsSavedAndTold) {
    open();
    int told = 0;
    const auto subscription = store_->patch().observe([&] { ++told; });
    const auto saved = [&] {
        loop_.advance(base::Seconds(0.6));
        settle();
        return PatchStore::read(folder_.path());
    };
    store_->apply({lamp("2"), lamp("1")}, true, "liste.csv");
    EXPECT_EQ(saved(), *store_->patch());
    EXPECT_EQ(store_->sourceName(), "liste.csv");
    EXPECT_EQ(store_->fixtures()[0].fixtureID, "1");
    const auto id = store_->fixtures()[0].id;
    store_->bulkEdit({id}, {.breaker = "F1"});
    EXPECT_EQ(saved().fixtures[0].breaker, "F1");
    auto settings = store_->settings();
    settings.artNetOffset = 4;
    store_->setSettings(settings);
    EXPECT_EQ(saved().settings.artNetOffset, 4);
    store_->remove({id});
    EXPECT_EQ(saved().fixtures.size(), 1u);
    Patch other;
    other.fixtures = {lamp("9"), lamp("8")};
    store_->set(other);
    EXPECT_EQ(saved().fixtures[0].fixtureID, "8") << "in order";
    EXPECT_EQ(told, 5);
    EXPECT_EQ(store_->failedWrites(), 0u);
}

TEST_F(PatchStoreTest, ALargeRigIsEncodedInSlicesThatAChangeBeginsAnew) {
    open();
    Patch rig;
    for (int i = 0; i < 1000; ++i) rig.fixtures.push_back(lamp(std::to_string(i)));
    store_->set(rig);
    loop_.advance(base::Seconds(0.6));
    settle();
    EXPECT_EQ(stored().size(), 1000u);
    // A change in the middle of the slices.
    store_->update(lamp("1000"));
    base::MainLoop::current().post([] {});
    const auto timer = loop_.loop().after(base::Seconds(0.5), [&] { store_->update(lamp("1001")); });
    loop_.advance(base::Seconds(0.5));
    loop_.advance(base::Seconds(0.6));
    settle();
    EXPECT_EQ(stored().size(), 1002u);
}

TEST_F(PatchStoreTest, AFlushWritesAtOnceAndWaits) {
    open();
    EXPECT_TRUE(flush()) << "nothing waits";
    EXPECT_FALSE(fileIsThere());
    Patch rig;
    for (int i = 0; i < 1000; ++i) rig.fixtures.push_back(lamp(std::to_string(i)));
    store_->set(rig);
    const auto go = hold();
    const base::Task flush("flush", store_->flush());
    loop_.runTurns();
    EXPECT_TRUE(flush.running()) << "it is not on disk yet";
    go->count_down();
    EXPECT_TRUE(loop_.runUntil([&] { return !flush.running(); }));
    EXPECT_EQ(stored().size(), 1000u);
}

TEST_F(PatchStoreTest, AFlushTakesAlongWhatChangesMeanwhile) {
    open();
    Patch rig;
    for (int i = 0; i < 1000; ++i) rig.fixtures.push_back(lamp(std::to_string(i)));
    store_->set(rig);
    const base::Task flush("flush", store_->flush());
    // The flush begins in the next turn and takes some.
    loop_.loop().post([&] { loop_.loop().post([&] { store_->update(lamp("1000")); }); });
    EXPECT_TRUE(loop_.runUntil([&] { return !flush.running(); }));
    EXPECT_EQ(stored().size(), 1001u);
}

TEST_F(PatchStoreTest, AFlushThatIsGivenUpLosesNothing) {
    open();
    Patch rig;
    for (int i = 0; i < 1000; ++i) rig.fixtures.push_back(lamp(std::to_string(i)));
    store_->set(rig);
    {
        const base::Task flush("flush", store_->flush());
        loop_.loop().post([] {});
    }
    loop_.advance(base::Seconds(0.6));
    settle();
    EXPECT_EQ(stored().size(), 1000u);
}

TEST_F(PatchStoreTest, NothingIsLostAtTheEnd) {
    open();
    store_->update(lamp("1"));
    store_.reset();
    settle();
    EXPECT_EQ(stored(), Numbers{"1"});
}

TEST_F(PatchStoreTest, OnASlowDiskOnlyTheNewestWaits) {
    open();
    const auto go = hold();
    for (int i = 0; i < 5; ++i) {
        store_->update(lamp(std::to_string(i)));
        loop_.advance(base::Seconds(0.6));
    }
    go->count_down();
    settle();
    EXPECT_EQ(stored().size(), 5u);
}

TEST_F(PatchStoreTest, IsReadAtTheStart) {
    Patch patch;
    patch.fixtures = {lamp("10"), lamp("9")};
    patch.sourceName = "alt.csv";
    PatchStore::write(folder_.path(), patch);
    open();
    EXPECT_EQ(store_->fixtures()[0].fixtureID, "9") << "in order, whatever order the file has";
    EXPECT_EQ(store_->sourceName(), "alt.csv");
    EXPECT_EQ(store_->revision(), 0u);
    loop_.advance(base::Seconds(1));
    settle();
    EXPECT_EQ(base::parseJSON(*base::readFile(file_))["fixtures"][0]["fixtureID"], "10") << "reading alone writes nothing";
}

TEST_F(PatchStoreTest, ADamagedFileIsKeptAsideWithADate) {
    for (const char* content : {"{\"fixtures\":[{\"fixtureID\":\"1", "", "[]", "{\"fixtures\":7}", "\xFF\xFE", "{}x"}) {
        std::filesystem::create_directories(file_.parent_path());
        std::ofstream(file_, std::ios::binary) << content;
        EXPECT_THROW(PatchStore::read(folder_.path()), std::runtime_error);
        EXPECT_TRUE(fileIsThere()) << "reading beside a program moves nothing";
        open();
        EXPECT_EQ(*store_->patch(), Patch());
        EXPECT_FALSE(fileIsThere());
        ASSERT_FALSE(store_->movedAside().empty());
        EXPECT_NE(store_->movedAside().string().find("patch.json.beschädigt-20"), std::string::npos);
        EXPECT_EQ(base::readFile(store_->movedAside()), content);
        store_->update(lamp("1"));
        EXPECT_TRUE(flush());
        EXPECT_EQ(stored(), Numbers{"1"});
        store_.reset();
    }
}

TEST_F(PatchStoreTest, AFailedWriteIsSilentAndCounted) {
    std::ofstream(folder_ / "Patch") << "in the way";
    open();
    store_->update(lamp("1"));
    EXPECT_TRUE(flush());
    EXPECT_EQ(store_->failedWrites(), 1u);
    EXPECT_EQ(store_->fixtures().size(), 1u);
    std::filesystem::remove(folder_ / "Patch");
    store_->update(lamp("2"));
    EXPECT_TRUE(flush());
    EXPECT_EQ(store_->failedWrites(), 1u);
    EXPECT_EQ(stored(), (Numbers{"1", "2"}));
}

TEST_F(PatchStoreTest, IsSharedWhenItIsRegistered) {
    open();
    store_->registerShared();
    EXPECT_EQ(&PatchStore::shared(), &*store_);
}

TEST_F(PatchStoreTest, ALampIsItsLinkedDeviceElseTheOneAtItsAddress) {
    open();
    const auto device = [](std::uint32_t number, int universe, std::optional<int> address) {
        RDMDeviceState state;
        state.uid = {.manufacturer = 0x4D41, .device = number};
        state.universe = universe;
        if (address) state.info.emplace().startAddress = *address;
        return state;
    };
    const std::vector<RDMDeviceState> devices = {device(1, 1, 41), device(2, 1, std::nullopt), device(3, 1, 42), device(4, 1, 42),
                                                 device(5, 0, 42)};
    const auto found = [&](PatchFixture fixture, std::optional<std::string> uid = {}) -> std::uint32_t {
        fixture.rdmUID = std::move(uid);
        const auto* state = store_->rdmDevice(fixture, devices);
        return state == nullptr ? 0 : state->uid.device;
    };
    EXPECT_EQ(found(lamp("1", 2, 41)), 1u) << "universe 2 of the console is 1 of Art-Net";
    EXPECT_EQ(found(lamp("1", 2, 42)), 3u) << "the first of two";
    EXPECT_EQ(found(lamp("1", 1, 42)), 5u);
    EXPECT_EQ(found(lamp("1", 0, 42)), 5u) << "clamped";
    EXPECT_EQ(found(lamp("1", 2, 43)), 0u);
    EXPECT_EQ(found(lamp("1", 2, 0)), 0u) << "not patched; nor is a device without an address one at 0";
    EXPECT_EQ(found(lamp("1", 2, 41), "4D41:00000002"), 2u);
    EXPECT_EQ(found(lamp("1", 2, 41), "4D41:00000009"), 1u) << "gone: by its address";
    EXPECT_EQ(found(lamp("1", 2, 41), "4d41:00000002"), 1u) << "exactly as it prints";
    EXPECT_EQ(found(lamp("1", 2, 0), "4D41:00000003"), 3u) << "the link needs no address";
    auto settings = store_->settings();
    settings.artNetOffset = -1;
    store_->setSettings(settings);
    EXPECT_EQ(found(lamp("1", 3, 41)), 1u);
}

// A child saves without a pause until it is killed; whenever that is, the file is a whole one.
TEST(PatchFile, IsWholeWheneverTheWriterIsKilled) {
    TemporaryFolder folder;
    Patch patch;
    for (int i = 0; i < 400; ++i) patch.fixtures.push_back(lamp(std::to_string(i)));
    patch.sourceName = "0";
    PatchStore::write(folder.path(), patch);
    int saved = 0;
    for (int kill = 0; kill < 25; ++kill) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (int round = 1;; ++round) {
                patch.sourceName = std::to_string(kill * 100000 + round);
                PatchStore::write(folder.path(), patch);
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(3 + kill * 2));
        ASSERT_EQ(::kill(child, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "it did not end by itself";
        const auto found = PatchStore::read(folder.path());
        ASSERT_EQ(found.fixtures.size(), 400u);
        EXPECT_EQ(found.fixtures[399], patch.fixtures[399]);
        if (found.sourceName != patch.sourceName) ++saved;
    }
    // What the last kill may have left goes with the next start; what is not ours stays.
    std::ofstream(folder / "Patch" / ".new-abcdef") << "half";
    std::ofstream(folder / "Patch" / "show.gz") << "whole";
    TestLoop loop;
    base::StoreWriter writer;
    const PatchStore store(folder.path(), writer);
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder / "Patch")) names.insert(entry.path().filename().string());
    EXPECT_EQ(names, (std::set<std::string>{"patch.json", "show.gz"}));
    EXPECT_GT(saved, 5) << "the kills came while it was saving";
}

}  // namespace
