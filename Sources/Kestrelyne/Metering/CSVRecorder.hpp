#pragma once
// Writes the readings of one meter into a CSV file: the 61 measurements of the main block, whichever kind of meter is read.

#include <filesystem>
#include <memory>
#include <string>

#include "Base/Clock.hpp"
#include "Base/StoreWriter.hpp"
#include "MeterCore/ValueSet.hpp"

namespace kestrelyne {

/// Cells are joined by ";", lines end with CR LF, UTF-8 without a byte order mark, decimal comma, local time.
class CSVRecorder {
public:
    /// Creates the file, truncating one that exists, and writes the header on the writer's thread. Throws std::system_error.
    static base::Co<std::unique_ptr<CSVRecorder>> open(std::filesystem::path path, base::StoreWriter& writer);
    /// Closes the file behind what is still to be written; a failure to close is ignored.
    ~CSVRecorder();

    const std::filesystem::path& path() const { return path_; }
    /// One line; an absent value or one that is not finite leaves its cell empty. The file grows on the writer's thread. Main
    /// thread.
    void write(base::WallTime date, const metercore::ValueSet& values);

    static std::string header();
    static std::string line(base::WallTime date, const metercore::ValueSet& values);

private:
    struct File;
    CSVRecorder(std::filesystem::path path, std::shared_ptr<File> file, base::StoreWriter& writer);
    std::filesystem::path path_;
    std::shared_ptr<File> file_;
    base::StoreWriter& writer_;
};

}  // namespace kestrelyne
