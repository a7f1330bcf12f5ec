#pragma once
// The one way to read, replace and set aside a file. Blocking; not for the main thread while the program runs.

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace base {

/// The whole file; absent when it cannot be read or is larger than `limit` bytes.
std::optional<std::string> readFile(const std::filesystem::path& path, std::size_t limit = std::size_t{1} << 30);

/// Replaces the file as a whole: temporary file in the same folder, fsync, rename, fsync of the folder. A reader sees the old or
/// the new content, also after a power cut. Throws std::system_error and leaves the old file when anything fails.
void replaceFile(const std::filesystem::path& path, std::string_view content, mode_t mode = 0644);

/// Renames a damaged file to "<name>.beschädigt-<yyyy-MM-dd HH-mm-ss>" (with a number behind it when that is taken) beside itself
/// and answers the new path; absent when it cannot.
std::optional<std::filesystem::path> moveAside(const std::filesystem::path& path);

/// Creates the folder with its parents (mode 0700 for each new one); throws std::system_error.
void makeFolder(const std::filesystem::path& path);

}  // namespace base
