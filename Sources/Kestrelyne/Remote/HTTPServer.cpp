#include "Kestrelyne/Remote/HTTPServer.hpp"

#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <list>
#include <utility>

#include "Base/FileDescriptor.hpp"
#include "Base/MainLoop.hpp"
#include "Base/SerialQueue.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/Remote/PeerAddress.hpp"

namespace kestrelyne {

namespace {

constexpr std::size_t mostConnectionsEver = 4096;
constexpr std::size_t readSize = 65536;
constexpr std::size_t mostSwallowed = 4 << 20;  // bytes of a client that sends on after its answer
constexpr int acceptsAtOnce = 64;               // then the connections have their turn
constexpr base::Seconds acceptPause{0.1};       // when descriptors or memory have run out

// Well below what the process may open: meters, files and the show network need descriptors too.
std::size_t connectionLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return mostConnectionsEver;
    return std::clamp<std::size_t>(limit.rlim_cur / 2, 1, mostConnectionsEver);
}

bool isShortage(int error) { return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM; }
// accept(2): what was wrong with the connection that would have been next; the listener is sound.
bool concernsOneConnection(int error) {
    return error != EBADF && error != EINVAL && error != ENOTSOCK && error != EOPNOTSUPP && error != EFAULT;
}

struct Bound {
    base::FileDescriptor socket;
    int error = 0;  // without a socket
};

Bound bound(const SocketAddress& address, bool dualStack) {
    base::FileDescriptor socket(::socket(address.family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) return {{}, errno};
    const int on = 1, onlyIPv6 = dualStack ? 0 : 1;
    setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (address.family() == AF_INET6) setsockopt(socket.get(), IPPROTO_IPV6, IPV6_V6ONLY, &onlyIPv6, sizeof onlyIPv6);
    if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&address.storage), address.length) != 0 ||
        listen(socket.get(), SOMAXCONN) != 0)
        return {{}, errno};
    return {std::move(socket)};
}

Bound boundToAll(std::uint16_t port) {
    auto result = bound(*numericAddress("::", port), true);
    if (result.error == EAFNOSUPPORT || result.error == EADDRNOTAVAIL) result = bound(*numericAddress("0.0.0.0", port), false);
    return result;
}

Bound boundTo(const std::string& host, std::uint16_t port) {
    const auto address = numericAddress(host, port);
    return address ? bound(*address, false) : Bound{{}, EADDRNOTAVAIL};
}

std::string failureText(const std::string& name, int error) { return name + " – " + base::errnoText(error); }

std::uint16_t portOf(int socket) {
    SocketAddress address;
    address.length = sizeof address.storage;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&address.storage), &address.length) != 0) return 0;
    return address.port();
}

}  // namespace

// One start(): what the main thread knows of its listeners. The sockets are shared with the queue, which closes them.
struct HTTPServer::Listening {
    struct Listener {
        std::string name;  // "<host>:<port>"
        base::FileDescriptor socket;
        std::uint16_t port = 0;
        std::atomic<bool> ended = false;  // shut down from the main thread: what the queue sees of it then is no failure
        bool failed = false;              // main thread
    };
    std::vector<std::shared_ptr<Listener>> listeners;
    std::function<void(std::string)> onError;
};

// Everything of one server that lives on its queue. Each watched descriptor, each reply and each posted function holds it, so that
// it ends with the last of them and never before.
class HTTPServer::Core : public std::enable_shared_from_this<HTTPServer::Core> {
public:
    using Listener = Listening::Listener;

    Core(HTTPHandler handler, Options options) : handler_(std::move(handler)), options_(options) {}

    base::SerialQueue& queue() { return queue_; }
    std::size_t open() const { return open_.load(std::memory_order_relaxed); }

    void listen(const std::shared_ptr<Listener>& listener, std::function<void(int)> onFailure);
    void endListening() { accepting_.clear(); }
    void closeUnasked();
    void readLimit() { limit_ = options_.mostConnections ? options_.mostConnections : connectionLimit(); }

private:
    struct Connection;
    using Connections = std::list<std::shared_ptr<Connection>>;
    // What a connection is doing; the numbers are places in `byState_`.
    enum State : std::uint8_t { receiving, lingering, sending, answering, closed };

    struct Connection {
        base::FileDescriptor socket;
        base::SerialQueue::Source source;
        base::SerialQueue::Timer timer;
        State state = receiving;
        Connections::iterator place;
        std::string peer;
        HTTPRequestReader reader;
        std::size_t held = 0;    // its share of `heldBytes_`
        bool lingers = false;    // it may still send
        std::string head, body;  // of the answer
        std::size_t sent = 0;    // of head and body together
        std::size_t swallowed = 0;
    };
    using ConnectionPointer = std::shared_ptr<Connection>;

