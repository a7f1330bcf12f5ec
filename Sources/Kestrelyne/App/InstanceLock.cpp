#include "Kestrelyne/App/InstanceLock.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>

#include "Base/File.hpp"
#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"

namespace kestrelyne {

namespace {

namespace fs = std::filesystem;

constexpr const char* fileName = "kestrelyne.lock";
constexpr std::size_t longestContent = 8192;

struct flock wholeFile() {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

/// Its line: {"pid":…,"socket":"…"}; absent while it is not written yet.
std::optional<InstanceHolder> contentOf(int file) {
    std::string text(longestContent, '\0');
    const auto size = pread(file, text.data(), text.size(), 0);
    if (size <= 0) return std::nullopt;
    text.resize(static_cast<std::size_t>(size));
    try {
        const auto content = base::parseJSON(text);
        InstanceHolder holder;
        base::overlay(content, "pid", holder.pid, base::asInteger);
        base::overlay(content, "socket", holder.socket, base::asText);
        return holder;
    } catch (const base::DecodeError&) {
        return std::nullopt;
    }
}

/// A program that has just taken the lock writes its line at once.
InstanceHolder holderOf(int file) {
    constexpr int attempts = 20;
    constexpr auto pause = std::chrono::milliseconds(10);
    for (int i = 0; i < attempts; ++i) {
        if (auto holder = contentOf(file)) return *holder;
        std::this_thread::sleep_for(pause);
    }
    return {};
}

base::FileDescriptor locked(const fs::path& folder, const fs::path& socket) {
    const auto path = folder / fileName;
    const auto fail = [&path] {
        throw std::runtime_error("Die Sperrdatei „" + path.string() + "“ lässt sich nicht anlegen: " + base::errnoText(errno));
    };
    base::FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!file) fail();
    auto lock = wholeFile();
    if (fcntl(file.get(), F_OFD_SETLK, &lock) != 0) {
        if (errno != EAGAIN && errno != EACCES) fail();
        throw AlreadyRunning(holderOf(file.get()), folder);
    }
    const auto line = base::dump(base::JSON{{"pid", getpid()}, {"socket", socket.string()}}) + "\n";
    if (ftruncate(file.get(), 0) != 0 || pwrite(file.get(), line.data(), line.size(), 0) != static_cast<ssize_t>(line.size()))
        fail();
    return file;
}

}  // namespace

AlreadyRunning::AlreadyRunning(const InstanceHolder& holder, const fs::path& folder)
    : std::runtime_error(fmt::format("Kestrelyne läuft schon{} mit dem Ordner „{}“.",
                                     holder.pid > 0 ? fmt::format(" (Prozess {})", holder.pid) : "", folder.string())) {}

InstanceLock::InstanceLock(const Folders& folders, const fs::path& socket) {
    for (const auto& folder : {folders.settings, folders.data}) {
        try {
            base::makeFolder(folder);
        } catch (const std::system_error& error) {
            throw std::runtime_error("Der Ordner „" + folder.string() +
                                     "“ lässt sich nicht anlegen: " + base::errnoText(error.code().value()));
        }
    }
    files_.push_back(locked(folders.settings, socket));
    // Both may be one folder under two names.
    std::error_code ignored;
    if (!fs::equivalent(folders.settings, folders.data, ignored)) files_.push_back(locked(folders.data, socket));
}

std::optional<InstanceHolder> InstanceLock::holder(const fs::path& folder) {
    const base::FileDescriptor file(open((folder / fileName).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file) return std::nullopt;
    auto lock = wholeFile();
    if (fcntl(file.get(), F_OFD_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) return std::nullopt;
    return holderOf(file.get());
}

}  // namespace kestrelyne
