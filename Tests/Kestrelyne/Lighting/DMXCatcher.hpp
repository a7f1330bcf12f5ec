#pragma once
// The far end of DMX output in tests: a socket on the loopback address that reads both protocols.

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Base/FileDescriptor.hpp"
#include "NetCore/ArtNetDMX.hpp"
#include "NetCore/SACNData.hpp"
#include "NetCore/SocketAddress.hpp"

struct CaughtFrame {
    std::chrono::nanoseconds at{};  // when it reached the socket, by the wall clock
    bool sacn = false;
    int universe = 0, sequence = 0;
    std::vector<std::uint8_t> data{};
    std::uint16_t sourcePort = 0;
    // sACN only:
    std::string cid{}, name{};
    int priority = 0;
    bool terminated = false;

    bool dark() const {
        return data.size() == 512 && std::ranges::all_of(data, [](std::uint8_t value) { return value == 0; });
    }
};

class DMXCatcher {
public:
    /// An address of 127.0.0.0/8, in host order.
    explicit DMXCatcher(std::uint32_t address = INADDR_LOOPBACK, std::uint16_t port = 0)
        : descriptor_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const auto bound = netcore::socketAddress(address, port);
        if (bind(descriptor_.get(), netcore::generic(bound), sizeof bound) != 0) throw std::runtime_error("no socket for the test");
        netcore::setOption(descriptor_.get(), SOL_SOCKET, SO_TIMESTAMPNS, 1);
    }

    std::uint16_t port() const { return netcore::boundPortOf(descriptor_.get()); }

    /// The next frame; absent when none comes in time.
    std::optional<CaughtFrame> next(std::chrono::milliseconds limit = std::chrono::seconds(5)) {
        pollfd waiting{.fd = descriptor_.get(), .events = POLLIN, .revents = 0};
        if (poll(&waiting, 1, static_cast<int>(limit.count())) != 1) return std::nullopt;
        std::array<std::uint8_t, 2048> bytes;
        sockaddr_in from{};
        iovec part{.iov_base = bytes.data(), .iov_len = bytes.size()};
        alignas(cmsghdr) std::array<std::uint8_t, 128> control;
        msghdr message{};
        message.msg_name = &from;
        message.msg_namelen = sizeof from;
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const auto length = recvmsg(descriptor_.get(), &message, 0);
        if (length < 0) return std::nullopt;
        const base::Bytes packet(bytes.data(), static_cast<std::size_t>(length));
        CaughtFrame frame{.at = stampOf(message), .sourcePort = ntohs(from.sin_port)};
        if (const auto dmx = netcore::ArtNet::viewDmx(packet)) {
            frame.universe = dmx->universe;
            frame.sequence = dmx->sequence;
            frame.data.assign(dmx->data.begin(), dmx->data.end());
            return frame;
        }
        const auto data = netcore::SACN::viewData(packet);
        if (!data) return std::nullopt;
        const auto full = data->packet();
        frame.sacn = true;
        frame.universe = full.universe;
        frame.sequence = full.sequence;
        frame.data = full.values;
        frame.cid = full.cid;
        frame.name = full.sourceName;
        frame.priority = full.priority;
        frame.terminated = full.terminated;
        return frame;
    }
    /// Frames up to and with the first that fulfils the predicate; absent when it does not come among the next `most`.
    std::optional<CaughtFrame> until(const std::function<bool(const CaughtFrame&)>& fulfils, int most = 300) {
        while (most-- > 0) {
            auto frame = next();
            if (!frame || fulfils(*frame)) return frame;
        }
        return std::nullopt;
    }
    /// So many frames, or fewer when they do not come.
    std::vector<CaughtFrame> take(std::size_t count) {
        std::vector<CaughtFrame> frames;
        while (frames.size() < count) {
            auto frame = next();
            if (!frame) break;
            frames.push_back(std::move(*frame));
        }
        return frames;
    }
    /// Everything up to a silence that is longer than the pauses of an end.
    std::vector<CaughtFrame> untilQuiet() {
        std::vector<CaughtFrame> frames;
        while (auto frame = next(std::chrono::milliseconds(250))) frames.push_back(std::move(*frame));
        return frames;
    }

private:
    static std::chrono::nanoseconds stampOf(msghdr& message) {
        timespec time{};
        const auto* header = CMSG_FIRSTHDR(&message);
        if (header != nullptr && header->cmsg_type == SCM_TIMESTAMPNS) std::memcpy(&time, CMSG_DATA(header), sizeof time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    }

    base::FileDescriptor descriptor_;
};
