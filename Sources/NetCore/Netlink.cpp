#include "NetCore/Netlink.hpp"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "Base/Text.hpp"
#include "NetCore/WireFields.hpp"

namespace netcore::netlink {

namespace {

// The system fills at most this much at once (netlink(7)).
constexpr std::size_t bufferBytes = 32768;
constexpr std::uint32_t sequence = 1;
constexpr int attempts = 4;
// The system answers at once; this is for the case that it never does.
constexpr timeval patience{.tv_sec = 2, .tv_usec = 0};

constexpr std::size_t aligned(std::size_t length) { return (length + 3) / 4 * 4; }

enum class Dump { whole, changed, failed };

bool ask(int descriptor, std::uint16_t request, std::uint8_t family) {
    struct {
        nlmsghdr header;
        rtgenmsg body;
    } message{};
    message.header.nlmsg_len = NLMSG_LENGTH(sizeof message.body);
    message.header.nlmsg_type = request;
    message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    message.header.nlmsg_seq = sequence;
    message.body.rtgen_family = family;
    return send(descriptor, &message, message.header.nlmsg_len, 0) == static_cast<ssize_t>(message.header.nlmsg_len);
}

// The last message of a list brings its outcome: a negative error code when the system broke off.
bool endedInError(base::Bytes message) {
    const auto outcome = read<std::int32_t>(message.subspan(std::min(aligned(sizeof(nlmsghdr)), message.size())));
    return outcome && *outcome < 0;
}

Dump attempt(std::uint16_t request, std::uint8_t family, const std::function<void(base::Bytes)>& entry) {
    const auto socket = openSocket(0);
    if (!socket) return Dump::failed;
    setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    if (!ask(socket.get(), request, family)) return Dump::failed;
    std::vector<std::uint8_t> buffer(bufferBytes);
    bool changed = false;
    for (;;) {
        const auto length = recv(socket.get(), buffer.data(), buffer.size(), 0);
        if (length < 0 && errno == EINTR) continue;
        if (length <= 0) return Dump::failed;
        auto rest = base::Bytes(buffer).first(static_cast<std::size_t>(length));
        while (const auto header = read<nlmsghdr>(rest)) {
            if (header->nlmsg_len < sizeof(nlmsghdr) || header->nlmsg_len > rest.size()) return Dump::failed;
            if ((header->nlmsg_flags & NLM_F_DUMP_INTR) != 0) changed = true;
            if (header->nlmsg_type == NLMSG_DONE) {
                if (endedInError(rest.first(header->nlmsg_len))) return Dump::failed;
                return changed ? Dump::changed : Dump::whole;
            }
            if (header->nlmsg_type == NLMSG_ERROR) return Dump::failed;
            if (header->nlmsg_type >= NLMSG_MIN_TYPE)
                entry(rest.first(header->nlmsg_len).subspan(std::min(aligned(sizeof(nlmsghdr)), std::size_t(header->nlmsg_len))));
            rest = rest.subspan(std::min(aligned(header->nlmsg_len), rest.size()));
        }
    }
}

}  // namespace

base::FileDescriptor openSocket(std::uint32_t groups) {
    base::FileDescriptor descriptor(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    if (!descriptor) return descriptor;
    sockaddr_nl own{};
    own.nl_family = AF_NETLINK;
    own.nl_groups = groups;
    if (bind(descriptor.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) descriptor.reset();
    return descriptor;
}

bool dump(std::uint16_t request, std::uint8_t family, const std::function<void()>& begin,
          const std::function<void(base::Bytes)>& entry) {
    for (int i = 0; i < attempts; ++i) {
        begin();
        const auto outcome = attempt(request, family, entry);
        if (outcome == Dump::changed) continue;
        return outcome == Dump::whole;
    }
    // A list that never stands still is better than none.
    return true;
}

std::optional<base::Bytes> attribute(base::Bytes body, std::size_t headerSize, std::uint16_t type) {
    if (body.size() < aligned(headerSize)) return std::nullopt;
    return nested(body.subspan(aligned(headerSize)), type);
}

std::optional<base::Bytes> nested(base::Bytes attributes, std::uint16_t type) {
    while (const auto header = read<rtattr>(attributes)) {
        if (header->rta_len < sizeof(rtattr) || header->rta_len > attributes.size()) return std::nullopt;
        if ((header->rta_type & NLA_TYPE_MASK) == type) return attributes.first(header->rta_len).subspan(sizeof(rtattr));
        attributes = attributes.subspan(std::min(aligned(header->rta_len), attributes.size()));
    }
    return std::nullopt;
}

std::string text(base::Bytes attribute) { return base::repairUTF8(wire::beforeZero(attribute)); }

}  // namespace netcore::netlink
