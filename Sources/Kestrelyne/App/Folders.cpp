#include "Kestrelyne/App/Folders.hpp"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace kestrelyne {

namespace {

namespace fs = std::filesystem;

constexpr const char* folderName = "Kestrelyne";

fs::path home(const Environment& environment) {
    if (const auto given = environment("HOME"); given && fs::path(*given).is_absolute()) return *given;
    if (const auto* user = getpwuid(geteuid()); user && user->pw_dir && fs::path(user->pw_dir).is_absolute()) return user->pw_dir;
    throw std::runtime_error("Kein Heimatordner gefunden: HOME oder --data angeben.");
}

fs::path xdgFolder(const Environment& environment, const char* variable, const char* below) {
    const auto given = environment(variable);
    const auto base = given && fs::path(*given).is_absolute() ? fs::path(*given) : home(environment) / below;
    return base / folderName;
}

}  // namespace

Environment processEnvironment() {
    return [](const char* name) -> std::optional<std::string> {
        const char* value = std::getenv(name);
        if (!value || !*value) return std::nullopt;
        return value;
    };
}

Folders Folders::standard(const Environment& environment) {
    // Several folders are separated by colons (systemd.exec(5)); ours is the first.
    if (const auto state = environment("STATE_DIRECTORY")) return below(state->substr(0, state->find(':')));
    return {.settings = xdgFolder(environment, "XDG_CONFIG_HOME", ".config"),
            .data = xdgFolder(environment, "XDG_DATA_HOME", ".local/share")};
}

Folders Folders::below(const fs::path& folder) {
    const auto root = fs::absolute(folder).lexically_normal();
    return {.settings = root / "config", .data = root / "data"};
}

Folders Folders::ofSystemService() { return below("/var/lib/kestrelyne"); }

fs::path webRoot(const Environment& environment, const fs::path& binary) {
    if (const auto given = environment("KESTRELYNE_WEB_ROOT")) return *given;
    std::error_code ignored;
    const auto folder = binary.parent_path();
    const auto installed = (folder / "../share/kestrelyne/web").lexically_normal();
    if (fs::is_directory(installed, ignored)) return installed;
    return folder / "web";
}

fs::path ownBinary() { return fs::read_symlink("/proc/self/exe"); }

}  // namespace kestrelyne
