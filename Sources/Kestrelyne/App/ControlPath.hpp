#pragma once
// Where the control socket of a program lies.

#include <sys/un.h>

#include <filesystem>

#include "Kestrelyne/App/Folders.hpp"

namespace kestrelyne {

/// The longest path a socket address takes (unix(7)), without the closing zero.
constexpr std::size_t longestSocketPath = sizeof(sockaddr_un::sun_path) - 1;

struct ControlPath {
    std::filesystem::path path;
    /// Mode 0660: whoever is in the service's group may connect. Otherwise 0600, and only the same user and root are served.
    bool forGroup = false;

    /// In this order, each only where it fits into a socket address:
    /// - $RUNTIME_DIRECTORY/control.sock (systemd gives it to a service); for the group unless it lies below $XDG_RUNTIME_DIR,
    /// where a
    ///   user's own services live;
    /// - $XDG_RUNTIME_DIR/kestrelyne/<hash of the settings folder>.sock;
    /// - control.sock in the settings folder, beside the lock;
    /// - /tmp/kestrelyne-<uid>/<hash>.sock.
    static ControlPath choose(const Environment& environment, const Folders& folders);
    /// /run/kestrelyne/control.sock
    static ControlPath ofSystemService();
};

}  // namespace kestrelyne
