#include "NetCore/Ping.hpp"

#include <linux/icmp.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <random>

#include "Base/FileDescriptor.hpp"
#include "Base/Mutex.hpp"
#include "Base/Text.hpp"
#include "NetCore/Deadline.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/SocketAddress.hpp"

namespace netcore::Ping {

namespace {

// Room for what arrives together, and for some thousand requests that wait for their neighbour's hardware address.
constexpr int bufferBytes = 1048576;
constexpr std::size_t longestReply = 1500;
// While many requests go out, answers are fetched in between, so that they are timed when they come.
constexpr std::size_t requestsPerLook = 16;
// The system's queue is full: a pause for some requests to leave it.
constexpr base::Seconds pauseWhenFull(0.005);
// Other programs may hold identifiers of datagram sockets.
constexpr int identifiersToTry = 256;

// Process-wide, so that calls at once have identifiers of their own.
class Identifiers {
public:
    std::uint16_t next() {
        base::Lock lock(mutex_);
        // To the system 0 means "any".
        if (++last_ == 0) ++last_;
        return last_;
    }

private:
    static std::uint16_t randomStart() {
        std::random_device source;
        return static_cast<std::uint16_t>(std::uniform_int_distribution<int>(1, 60000)(source));
    }
    base::Mutex mutex_;
    std::uint16_t last_ KESTRELYNE_GUARDED_BY(mutex_) = randomStart();
};

class Refusal {
public:
    void set(std::string text) {
        base::Lock lock(mutex_);
        text_ = std::move(text);
    }
    std::string text() {
        base::Lock lock(mutex_);
        return text_;
    }

private:
    base::Mutex mutex_;
    std::string text_ KESTRELYNE_GUARDED_BY(mutex_);
};

Identifiers& identifiers() {
    static Identifiers shared;
    return shared;
}

Refusal& refusal() {
    static Refusal shared;
    return shared;
}

struct EchoSocket {
    base::FileDescriptor descriptor;
    std::uint16_t identifier = 0;
};

// icmp(7): for the groups of net.ipv4.ping_group_range. The system writes the bound "port" into each request as its identifier and
// hands over only the answers to it.
std::optional<EchoSocket> openDatagramSocket() {
    base::FileDescriptor descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_ICMP));
    if (!descriptor) return std::nullopt;
    // These sockets have the option from birth, and of two with one identifier the later one takes the answers of the earlier.
    setOption(descriptor.get(), SOL_SOCKET, SO_REUSEADDR, 0);
    for (int attempt = 0; attempt < identifiersToTry; ++attempt) {
        const auto identifier = identifiers().next();
        const auto own = socketAddress(INADDR_ANY, identifier);
        if (bind(descriptor.get(), generic(own), sizeof own) == 0)
            return EchoSocket{.descriptor = std::move(descriptor), .identifier = identifier};
        if (errno != EADDRINUSE) return std::nullopt;
    }
    return std::nullopt;
}

// raw(7): for the superuser and CAP_NET_RAW. It sees every ICMP message of the computer, but for the filter. Without IP_RECVERR
// such a socket says "sent" also of a request that the system had no room for (ENOBUFS).
std::optional<EchoSocket> openRawSocket() {
    base::FileDescriptor descriptor(socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_ICMP));
    if (!descriptor) return std::nullopt;
    icmp_filter filter{.data = ~(1U << ICMP_ECHOREPLY)};
    setsockopt(descriptor.get(), SOL_RAW, ICMP_FILTER, &filter, sizeof filter);
    setOption(descriptor.get(), IPPROTO_IP, IP_RECVERR, 1);
    return EchoSocket{.descriptor = std::move(descriptor), .identifier = identifiers().next()};
}

std::optional<EchoSocket> openSocket() {
    auto opened = openDatagramSocket();
    if (!opened) opened = openRawSocket();
    if (opened) {
        refusal().set({});
        return opened;
    }
    const int reason = errno;
    if (reason == EPERM || reason == EACCES)
        refusal().set("Ping nicht möglich: dem Benutzer fehlt das Recht dazu (net.ipv4.ping_group_range oder CAP_NET_RAW)");
    else
        refusal().set("Ping nicht möglich: " + base::errnoText(reason));
    return std::nullopt;
}

// Beyond net.core.wmem_max and rmem_max only with CAP_NET_ADMIN.
void enlargeBuffers(int descriptor) {
    if (!setOption(descriptor, SOL_SOCKET, SO_SNDBUFFORCE, bufferBytes)) setOption(descriptor, SOL_SOCKET, SO_SNDBUF, bufferBytes);
    if (!setOption(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, bufferBytes)) setOption(descriptor, SOL_SOCKET, SO_RCVBUF, bufferBytes);
}

enum class Sent { yes, full, refused };

Sent send(const EchoSocket& socket, std::uint32_t address, std::uint16_t sequence) {
    const auto message = request(socket.identifier, sequence);
    const auto target = socketAddress(address, 0);
    for (;;) {
        if (sendto(socket.descriptor.get(), message.data(), message.size(), MSG_NOSIGNAL, generic(target), sizeof target) >= 0)
            return Sent::yes;
        if (errno == EAGAIN || errno == ENOBUFS) return Sent::full;
        if (errno != EINTR) return Sent::refused;
    }
}

