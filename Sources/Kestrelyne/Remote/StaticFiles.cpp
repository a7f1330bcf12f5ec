#include "Kestrelyne/Remote/StaticFiles.hpp"

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include "Base/File.hpp"

namespace kestrelyne {

namespace {

struct ContentType {
    std::string_view extension, type;
};
constexpr std::array contentTypes = {
    ContentType{"html", "text/html; charset=utf-8"},
    ContentType{"js", "text/javascript; charset=utf-8"},
    ContentType{"css", "text/css; charset=utf-8"},
    ContentType{"json", "application/json; charset=utf-8"},
    ContentType{"webmanifest", "application/manifest+json"},
    ContentType{"png", "image/png"},
    ContentType{"svg", "image/svg+xml"},
};
constexpr std::string_view otherType = "application/octet-stream";
constexpr const char* contentSecurityPolicy =
    "default-src 'self'; img-src 'self' data:; style-src 'self' 'unsafe-inline'; script-src 'self'; connect-src 'self'";

std::string_view lastComponent(std::string_view name) { return name.substr(name.rfind('/') + 1); }

// Behind the last point; a name that begins with its only point has none.
std::string_view extensionOf(std::string_view name) {
    name = lastComponent(name);
    const auto point = name.rfind('.');
    return point == std::string_view::npos || point == 0 ? std::string_view() : name.substr(point + 1);
}

HTTPResponse rootMissing() { return HTTPResponse::error("Web-App-Dateien fehlen", 503); }
HTTPResponse invalidPath() { return HTTPResponse::error("ungültiger Pfad", 400); }
HTTPResponse notFound() { return HTTPResponse::error("nicht gefunden", 404); }

bool same(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

// A file that can be read: no folder, no device. A path with a zero byte would end early in the system call.
std::optional<struct stat> regularFile(const std::string& path) {
    struct stat info {};
    if (path.find('\0') != std::string::npos || stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
    return info;
}

}  // namespace

std::optional<std::string> staticFileName(std::string_view path) {
    if (path == "/" || path == "/foh") path = "/index.html";
    if (path.find("..") != std::string_view::npos) return std::nullopt;
    std::string name(path);
    if (name.ends_with('/')) name += "index.html";
    return name.empty() ? name : name.substr(1);
}

HTTPResponse staticFileResponse(std::string_view name, std::string bytes) {
    const auto extension = extensionOf(name);
    const auto type = std::ranges::find(contentTypes, extension, &ContentType::extension);
    HTTPResponse response;
    response.headers["Content-Type"] = type == contentTypes.end() ? otherType : type->type;
    response.headers["Cache-Control"] = extension == "png" ? "max-age=86400" : "no-cache";
    if (lastComponent(name) == "sw.js") response.headers["Service-Worker-Allowed"] = "/";
    if (extension == "html") response.headers["Content-Security-Policy"] = contentSecurityPolicy;
    response.body = std::move(bytes);
    return response;
}

StaticFiles::Stamp::Stamp(const struct stat& info)
    : device(info.st_dev), inode(info.st_ino), size(info.st_size), modified(info.st_mtim), changed(info.st_ctim) {}

bool StaticFiles::Stamp::operator==(const Stamp& other) const {
    return device == other.device && inode == other.inode && size == other.size && same(modified, other.modified) &&
           same(changed, other.changed);
}

bool StaticFiles::rootIsFolder() const {
    struct stat info {};
    return stat(root_.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::optional<HTTPResponse> StaticFiles::quick(const std::string& path) {
    const auto name = staticFileName(path);
    const auto file = name ? regularFile(below(*name)) : std::nullopt;
    if (!file) {
        if (!rootIsFolder()) return rootMissing();
        return name ? notFound() : invalidPath();
    }
    std::optional<std::string> bytes;
    {
        base::Lock lock(mutex_);
        const auto found = byName_.find(*name);
        if (found == byName_.end() || !(found->second->stamp == Stamp(*file))) return std::nullopt;
        entries_.splice(entries_.begin(), entries_, found->second);
        bytes = found->second->bytes;
    }
    return staticFileResponse(*name, std::move(*bytes));
}

HTTPResponse StaticFiles::read(const std::string& path) {
    if (!rootIsFolder()) return rootMissing();
    const auto name = staticFileName(path);
    if (!name) return invalidPath();
    const auto file = below(*name);
    const auto before = regularFile(file);
    if (!before) return notFound();
    auto bytes = base::readFile(file, largestFileBytes);
    if (!bytes) return notFound();
    // Kept only when it did not change while it was read.
    const auto after = regularFile(file);
    if (after && Stamp(*before) == Stamp(*after) && std::cmp_equal(bytes->size(), after->st_size))
        keep(*name, Stamp(*after), *bytes);
    return staticFileResponse(*name, std::move(*bytes));
}

void StaticFiles::keep(const std::string& name, const Stamp& stamp, const std::string& bytes) {
    if (bytes.size() > cachedFileBytes) return;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec - std::max(stamp.modified.tv_sec, stamp.changed.tv_sec) < settleSeconds) return;
    base::Lock lock(mutex_);
    const auto drop = [&](std::list<Entry>::iterator entry) KESTRELYNE_REQUIRES(mutex_) {
        held_ -= entry->bytes.size();
        byName_.erase(entry->name);
        entries_.erase(entry);
    };
    if (const auto found = byName_.find(name); found != byName_.end()) drop(found->second);
    entries_.push_front({name, stamp, bytes});
    byName_[name] = entries_.begin();
    held_ += bytes.size();
    while (held_ > cacheBytes) drop(std::prev(entries_.end()));
}

std::size_t StaticFiles::heldBytes() const {
    base::Lock lock(mutex_);
    return held_;
}

}  // namespace kestrelyne
