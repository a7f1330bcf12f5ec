#pragma once
// The files of the web app, from one folder.

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Base/Mutex.hpp"
#include "Kestrelyne/Remote/HTTPMessage.hpp"

namespace kestrelyne {

/// The path below the web root that a request's path asks for ("/" and "/foh" are "index.html"); absent when it must be refused
/// because it contains "..". Pure; any thread.
std::optional<std::string> staticFileName(std::string_view path);
/// Status 200 with the headers that follow from the file's name. Pure; any thread.
HTTPResponse staticFileResponse(std::string_view name, std::string bytes);

/// Answers from memory where the file has not changed (its inode, size and times are asked each time). Any thread.
class StaticFiles {
public:
    static constexpr std::size_t cacheBytes = 4 << 20;         // over all files
    static constexpr std::size_t cachedFileBytes = 512 << 10;  // a larger file is read each time
    static constexpr std::size_t largestFileBytes = 32 << 20;  // a larger one counts as unreadable
    /// A file changed so recently may change again within the resolution of its time stamp; it is not kept yet.
    static constexpr std::int64_t settleSeconds = 2;

    explicit StaticFiles(std::filesystem::path root) : root_(std::move(root)) {}

    /// The answer when it needs no reading: refused, absent, or in memory. Quick.
    std::optional<HTTPResponse> quick(const std::string& path);
    /// The answer; reads the file. Blocking.
    HTTPResponse read(const std::string& path);

    std::size_t heldBytes() const;

private:
    // What differs when the file was changed or replaced.
    struct Stamp {
        dev_t device;
        ino_t inode;
        off_t size;
        timespec modified, changed;
        explicit Stamp(const struct stat& info);
        bool operator==(const Stamp& other) const;
    };
    struct Entry {
        std::string name;
        Stamp stamp;
        std::string bytes;
    };
    bool rootIsFolder() const;
    /// Text behind text: a name that begins with "/" stays below the root, which joining paths would leave.
    std::string below(const std::string& name) const { return root_.string() + "/" + name; }
    void keep(const std::string& name, const Stamp& stamp, const std::string& bytes);

    const std::filesystem::path root_;
    mutable base::Mutex mutex_;
    std::list<Entry> entries_ KESTRELYNE_GUARDED_BY(mutex_);  // the last used first
    std::unordered_map<std::string, std::list<Entry>::iterator> byName_ KESTRELYNE_GUARDED_BY(mutex_);
    std::size_t held_ KESTRELYNE_GUARDED_BY(mutex_) = 0;
};

}  // namespace kestrelyne
