#include "Base/File.hpp"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "Base/Clock.hpp"
#include "Base/FileDescriptor.hpp"

namespace base {

namespace {

[[noreturn]] void fail(const std::filesystem::path& path, int number = errno) {
    throw std::system_error(number, std::generic_category(), path.string());
}

std::filesystem::path folderOf(const std::filesystem::path& path) {
    const auto folder = path.parent_path();
    return folder.empty() ? std::filesystem::path(".") : folder;
}

/// A file beside the one it is to replace; it goes when it has not taken its place.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::filesystem::path& folder) : name_((folder / ".new-XXXXXX").string()) {
        descriptor_.reset(mkostemp(name_.data(), O_CLOEXEC));
        if (!descriptor_) fail(name_);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (!placed_) unlink(name_.c_str());
    }

    void write(std::string_view content) {
        while (!content.empty()) {
            const auto written = ::write(descriptor_.get(), content.data(), content.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) fail(name_);
            content.remove_prefix(static_cast<std::size_t>(written));
        }
    }
    void sync(mode_t mode) {
        if (fchmod(descriptor_.get(), mode) != 0 || fsync(descriptor_.get()) != 0) fail(name_);
        // A network file system may tell of a failed write only here.
        if (close(descriptor_.release()) != 0) fail(name_);
    }
    void takePlaceOf(const std::filesystem::path& path) {
        if (rename(name_.c_str(), path.c_str()) != 0) fail(path);
        placed_ = true;
    }

private:
    std::string name_;
    FileDescriptor descriptor_;
    bool placed_ = false;
};

}  // namespace

std::optional<std::string> readFile(const std::filesystem::path& path, std::size_t limit) {
    // Not blocking, so that a pipe in the file's place cannot hold the caller.
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0) return std::nullopt;
    const auto stated = static_cast<std::size_t>(std::max<off_t>(status.st_size, 0));
    if (stated > limit) return std::nullopt;
    std::string content;
    content.reserve(stated);
    std::array<char, 65536> piece;
    for (;;) {
        const auto got = read(file.get(), piece.data(), piece.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return std::nullopt;
        if (got == 0) return content;
        if (content.size() + static_cast<std::size_t>(got) > limit) return std::nullopt;
        content.append(piece.data(), static_cast<std::size_t>(got));
    }
}

void replaceFile(const std::filesystem::path& path, std::string_view content, mode_t mode) {
    // Opened first, so that after the rename nothing but the sync itself can fail.
    const FileDescriptor folder(open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) fail(folderOf(path));
    TemporaryFile file(folderOf(path));
    file.write(content);
    file.sync(mode);
    file.takePlaceOf(path);
    // EINVAL: this file system keeps no folder to sync.
    if (fsync(folder.get()) != 0 && errno != EINVAL) fail(folderOf(path));
}

std::optional<std::filesystem::path> moveAside(const std::filesystem::path& path) {
    constexpr int mostNumber = 1000;
    const auto wanted = path.string() + ".beschädigt-" + formatLocal(SystemClock::shared().now(), "%Y-%m-%d %H-%M-%S");
    for (int number = 1; number <= mostNumber; ++number) {
        const auto target = number == 1 ? wanted : wanted + "-" + std::to_string(number);
        if (renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) return target;
        if (errno == EINVAL) {
            // A file system that cannot refuse to replace: look first.
            std::error_code ignored;
            if (std::filesystem::exists(std::filesystem::symlink_status(target, ignored))) continue;
            if (rename(path.c_str(), target.c_str()) == 0) return target;
        }
        if (errno != EEXIST) return std::nullopt;
    }
    return std::nullopt;
}

void makeFolder(const std::filesystem::path& path) {
    std::filesystem::path folder;
    for (const auto& part : path) {
        folder /= part;
        if (folder.filename().empty() || mkdir(folder.c_str(), S_IRWXU) == 0) continue;
        const int number = errno;
        std::error_code ignored;
        if (!std::filesystem::is_directory(folder, ignored)) fail(folder, number);
    }
}

}  // namespace base
