#include "Base/StoreWriter.hpp"

#include <latch>
#include <thread>

#include "Base/File.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

TEST(StoreWriter, WritesInOrderOffTheMainThreadAndFlushWaitsForAllOfIt) {
    TestLoop test;
    const TemporaryFolder folder;
    base::StoreWriter writer;
    std::vector<int> written;
    std::thread::id writtenOn;
    const auto go = std::make_shared<std::latch>(1);
    writer.write([go] { go->wait(); });
    for (int i = 0; i < 10; ++i)
        writer.write([&, i, path = folder / "state"] {
            base::replaceFile(path, std::to_string(i));
            written.push_back(i);
            writtenOn = std::this_thread::get_id();
        });
    const base::Task flush("flush", writer.flush());
    test.runTurns();
    EXPECT_TRUE(flush.running()) << "nothing is written yet";
    go->count_down();
    EXPECT_TRUE(test.runUntil([&] { return !flush.running(); }));
    EXPECT_EQ(written, (std::vector{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_NE(writtenOn, std::this_thread::get_id());
    EXPECT_EQ(base::readFile(folder / "state"), "9");
}

TEST(StoreWriter, AFlushOfADestroyedWriterFails) {
    TestLoop test;
    std::optional<base::StoreWriter> writer(std::in_place);
    bool failed = false;
    const base::Task flush("flush", writer->flush(), [&](std::exception_ptr) { failed = true; });
    writer.reset();
    test.runTurns();
    EXPECT_TRUE(failed);
}
