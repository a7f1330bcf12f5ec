#pragma once
// A small HTTP/1.1 server: one request a connection, no TLS, the whole request in memory before the handler runs.
//
// Limits and times, with their reasons: docs/web-access.md.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Function.hpp"
#include "Kestrelyne/Remote/HTTPMessage.hpp"

namespace kestrelyne {

/// Takes the answer; called at most once, from any thread. Dropped without a call, it closes the connection.
using HTTPReply = base::Function<void(HTTPResponse)>;
/// Called on the server's queue; must not block. It answers at once or hands the reply on.
using HTTPHandler = std::function<void(HTTPRequest, HTTPReply)>;

class HTTPServer {
public:
    struct Options {
        /// Open connections at once; 0: the smaller of 4096 and half of what the process may open, as it is at start().
        std::size_t mostConnections = 0;
        /// Memory for requests that are being received or answered, over all connections.
        std::size_t mostRequestBytes = 64 << 20;
        /// A client that takes nothing of its answer for so long is given up.
        base::Seconds stalledLimit{30};
        /// How long the bytes of a client that still sends are swallowed after its answer, so that the answer reaches it.
        base::Seconds lingerLimit{2};
    };

    explicit HTTPServer(HTTPHandler handler) : HTTPServer(std::move(handler), Options()) {}
    HTTPServer(HTTPHandler handler, Options options);
    /// Stops listening and closes what has not sent a whole request; answers under way are finished. Never waits.
    ~HTTPServer();
    HTTPServer(const HTTPServer&) = delete;
    HTTPServer& operator=(const HTTPServer&) = delete;

    /// First stops. Without hosts one listener on all addresses (IPv4 and IPv6), otherwise one on each numeric address. `onError`
    /// gets
    /// "<host>:<port> – <reason>" (host "alle Adressen" for all) on the main thread for each that cannot be made (at once) or that
    /// fails later. Returns how many listen. Main thread.
    std::size_t start(std::uint16_t port, std::optional<std::vector<std::string>> hosts, std::function<void(std::string)> onError);
    /// Ends listening; connections stay and finish on their own. The port is free when this returns. Main thread.
    void stop();

    /// How many listen now. Main thread.
    std::size_t listening() const;
    /// Their ports. Main thread.
    std::vector<std::uint16_t> ports() const;
    /// Connections open now; a figure for people and tests. Any thread.
    std::size_t openConnections() const;

private:
    class Core;
    struct Listening;
    std::shared_ptr<Core> core_;
    std::shared_ptr<Listening> listening_;  // since the last start()
};

}  // namespace kestrelyne
