#include "Kestrelyne/App/ControlClient.hpp"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <thread>

#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/App/ControlPath.hpp"

namespace kestrelyne {

namespace {

constexpr std::size_t longestAnswer = 32 * 1024 * 1024;

class Deadline {
public:
    explicit Deadline(base::Seconds limit)
        : end_(std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::nanoseconds>(limit)) {}
    /// False when the time has passed first.
    bool waitFor(int descriptor, short events) const {
        for (;;) {
            const base::Seconds left = end_ - std::chrono::steady_clock::now();
            if (left.count() <= 0) return false;
            pollfd entry{.fd = descriptor, .events = events, .revents = 0};
            const int ready = poll(&entry, 1, static_cast<int>(std::ceil(left.count() * 1000)));
            if (ready > 0) return true;
            if (ready < 0 && errno != EINTR) return false;
        }
    }

private:
    std::chrono::steady_clock::time_point end_;
};

ControlError lost() { return ControlError("Das laufende Programm hat die Verbindung beendet."); }

/// What the program says at the end of a request; absent for a progress line.
std::optional<base::JSON> outcome(const std::string& line) {
    try {
        const auto message = base::parseJSON(line);
        if (base::member(message, "progress")) return std::nullopt;
        if (const auto* text = base::member(message, "error")) {
            const auto* code = base::member(message, "code");
            throw ControlError(base::asText(*text),
                               code && *code == static_cast<int>(ExitCode::wrongWords) ? ExitCode::wrongWords : ExitCode::failed);
        }
        if (!message.contains("result")) throw base::DecodeError("no result");
        return message["result"];
    } catch (const base::DecodeError&) {
        throw ControlError("Die Antwort des laufenden Programms ist unverständlich.");
    }
}

}  // namespace

ControlClient::ControlClient(const std::filesystem::path& path) : path_(path), lines_(longestAnswer) {
    const auto cannot = [&path](const std::string& reason, ExitCode code) {
        return ControlError(fmt::format("Kein Anschluss an „{}“: {}", path.string(), reason), code);
    };
    if (path.native().size() > longestSocketPath) throw cannot(base::errnoText(ENAMETOOLONG), ExitCode::failed);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.native().copy(address.sun_path, longestSocketPath);
    socket_.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket_) throw cannot(base::errnoText(errno), ExitCode::failed);
    // EAGAIN: the queue of those who wait is full, as a program that is just starting may have it.
    constexpr int attempts = 100;
    constexpr auto pause = std::chrono::milliseconds(20);
    for (int i = 0; connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0; ++i) {
        if (errno == ENOENT || errno == ECONNREFUSED) throw cannot("Dort läuft kein Programm.", ExitCode::notRunning);
        if (errno != EAGAIN || i >= attempts) throw cannot(base::errnoText(errno), ExitCode::failed);
        std::this_thread::sleep_for(pause);
    }
}

nlohmann::json ControlClient::request(const nlohmann::json& request, base::Seconds limit) {
    const Deadline deadline(limit);
    const auto late = [] { return ControlError("Das laufende Programm antwortet nicht."); };
    const auto line = base::dump(request) + "\n";
    for (std::string_view unsent = line; !unsent.empty();) {
        if (!deadline.waitFor(socket_.get(), POLLOUT)) throw late();
        const auto sent = ::send(socket_.get(), unsent.data(), unsent.size(), MSG_NOSIGNAL);
        if (sent > 0) unsent.remove_prefix(static_cast<std::size_t>(sent));
        // Whoever is not let in has an answer waiting.
        if (sent < 0 && errno == EPIPE) break;
        if (sent < 0 && errno != EAGAIN && errno != EINTR) throw lost();
    }
    for (;;) {
        while (const auto answer = lines_.next())
            if (auto result = outcome(*answer)) return *result;
        if (lines_.tooLong()) throw ControlError("Die Antwort des laufenden Programms ist zu lang.");
        if (!deadline.waitFor(socket_.get(), POLLIN)) throw late();
        std::array<char, 65536> piece;
        const auto got = ::recv(socket_.get(), piece.data(), piece.size(), 0);
        if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR)) throw lost();
        if (got > 0) lines_.feed({piece.data(), static_cast<std::size_t>(got)});
    }
}

}  // namespace kestrelyne