// ip(7), IP_RECVERR: what was reported of earlier requests, those of other programs too. So much of it gets lost on its way that it
// is no verdict: a host that cannot be reached is one that does not answer.
void forgetErrors(const EchoSocket& socket, const Deadline& deadline) {
    std::array<std::uint8_t, 1> ignored;
    while (recv(socket.descriptor.get(), ignored.data(), ignored.size(), MSG_ERRQUEUE | MSG_DONTWAIT) >= 0)
        if (deadline.passed()) return;
}

// What waits in the socket: the next answer to our identifier, anything else skipped. Absent when nothing waits or time is over.
std::optional<Reply> nextReply(const EchoSocket& socket, const Deadline& deadline) {
    std::array<std::uint8_t, longestReply> buffer;
    do {
        const auto length = recv(socket.descriptor.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (length < 0 && errno == EINTR) continue;
        if (length < 0) {
            const bool empty = errno == EAGAIN;
            forgetErrors(socket, deadline);
            if (empty) return std::nullopt;
            continue;
        }
        const auto reply = parseReply(base::Bytes(buffer).first(static_cast<std::size_t>(length)));
        if (reply && reply->identifier == socket.identifier) return reply;
    } while (!deadline.passed());
    return std::nullopt;
}

base::SteadyTime now() { return base::SystemClock::shared().steadyNow(); }

// One sweep: what was asked, and what came back. One deadline holds for all of it.
class Sweep {
public:
    Sweep(const EchoSocket& socket, const std::vector<std::string>& ips, const Deadline& deadline)
        : socket_(socket), ips_(ips), deadline_(deadline), requests_(ips.size()) {}

    // All requests, back to back. A full queue of the system is given time.
    void sendAll() {
        for (std::size_t i = 0; i < ips_.size(); ++i) {
            if (const auto address = ipToUInt32(ips_[i])) sendOne(i, *address);
            if (i % requestsPerLook != requestsPerLook - 1) continue;
            collect();
            if (deadline_.passed()) return;
        }
    }

    void collect() {
        while (const auto reply = nextReply(socket_, deadline_)) {
            // Sequence numbers count from 1, and from anew behind 65535.
            for (std::size_t i = static_cast<std::uint16_t>(reply->sequence - 1U); i < requests_.size(); i += sequences) {
                auto& request = requests_[i];
                if (!request.sent || request.answered) continue;
                request.answered = true;
                --missing_;
                answers_.try_emplace(ips_[i], base::Seconds(now() - *request.sent).count());
                break;
            }
            if (deadline_.passed()) return;
        }
    }

    void awaitAnswers() {
        collect();
        while (missing_ > 0 && !deadline_.passed() && waitFor(socket_.descriptor.get(), POLLIN, deadline_)) collect();
    }

    Answers takeAnswers() { return std::move(answers_); }

private:
    static constexpr std::size_t sequences = 65536;
    struct Request {
        std::optional<base::SteadyTime> sent = {};
        bool answered = false;
    };

    void sendOne(std::size_t position, std::uint32_t address) {
        for (;;) {
            const auto time = now();
            const auto outcome = send(socket_, address, static_cast<std::uint16_t>(position + 1));
            if (outcome == Sent::yes) {
                requests_[position].sent = time;
                ++missing_;
            }
            if (outcome != Sent::full || deadline_.passed()) return;
            waitFor(socket_.descriptor.get(), POLLIN, Deadline(pauseWhenFull));
            collect();
        }
    }

    const EchoSocket& socket_;
    const std::vector<std::string>& ips_;
    const Deadline& deadline_;
    std::vector<Request> requests_;  // by position
    std::size_t missing_ = 0;        // sent and not answered
    Answers answers_;
};

}  // namespace

std::string missingRight() { return refusal().text(); }

std::optional<double> ping(const std::string& ip, base::Seconds timeout) {
    const auto socket = openSocket();
    if (!socket) return std::nullopt;
    const auto address = ipToUInt32(ip);
    if (!address) return std::nullopt;
    const Deadline deadline(timeout);
    const auto begun = now();
    if (send(*socket, *address, 1) != Sent::yes) return std::nullopt;
    while (waitFor(socket->descriptor.get(), POLLIN, deadline)) {
        if (nextReply(*socket, deadline)) return base::Seconds(now() - begun).count();
        if (deadline.passed()) break;
    }
    return std::nullopt;
}

std::optional<Answers> sweep(const std::vector<std::string>& ips, base::Seconds timeout) {
    if (ips.empty()) return Answers();
    const auto socket = openSocket();
    if (!socket) return std::nullopt;
    enlargeBuffers(socket->descriptor.get());
    const Deadline deadline(timeout);
    Sweep sweep(*socket, ips, deadline);
    sweep.sendAll();
    sweep.awaitAnswers();
    return sweep.takeAnswers();
}

}  // namespace netcore::Ping