    // The handler's way back.
    class Reply {
    public:
        Reply(std::shared_ptr<Core> core, ConnectionPointer connection)
            : core_(std::move(core)), connection_(std::move(connection)) {}
        Reply(Reply&&) noexcept = default;
        Reply& operator=(Reply&&) = delete;
        ~Reply() {
            if (!connection_) return;
            core_->onQueue([](Core& core, const ConnectionPointer& connection) { core.close(connection); }, std::move(connection_));
        }
        void operator()(HTTPResponse response) {
            if (!connection_) return;
            // The text is made here, which is off the queue for all answers that took time.
            connection_->head = response.head();
            connection_->body = std::move(response.body);
            core_->onQueue([](Core& core, const ConnectionPointer& connection) { core.send(connection); }, std::move(connection_));
        }

    private:
        std::shared_ptr<Core> core_;
        ConnectionPointer connection_;
    };

    struct Accepting {
        std::shared_ptr<Listener> listener;
        std::function<void(int)> onFailure;
        base::SerialQueue::Source source;
        base::SerialQueue::Timer pause;
    };

    template <class Work>
    void onQueue(Work work, ConnectionPointer connection) {
        if (queue_.isHere())
            work(*this, connection);
        else
            queue_.post([core = shared_from_this(), work, connection = std::move(connection)] { work(*core, connection); });
    }

    void accept(Accepting& accepting);
    void pause(Accepting& accepting);
    void take(base::FileDescriptor socket, const SocketAddress& peer);
    void move(const ConnectionPointer& connection, State state);
    void close(const ConnectionPointer& connection);
    bool closeOldest(std::initializer_list<State> states);
    void makeRoomInMemory(const ConnectionPointer& latest);
    bool watch(const ConnectionPointer& connection, std::uint32_t events, void (Core::*handler)(const ConnectionPointer&));
    void receive(const ConnectionPointer& connection);
    void refuseTooLarge(const ConnectionPointer& connection);
    void hand(const ConnectionPointer& connection);
    void send(const ConnectionPointer& connection);
    void goOnSending(const ConnectionPointer& connection);
    void sendingDone(const ConnectionPointer& connection);
    void swallow(const ConnectionPointer& connection);
    void closeAfter(const ConnectionPointer& connection, base::Seconds delay);

    const HTTPHandler handler_;
    const Options options_;
    std::atomic<std::size_t> open_ = 0;
    // Queue thread only:
    std::size_t limit_ = mostConnectionsEver;
    std::size_t heldBytes_ = 0;
    std::array<Connections, closed> byState_;  // each in the order of arrival in that state
    std::list<Accepting> accepting_;
    std::array<char, readSize> scratch_;
    base::SerialQueue queue_{"kestrelyne.http"};
};

void HTTPServer::Core::listen(const std::shared_ptr<Listener>& listener, std::function<void(int)> onFailure) {
    auto& accepting = accepting_.emplace_back();
    accepting.listener = listener;
    accepting.onFailure = std::move(onFailure);
    accepting.source = queue_.watch(listener->socket.get(), EPOLLIN,
                                    [self = shared_from_this(), &accepting](std::uint32_t) { self->accept(accepting); });
    if (!accepting.source) accepting.onFailure(errno);
}

