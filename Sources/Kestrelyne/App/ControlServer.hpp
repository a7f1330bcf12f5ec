#pragma once
// The control socket of a running program: local programs ask for a verb, its handler answers on the main thread.
//
// Sockets live on a queue of their own; a client that sends rubbish, disconnects or never reads is cut off there and reaches nobody
// else.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "Base/Clock.hpp"
#include "Base/Task.hpp"
#include "Kestrelyne/App/ControlPath.hpp"

namespace kestrelyne {

/// Main thread, except where said.
class ControlServer {
public:
    /// The request with its "verb"; the answer is the "result". A ControlError becomes the "error" with its code.
    using Verb = std::function<base::Co<nlohmann::json>(nlohmann::json request)>;

    struct Limits {
        std::size_t lineBytes = 16 * 1024 * 1024;    // a longer request ends its connection
        std::size_t answerBytes = 16 * 1024 * 1024;  // a longer answer is replaced by an error
        std::size_t clients = 32;                    // one more is told so and closed
        base::Seconds silence{30};                   // so long without a request, or with an answer unread, and it is closed
    };

    explicit ControlServer(Limits limits);
    ControlServer() : ControlServer(Limits{}) {}
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    /// Before start().
    void add(const std::string& verb, Verb handler);
    /// Makes the socket's folder (mode 0700) when it is missing, replaces a socket nobody listens on, and listens. Throws
    /// std::runtime_error with a German text.
    void start(const ControlPath& path);
    /// Ends all connections and handlers and removes the socket. Never waits.
    void stop();

private:
    class Connections;
    struct Request;
    void take(std::uint64_t client, Request request);
    base::Co<> handle(std::uint64_t client, Request request);

    const Limits limits_;
    std::map<std::string, Verb> verbs_;
    std::filesystem::path path_;  // of the socket, while it stands
    std::shared_ptr<Connections> connections_;
    std::shared_ptr<ControlServer*> self_;  // what the connections know of this object; goes with it
    base::TaskGroup tasks_;
};

}  // namespace kestrelyne
