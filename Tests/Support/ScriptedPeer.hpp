#pragma once
// A TCP peer on 127.0.0.1 that does what a test tells it, byte for byte, on a thread of its own.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <thread>
#include <vector>

#include "Base/FileDescriptor.hpp"

using Octets = std::vector<std::uint8_t>;

/// Accepts one connection after the other and runs one script for each; when no script is left, it stops listening. Nothing in here
/// waits longer than some seconds, whatever the other side does.
class ScriptedPeer {
public:
    class Connection {
    public:
        explicit Connection(int descriptor) : descriptor_(descriptor) {}
        /// Exactly `size` bytes; fewer when the other side closes or stays silent.
        Octets read(std::size_t size);
        void send(std::span<const std::uint8_t> bytes);
        /// Waits until the other side closes; false when it did not.
        bool waitForClose();

    private:
        int descriptor_;
    };
    using Script = std::function<void(Connection&)>;

    explicit ScriptedPeer(std::vector<Script> scripts);
    ~ScriptedPeer();

    std::uint16_t port() const { return port_; }
    /// How many connections were accepted.
    std::size_t connections() const { return connections_; }
    /// Waits until every script has run.
    void join();

private:
    void serve(std::vector<Script> scripts);

    base::FileDescriptor listener_;
    std::uint16_t port_ = 0;
    std::atomic<std::size_t> connections_ = 0;
    std::thread thread_;
};
