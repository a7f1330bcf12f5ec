#pragma once
// One program per pair of settings and data folders: a lock file "kestrelyne.lock" in each, locked for the life of the process
// (open file description locks, fcntl(2), which end with the process however it ends). Its content says who holds it.

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <vector>

#include "Base/FileDescriptor.hpp"
#include "Kestrelyne/App/Folders.hpp"

namespace kestrelyne {

/// Who holds a lock, as its file tells: pid 0 and an empty path when the file does not say.
struct InstanceHolder {
    pid_t pid = 0;
    std::filesystem::path socket;  // of the control server
};

/// Another program holds one of the folders.
class AlreadyRunning : public std::runtime_error {
public:
    explicit AlreadyRunning(const InstanceHolder& holder, const std::filesystem::path& folder);
};

class InstanceLock {
public:
    /// Makes both folders when they are missing and locks them, each once. Throws AlreadyRunning, or std::runtime_error with a
    /// German text when a folder cannot be used.
    InstanceLock(const Folders& folders, const std::filesystem::path& socket);

    /// Who runs on this folder at this moment; absent when nobody does. Takes no lock, so it never stands in a starting program's
    /// way.
    static std::optional<InstanceHolder> holder(const std::filesystem::path& folder);

private:
    std::vector<base::FileDescriptor> files_;
};

}  // namespace kestrelyne
