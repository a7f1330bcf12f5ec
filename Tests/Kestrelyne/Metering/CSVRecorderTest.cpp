#include "Kestrelyne/Metering/CSVRecorder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <system_error>

#include "Base/File.hpp"
#include "MeterCore/JanitzaRegisterMap.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

using kestrelyne::CSVRecorder;

namespace {
// 2026-07-01 12:00:00.250 in Berlin.
const base::WallTime summerNoon{std::chrono::milliseconds(1782900000250)};
}  // namespace

TEST(CSVRecorder, TheHeaderNamesTheMainBlock) {
    const auto header = CSVRecorder::header();
    EXPECT_TRUE(header.starts_with("Zeitstempel;Spannung L-N L1 [V];Spannung L-N L2 [V];"));
    EXPECT_TRUE(header.ends_with("THD Strom L3 [%]\r\n"));
    EXPECT_NE(header.find(";Netz Drehfeld [];"), std::string::npos);
    EXPECT_EQ(std::count(header.begin(), header.end(), ';'), 61);
}

TEST(CSVRecorder, ALineHasFourDecimalsWithACommaAndEmptyCells) {
    const auto line = CSVRecorder::line(summerNoon, {{19000, 230.125}, {19002, NAN}, {19006, -0.5}, {802, 3.0}});
    EXPECT_TRUE(line.starts_with("2026-07-01 12:00:00.250;230,1250;;;-0,5000;")) << line;
    EXPECT_EQ(std::count(line.begin(), line.end(), ';'), 61);
    EXPECT_TRUE(line.ends_with(";\r\n"));
}

TEST(CSVRecorder, TruncatesAnOldFileAndAppendsLines) {
    TestLoop loop;
    const TemporaryFolder folder;
    const auto path = folder / "a.csv";
    base::replaceFile(path, "old content that is longer than nothing");
    base::StoreWriter writer;
    std::unique_ptr<CSVRecorder> recorder;
    bool flushed = false;
    const auto body = [](base::StoreWriter& used, std::filesystem::path file, std::unique_ptr<CSVRecorder>& result,
                         bool& done) -> base::Co<> {
        result = co_await CSVRecorder::open(std::move(file), used);
        result->write(summerNoon, {{19000, 1.0}});
        result->write(summerNoon, {});
        result.reset();
        co_await used.flush();
        done = true;
    };
    const base::Task task("record", body(writer, path, recorder, flushed));
    ASSERT_TRUE(loop.runUntil([&] { return flushed; }));
    EXPECT_EQ(base::readFile(path),
              CSVRecorder::header() + CSVRecorder::line(summerNoon, {{19000, 1.0}}) + CSVRecorder::line(summerNoon, {}));
}

TEST(CSVRecorder, AFileThatCannotBeMadeIsTold) {
    TestLoop loop;
    base::StoreWriter writer;
    bool failed = false;
    const auto body = [](base::StoreWriter& used, bool& told) -> base::Co<> {
        try {
            const auto recorder = co_await CSVRecorder::open("/nonexistent/folder/a.csv", used);
        } catch (const std::system_error&) {
            told = true;
        }
    };
    const base::Task task("record", body(writer, failed));
    EXPECT_TRUE(loop.runUntil([&] { return failed; }));
}
