#include "Kestrelyne/App/ControlConnections.hpp"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "Base/JSONFields.hpp"

namespace kestrelyne {

namespace {

constexpr base::Seconds pauseWithoutDescriptors{0.5};

std::string lineOf(const base::JSON& answer) { return base::dump(answer) + "\n"; }

std::string errorLine(const char* text) { return lineOf(controlErrorAnswer(text, ExitCode::failed)); }

/// For somebody who is not let in: as much as the socket takes at once.
void tell(int socket, const std::string& line) { ::send(socket, line.data(), line.size(), MSG_NOSIGNAL | MSG_DONTWAIT); }

}  // namespace

template <class Work>
void ControlServer::Connections::onQueue(Work work) {
    queue_.post([self = weak_from_this(), work = std::move(work)]() mutable {
        if (const auto here = self.lock()) work(*here);
    });
}

void ControlServer::Connections::listen(base::FileDescriptor listener) {
    onQueue([listener = std::move(listener)](Connections& self) mutable {
        self.listener_ = std::move(listener);
        self.watchListener();
    });
}

// The text of a long answer is made here, not on the main thread.
void ControlServer::Connections::reply(std::uint64_t client, nlohmann::json answer) {
    onQueue([client, answer = std::move(answer)](Connections& self) {
        const auto found = self.clients_.find(client);
        if (found == self.clients_.end()) return;
        auto line = lineOf(answer);
        if (line.size() > self.limits_.answerBytes) line = errorLine("Die Antwort ist zu lang.");
        found->second.unsent += line;
        found->second.waiting = false;
        self.restartSilence(found);
        self.send(found);
    });
}

void ControlServer::Connections::watchListener() {
    listening_ = queue_.watch(listener_.get(), EPOLLIN, [self = weak_from_this()](std::uint32_t) {
        if (const auto here = self.lock()) here->acceptAll();
    });
}

void ControlServer::Connections::acceptAll() {
    for (;;) {
        base::FileDescriptor socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket) {
            if (errno == EINTR || errno == ECONNABORTED) continue;
            if (errno == EAGAIN) return;
            // No descriptor is left: whoever waits would be told of again and again.
            listening_.cancel();
            again_ = queue_.after(pauseWithoutDescriptors, [self = weak_from_this()] {
                if (const auto here = self.lock()) here->watchListener();
            });
            return;
        }
        if (!mayCome(socket.get())) {
            tell(socket.get(), errorLine("Nur der Benutzer des laufenden Programms darf es steuern."));
            continue;
        }
        if (clients_.size() >= limits_.clients) {
            tell(socket.get(), errorLine("Zu viele Verbindungen zum laufenden Programm."));
            continue;
        }
        const auto number = ++lastNumber_;
        const int descriptor = socket.get();
        const auto client =
            clients_.emplace(number, Client{.socket = std::move(socket), .lines = LineSplitter(limits_.lineBytes)}).first;
        client->second.source = queue_.watch(descriptor, EPOLLIN, [self = weak_from_this(), number](std::uint32_t events) {
            if (const auto here = self.lock()) here->handle(number, events);
        });
        restartSilence(client);
    }
}

/// Where the socket is for a group, its mode has already decided.
bool ControlServer::Connections::mayCome(int socket) const {
    if (forGroup_) return true;
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && (peer.uid == geteuid() || peer.uid == 0);
}

void ControlServer::Connections::handle(std::uint64_t number, std::uint32_t events) {
    const auto client = clients_.find(number);
    if (client == clients_.end()) return;
    if ((events & (EPOLLHUP | EPOLLERR)) != 0) {
        clients_.erase(client);  // nobody is left to read an answer
        return;
    }
    if ((events & EPOLLOUT) != 0)
        send(client);
    else if ((events & EPOLLIN) != 0)
        read(client);
}

void ControlServer::Connections::read(Clients::iterator client) {
    std::array<char, 16384> piece;
    const auto got = ::recv(client->second.socket.get(), piece.data(), piece.size(), 0);
    if (got < 0) {
        if (errno != EAGAIN && errno != EINTR) clients_.erase(client);
        return;
    }
    if (got == 0)
        client->second.ended = true;
    else
        client->second.lines.feed({piece.data(), static_cast<std::size_t>(got)});
    proceed(client);
}

/// Takes the client's next request when it waits for nothing else.
void ControlServer::Connections::proceed(Clients::iterator client) {
    auto& state = client->second;
    while (!state.waiting && !state.closing && state.unsent.empty()) {
        auto line = state.lines.next();
        if (!line) {
            if (state.lines.tooLong()) {
                state.closing = true;
                state.unsent = errorLine("Die Anfrage ist zu lang.");
                send(client);
                return;
            }
            if (state.ended) {
                clients_.erase(client);
                return;
            }
            break;
        }
        if (line->empty()) continue;
        state.waiting = true;
        state.silence.cancel();
        onLine_(client->first, *line);
    }
    resume(client);
}

void ControlServer::Connections::send(Clients::iterator client) {
    auto& state = client->second;
    while (state.sent < state.unsent.size()) {
        const auto taken =
            ::send(state.socket.get(), state.unsent.data() + state.sent, state.unsent.size() - state.sent, MSG_NOSIGNAL);
        if (taken < 0 && errno == EINTR) continue;
        if (taken < 0 && errno == EAGAIN) {
            resume(client);
            return;
        }
        if (taken < 0) {
            clients_.erase(client);
            return;
        }
        state.sent += static_cast<std::size_t>(taken);
        restartSilence(client);
    }
    state.unsent = {};
    state.sent = 0;
    if (state.closing)
        clients_.erase(client);
    else
        proceed(client);
}

/// Watches for what the client may do next. A request that waits for its turn stays in the socket.
void ControlServer::Connections::resume(Clients::iterator client) {
    auto& state = client->second;
    if (!state.unsent.empty())
        state.source.change(EPOLLOUT);
    else
        state.source.change(state.waiting || state.ended ? 0u : std::uint32_t{EPOLLIN});
}

void ControlServer::Connections::restartSilence(Clients::iterator client) {
    client->second.silence = queue_.after(limits_.silence, [self = weak_from_this(), number = client->first] {
        if (const auto here = self.lock()) here->clients_.erase(number);
    });
}

}  // namespace kestrelyne
