#pragma once
// The throw-away folder of the demo.

#include <filesystem>

namespace kestrelyne {

class DemoFolder {
public:
    /// Makes one below the system's folder for temporary files; throws std::runtime_error with a German text.
    DemoFolder();
    DemoFolder(const DemoFolder&) = delete;
    DemoFolder& operator=(const DemoFolder&) = delete;
    ~DemoFolder() { remove(path_); }

    const std::filesystem::path& path() const { return path_; }
    /// Removes everything below it, also while somebody still writes there. Any thread.
    static void remove(const std::filesystem::path& path);

private:
    std::filesystem::path path_;
};

/// The first of `port` and the ports behind it that nobody listens on; `port` when there is none.
int freePort(int port);
/// So many random decimal digits.
std::string randomDigits(std::size_t count);

}  // namespace kestrelyne
