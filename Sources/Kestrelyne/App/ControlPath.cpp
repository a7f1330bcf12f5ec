#include "Kestrelyne/App/ControlPath.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdint>

namespace kestrelyne {

namespace {

namespace fs = std::filesystem;

constexpr const char* socketName = "control.sock";

/// FNV-1a of 64 bits: short, and the same in every run.
std::string hashOf(const fs::path& path) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char c : fs::absolute(path).lexically_normal().string()) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 0x100000001b3;
    }
    return fmt::format("{:016x}", hash);
}

bool fits(const fs::path& path) { return path.native().size() <= longestSocketPath; }

bool liesBelow(const fs::path& path, const fs::path& folder) {
    const auto relative = path.lexically_normal().lexically_relative(folder.lexically_normal());
    return !relative.empty() && *relative.begin() != "..";
}

}  // namespace

ControlPath ControlPath::choose(const Environment& environment, const Folders& folders) {
    const auto file = hashOf(folders.settings) + ".sock";
    const auto user = environment("XDG_RUNTIME_DIR");
    const bool hasUser = user && fs::path(*user).is_absolute();
    if (const auto given = environment("RUNTIME_DIRECTORY")) {
        const fs::path folder = given->substr(0, given->find(':'));
        if (const auto path = folder / socketName; folder.is_absolute() && fits(path))
            return {.path = path, .forGroup = !(hasUser && liesBelow(folder, *user))};
    }
    if (hasUser) {
        if (const auto path = fs::path(*user) / "kestrelyne" / file; fits(path)) return {.path = path};
    }
    if (const auto path = folders.settings / socketName; fits(path)) return {.path = path};
    return {.path = fs::path("/tmp") / fmt::format("kestrelyne-{}", geteuid()) / file};
}

ControlPath ControlPath::ofSystemService() { return {.path = "/run/kestrelyne/control.sock", .forGroup = true}; }

}  // namespace kestrelyne