void HTTPServer::Core::accept(Accepting& accepting) {
    for (int i = 0; i < acceptsAtOnce; ++i) {
        SocketAddress peer;
        peer.length = sizeof peer.storage;
        base::FileDescriptor socket(accept4(accepting.listener->socket.get(), reinterpret_cast<sockaddr*>(&peer.storage),
                                            &peer.length, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (socket) {
            take(std::move(socket), peer);
            continue;
        }
        const int error = errno;
        if (error == EAGAIN || error == EWOULDBLOCK) return;
        if (isShortage(error)) {
            // Whoever waits longest without having asked makes room; with nobody to go, the newcomers wait in the kernel's queue.
            if (closeOldest({receiving, lingering})) continue;
            return pause(accepting);
        }
        if (concernsOneConnection(error)) continue;
        accepting.source.cancel();
        if (!accepting.listener->ended) accepting.onFailure(error);
        return;
    }
}

void HTTPServer::Core::pause(Accepting& accepting) {
    accepting.source.change(0);
    accepting.pause = queue_.after(acceptPause, [&accepting] { accepting.source.change(EPOLLIN); });
}

void HTTPServer::Core::take(base::FileDescriptor socket, const SocketAddress& peer) {
    if (open() >= limit_ && !closeOldest({receiving, lingering, sending})) return;
    auto connection = std::make_shared<Connection>();
    connection->socket = std::move(socket);
    connection->peer = peer.text();
    connection->place = byState_[receiving].insert(byState_[receiving].end(), connection);
    ++open_;
    // The request has often come with the handshake.
    receive(connection);
    if (connection->state == receiving && !watch(connection, EPOLLIN, &Core::receive)) close(connection);
}

bool HTTPServer::Core::watch(const ConnectionPointer& connection, std::uint32_t events,
                             void (Core::*handler)(const ConnectionPointer&)) {
    connection->source =
        queue_.watch(connection->socket.get(), events,
                     [self = shared_from_this(), connection, handler](std::uint32_t) { (self.get()->*handler)(connection); });
    return static_cast<bool>(connection->source);
}

void HTTPServer::Core::move(const ConnectionPointer& connection, State state) {
    auto& from = byState_[connection->state];
    auto& to = byState_[state];
    to.splice(to.end(), from, connection->place);
    connection->state = state;
}

void HTTPServer::Core::close(const ConnectionPointer& given) {
    const auto connection = given;  // the list holds the last reference otherwise
    if (connection->state == closed) return;
    byState_[connection->state].erase(connection->place);
    connection->state = closed;
    connection->timer.cancel();
    connection->source.cancel();
    connection->socket.reset();
    heldBytes_ -= connection->held;
    --open_;
}

bool HTTPServer::Core::closeOldest(std::initializer_list<State> states) {
    for (const auto state : states) {
        if (byState_[state].empty()) continue;
        close(byState_[state].front());
        return true;
    }
    return false;
}

void HTTPServer::Core::closeUnasked() {
    while (closeOldest({receiving})) {}
}

void HTTPServer::Core::makeRoomInMemory(const ConnectionPointer& latest) {
    auto next = byState_[receiving].begin();
    while (heldBytes_ > options_.mostRequestBytes && next != byState_[receiving].end()) {
        const auto connection = *next++;
        if (connection->held > 0 && connection != latest) close(connection);
    }
    if (heldBytes_ > options_.mostRequestBytes) close(latest);
}

void HTTPServer::Core::receive(const ConnectionPointer& connection) {
    const auto count = recv(connection->socket.get(), scratch_.data(), scratch_.size(), 0);
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return;
    // The peer has ended or failed before its request was whole: nobody is there to be told.
    if (count <= 0) return close(connection);

    const auto state = connection->reader.add({scratch_.data(), static_cast<std::size_t>(count)});
    if (state == HTTPRequestReader::State::tooLarge) return refuseTooLarge(connection);
    heldBytes_ += connection->reader.held() - connection->held;
    connection->held = connection->reader.held();
    if (heldBytes_ > options_.mostRequestBytes) {
        makeRoomInMemory(connection);
        if (connection->state == closed) return;
    }
    if (state == HTTPRequestReader::State::complete) hand(connection);
}

void HTTPServer::Core::refuseTooLarge(const ConnectionPointer& connection) {
    connection->lingers = true;
    const auto response = HTTPResponse::error("zu groß", 413);
    connection->head = response.head();
    connection->body = response.body;
    connection->source.cancel();
    move(connection, answering);
    send(connection);
}

void HTTPServer::Core::hand(const ConnectionPointer& connection) {
    const bool surplus = connection->reader.hasSurplus();
    auto request = connection->reader.take(connection->peer);
    // Closing a socket with unread bytes resets the connection, and the client may lose its answer (RFC 9112, 9.6). A plain GET has
    // sent all it will send; whoever may send on is heard out.
    connection->lingers =
        surplus || (request.method != "GET" && request.method != "HEAD") || request.headers.contains("transfer-encoding");
    connection->source.cancel();
    move(connection, answering);
    handler_(std::move(request), HTTPReply(Reply(shared_from_this(), connection)));
}

void HTTPServer::Core::send(const ConnectionPointer& connection) {
    if (connection->state != answering) return;
    move(connection, sending);
    goOnSending(connection);
    if (connection->state != sending) return;
    if (!watch(connection, EPOLLOUT, &Core::goOnSending)) close(connection);
}

void HTTPServer::Core::goOnSending(const ConnectionPointer& connection) {
    const auto total = connection->head.size() + connection->body.size();
    bool progress = false;
    while (connection->sent < total) {
        const auto headLeft = connection->head.size() - std::min(connection->sent, connection->head.size());
        const auto bodySent = connection->sent - (connection->head.size() - headLeft);
        std::array<iovec, 2> parts{};
        parts[0] = {connection->head.data() + (connection->head.size() - headLeft), headLeft};
        parts[1] = {connection->body.data() + bodySent, connection->body.size() - bodySent};
        msghdr message{};
        message.msg_iov = parts.data();
        message.msg_iovlen = parts.size();
        const auto count = sendmsg(connection->socket.get(), &message, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            // Given up when it takes nothing for too long; every byte taken begins the wait anew.
            if (progress || !connection->timer) closeAfter(connection, options_.stalledLimit);
            return;
        }
        if (count < 0) return close(connection);
        connection->sent += static_cast<std::size_t>(count);
        progress = true;
    }
    sendingDone(connection);
}

void HTTPServer::Core::sendingDone(const ConnectionPointer& connection) {
    if (!connection->lingers) return close(connection);
    connection->source.cancel();
    shutdown(connection->socket.get(), SHUT_WR);
    heldBytes_ -= std::exchange(connection->held, 0);
    connection->head = {};
    connection->body = {};
    move(connection, lingering);
    closeAfter(connection, options_.lingerLimit);
    swallow(connection);
    if (connection->state == lingering && !watch(connection, EPOLLIN, &Core::swallow)) close(connection);
}

void HTTPServer::Core::swallow(const ConnectionPointer& connection) {
    const auto count = recv(connection->socket.get(), scratch_.data(), scratch_.size(), 0);
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return;
    if (count <= 0) return close(connection);
    connection->swallowed += static_cast<std::size_t>(count);
    if (connection->swallowed > mostSwallowed) close(connection);
}

void HTTPServer::Core::closeAfter(const ConnectionPointer& connection, base::Seconds delay) {
    connection->timer = queue_.after(delay, [self = shared_from_this(), connection] { self->close(connection); });
}

HTTPServer::HTTPServer(HTTPHandler handler, Options options) : core_(std::make_shared<Core>(std::move(handler), options)) {}

HTTPServer::~HTTPServer() {
    stop();
    core_->queue().post([core = core_] { core->closeUnasked(); });
}

std::size_t HTTPServer::start(std::uint16_t port, std::optional<std::vector<std::string>> hosts,
                              std::function<void(std::string)> onError) {
    stop();
    listening_ = std::make_shared<Listening>();
    listening_->onError = onError;
    std::vector<std::string> failures;
    const auto add = [this, port, &failures](const std::string& host, Bound bound) {
        auto name = host + ":" + std::to_string(port);
        if (!bound.socket) {
            failures.push_back(failureText(name, bound.error));
            return;
        }
        auto listener = std::make_shared<Listening::Listener>();
        listener->name = std::move(name);
        listener->port = portOf(bound.socket.get());
        listener->socket = std::move(bound.socket);
        listening_->listeners.push_back(std::move(listener));
    };
    if (hosts)
        for (const auto& host : *hosts) add(host, boundTo(host, port));
    else
        add("alle Adressen", boundToAll(port));

    core_->queue().post([core = core_] { core->readLimit(); });
    for (const auto& listener : listening_->listeners) {
        // Told on the main thread, and only while this start() still counts.
        auto onFailure = [inbox = base::MainLoop::current().inbox(), weak = std::weak_ptr(listening_), listener](int error) {
            inbox->post([weak, listener, error] {
                const auto listening = weak.lock();
                if (!listening || listener->failed) return;
                listener->failed = true;
                listening->onError(failureText(listener->name, error));
            });
        };
        core_->queue().post([core = core_, listener, onFailure = std::move(onFailure)] { core->listen(listener, onFailure); });
    }
    const auto count = listening();
    for (auto& failure : failures) onError(std::move(failure));
    return count;
}

void HTTPServer::stop() {
    if (!listening_) return;
    for (const auto& listener : listening_->listeners) {
        // Shutting a listening socket down frees its port at once for the next bind; the queue that accepts from it closes it.
        listener->ended = true;
        shutdown(listener->socket.get(), SHUT_RDWR);
    }
    listening_.reset();
    core_->queue().post([core = core_] { core->endListening(); });
}

std::size_t HTTPServer::listening() const {
    if (!listening_) return 0;
    return static_cast<std::size_t>(
        std::ranges::count(listening_->listeners, false, [](const auto& listener) { return listener->failed; }));
}

std::vector<std::uint16_t> HTTPServer::ports() const {
    std::vector<std::uint16_t> result;
    if (listening_)
        for (const auto& listener : listening_->listeners)
            if (!listener->failed) result.push_back(listener->port);
    return result;
}

std::size_t HTTPServer::openConnections() const { return core_->open(); }

}  // namespace kestrelyne
