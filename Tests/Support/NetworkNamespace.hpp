#pragma once
// A network of its own for one test, with other computers in it when it wants: nothing real is reached and nothing is left behind
// (network_namespaces(7)). Works as root, and as anybody where the system lets users make user namespaces.

#include <functional>
#include <string>

#include "Base/FileDescriptor.hpp"

class NetworkNamespace {
public:
    /// First line of a test: `if (!NetworkNamespace::enter()) return;`
    /// In the test program: runs this one test again in a child inside a fresh network with loopback up, takes over its outcome
    /// (skipped with the reason where the system forbids it) and answers false. In the child: true.
    [[nodiscard]] static bool enter();
    /// Runs a shell command ("ip link add …"); when it fails, the test fails with what it said.
    static void shell(const std::string& command);
};

/// Another computer: a second network, joined to ours by cables. Only behind NetworkNamespace::enter().
class PeerHost {
public:
    PeerHost();
    /// A cable between a new adapter of ours and a new one there, both up. Addresses with prefix length ("10.71.1.1/24"); without
    /// one when empty.
    void connect(const std::string& ownDevice, const std::string& ownAddress, const std::string& peerDevice,
                 const std::string& peerAddress) const;
    /// Runs the function on a thread of that computer and waits for it; sockets opened in it stay there for their life.
    void run(const std::function<void()>& function) const;
    void shell(const std::string& command) const;

private:
    base::FileDescriptor network_;
};
