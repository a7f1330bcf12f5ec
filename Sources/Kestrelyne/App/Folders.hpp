#pragma once
// Where the program keeps its things: settings and data folder by the XDG base directory rules, and the web app's files.

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace kestrelyne {

/// Looks up an environment variable; absent when it is unset or empty.
using Environment = std::function<std::optional<std::string>(const char*)>;
/// The process's own.
Environment processEnvironment();

struct Folders {
    std::filesystem::path settings;  // holds "settings.sqlite" and the lock file
    std::filesystem::path data;      // holds "Patch", "Einsätze", "Profile", "Sicherungen", each made by its owner

    std::filesystem::path settingsFile() const { return settings / "settings.sqlite"; }

    /// $STATE_DIRECTORY (systemd gives it to a service) counts like below(); otherwise $XDG_CONFIG_HOME/Kestrelyne and
    /// $XDG_DATA_HOME/Kestrelyne with the defaults ~/.config and ~/.local/share. Relative XDG paths are ignored, as the
    /// rules ask. Throws std::runtime_error with a German text when there is no home folder either.
    static Folders standard(const Environment& environment);
    /// Both trees below one folder: "config" and "data".
    static Folders below(const std::filesystem::path& folder);
    /// Those of the system service: below("/var/lib/kestrelyne").
    static Folders ofSystemService();
};

/// $KESTRELYNE_WEB_ROOT, else "../share/kestrelyne/web" as seen from the binary's folder when it exists, else "web" beside the
/// binary.
std::filesystem::path webRoot(const Environment& environment, const std::filesystem::path& binary);
/// The running program's file.
std::filesystem::path ownBinary();

}  // namespace kestrelyne
