#pragma once
// Reads a ZIP archive where it lies: nothing is unpacked to a folder, so no name in it can lead out of one.

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

struct zip;

namespace kestrelyne {

/// Any one thread. Every failure is an ImportError that names the archive.
class ZipArchive {
public:
    struct Limits {
        std::size_t entries = 20000;
        std::size_t unpacked = std::size_t{1} << 30;  // bytes: of all entries together as they say, and of all that is read
    };

    explicit ZipArchive(const std::filesystem::path& file) : ZipArchive(file, Limits{}) {}
    ZipArchive(const std::filesystem::path& file, Limits limits);
    /// An archive in memory; `name` is what errors call it.
    ZipArchive(std::string bytes, std::string name) : ZipArchive(std::move(bytes), std::move(name), Limits{}) {}
    ZipArchive(std::string bytes, std::string name, Limits limits);
    ZipArchive(ZipArchive&&) noexcept = default;
    ZipArchive& operator=(ZipArchive&&) noexcept = default;
    ~ZipArchive();

    /// Its file name.
    const std::string& name() const { return name_; }
    /// With "/" between folders, in the order of the archive. Folders and names that climb out ("..") are left out.
    std::vector<std::string> entries() const;
    /// The entry of this name, else of this name in other letters, else one of the name in a folder, the outermost first. Of
    /// several of one name the last one counts, as for programs that replace an entry by appending.
    std::optional<std::size_t> find(std::string_view name) const;
    /// The content of an entry of find(), at most `limit` bytes.
    std::string read(std::size_t entry, std::size_t limit);

private:
    struct Closer {
        void operator()(zip* archive) const;
    };
    struct Entry {
        std::string name, lower;
        std::size_t index;
    };

    void list();
    [[noreturn]] void failed(const Entry& entry, std::string_view what) const;

    std::string name_;
    Limits limits_;
    std::size_t read_ = 0;                // bytes given out so far
    std::unique_ptr<std::string> bytes_;  // outlives the archive that reads it
    std::unique_ptr<zip, Closer> archive_;
    std::vector<Entry> entries_;
    std::unordered_map<std::string, std::size_t> byName_, byLower_, byBase_;  // the base name in small letters
};

}  // namespace kestrelyne
