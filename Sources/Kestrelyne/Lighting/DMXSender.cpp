#include "Kestrelyne/Lighting/DMXSender.hpp"

#include <sys/epoll.h>
#include <sys/timerfd.h>

#include <algorithm>
#include <utility>

#include "Base/Completion.hpp"
#include "Base/FileDescriptor.hpp"
#include "Base/Require.hpp"
#include "Base/SerialQueue.hpp"
#include "Base/UUID.hpp"
#include "Kestrelyne/Lighting/DMXFrames.hpp"
#include "NetCore/ArtNetDMX.hpp"
#include "NetCore/SACNData.hpp"
#include "NetCore/UDPSocket.hpp"

namespace kestrelyne {

namespace {

using Frame = DMXSender::Frame;
constexpr Frame black{};

/// One universe to one address.
struct Stream {
    bool sacn = false;
    int universe = 0;
    std::optional<std::uint32_t> interfaceIndex{};
    std::string destination{};
    auto operator<=>(const Stream&) const = default;
};

struct Content {
    Frame frame{};
    std::uint8_t priority = 0;
    std::uint8_t sequence = 0;  // of the last packet
};
using Streams = std::map<Stream, Content>;

/// The same as long as the process lives, so that receivers take the next test for the same source (ANSI E1.31-2018, 5.6).
const std::string& componentID() {
    static const std::string cid = [] {
        constexpr std::size_t size = 16, versionAt = 6, variantAt = 8;
        auto bytes = base::randomBytes(size);
        // RFC 4122, 4.4: version 4.
        bytes[versionAt] = static_cast<char>((bytes[versionAt] & 0x0F) | 0x40);
        bytes[variantAt] = static_cast<char>((bytes[variantAt] & 0x3F) | 0x80);
        return bytes;
    }();
    return cid;
}

base::Bytes asBytes(const std::string& text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

Streams streamsOf(const DMXSender::Frames& frames, bool sacn, std::uint8_t priority) {
    Streams streams;
    for (const auto& [target, frame] : frames)
        for (const auto& destination : target.destinations)
            streams.insert_or_assign(
                Stream{
                    .sacn = sacn, .universe = target.universe, .interfaceIndex = target.interfaceIndex, .destination = destination},
                Content{.frame = frame, .priority = priority});
    return streams;
}

}  // namespace

/// Its queue belongs to it, and whatever the queue still runs keeps it alive: the last one to let go is the queue's own thread.
class DMXSender::Core : public std::enable_shared_from_this<Core> {
public:
    explicit Core(Ports ports)
        : ports_(ports), timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)), queue_("dmx.out") {
        KESTRELYNE_REQUIRE(timer_, "no descriptor left for a timer");
    }

    std::uint16_t port() const { return socket_.port(); }

    void send(Streams wanted) {
        queue_.post([self = shared_from_this(), wanted = std::move(wanted)]() mutable { self->apply(std::move(wanted)); });
    }

    static base::Co<> untilDark(std::shared_ptr<Core> core) {
        const base::Completion<base::Done> dark;
        core->queue_.post([core, dark] {
            core->waiting_.push_back(dark);
            core->tellWhenDark();
        });
        co_await dark.wait();
    }

private:
    // Everything below: queue thread only.

    /// Streams on their way out.
    struct Release {
        Streams streams;
        int sent = 0;  // black frames
        base::SerialQueue::Timer next{};
    };

    void apply(Streams wanted) {
        for (auto& [stream, content] : wanted) {
            if (const auto before = lit_.find(stream); before != lit_.end()) {
                content.sequence = before->second.sequence;
                lit_.erase(before);
            } else if (const auto leaving = takeBack(stream)) {
                content.sequence = *leaving;
            } else {
                content.sequence = sequence_;
            }
        }
        auto gone = std::exchange(lit_, std::move(wanted));
        if (lit_.empty())
            endTicks();
        else
            beginTicks();
        if (!gone.empty()) {
            const auto number = ++lastRelease_;
            releases_[number].streams = std::move(gone);
            release(number);
        }
        tellWhenDark();
    }

    /// A stream that is lit again leaves those that go dark. Its last sequence number; absent when it was not among them.
    std::optional<std::uint8_t> takeBack(const Stream& stream) {
        for (auto& [number, release] : releases_)
            if (const auto node = release.streams.extract(stream)) return node.mapped().sequence;
        return std::nullopt;
    }

    // The kernel's own timer: exact, counted from its start, and what was missed is told as a number.
    void beginTicks() {
        if (ticks_) return;
        constexpr auto interval = std::chrono::nanoseconds(tickLength).count();
        constexpr itimerspec atOnce{.it_interval = {.tv_sec = 0, .tv_nsec = interval}, .it_value = {.tv_sec = 0, .tv_nsec = 1}};
        timerfd_settime(timer_.get(), 0, &atOnce, nullptr);
        ticks_ = queue_.watch(timer_.get(), EPOLLIN, [self = shared_from_this()](std::uint32_t) { self->tick(); });
    }

    void endTicks() {
        if (!ticks_) return;
        ticks_.cancel();
        constexpr itimerspec never{};
        timerfd_settime(timer_.get(), 0, &never, nullptr);
    }

    void tick() {
        std::uint64_t passed = 0;
        if (read(timer_.get(), &passed, sizeof passed) != sizeof passed) return;
        ++sequence_;
        for (auto& [stream, content] : lit_) sendPacket(stream, content, content.frame, false);
    }

    void release(std::uint64_t number) {
        const auto found = releases_.find(number);
        auto& [streams, sent, next] = found->second;
        ++sequence_;
        const bool ends = sent == blackFrames;
        for (auto& [stream, content] : streams)
            if (!ends || stream.sacn) sendPacket(stream, content, black, ends);
        sent += ends ? 0 : 1;
        const bool saysEnd = std::ranges::any_of(streams, [](const auto& one) { return one.first.sacn; });
        if (streams.empty() || ends || (sent == blackFrames && !saysEnd)) {
            releases_.erase(found);
            tellWhenDark();
        } else {
            next = queue_.after(blackPause, [self = shared_from_this(), number] { self->release(number); });
        }
    }

    // A packet that the system refuses is lost, as on a network; the next one follows.
    void sendPacket(const Stream& stream, Content& content, const Frame& frame, bool terminated) {
        content.sequence = DMXFrames::nextSequence(content.sequence, stream.sacn ? NetProtocol::sacn : NetProtocol::artnet);
        if (stream.sacn) {
            const auto packet = netcore::DMXPackets::sacn({.universe = stream.universe,
                                                           .sequence = content.sequence,
                                                           .data = frame,
                                                           .cid = asBytes(cid_),
                                                           .sourceName = sourceName,
                                                           .priority = content.priority,
                                                           .terminated = terminated});
            socket_.send(packet, stream.destination, ports_.sacn, stream.interfaceIndex);
        } else {
            const auto packet = netcore::DMXPackets::artDmx(stream.universe, content.sequence, frame);
            socket_.send(packet, stream.destination, ports_.artnet, stream.interfaceIndex);
        }
    }

    void tellWhenDark() {
        if (!lit_.empty() || !releases_.empty()) return;
        for (const auto& waiting : std::exchange(waiting_, {})) waiting.complete({});
    }

    const Ports ports_;
    const std::string& cid_ = componentID();
    const netcore::UDPSender socket_;
    const base::FileDescriptor timer_;
    Streams lit_;
    std::map<std::uint64_t, Release> releases_;
    std::uint64_t lastRelease_ = 0;
    std::uint8_t sequence_ = 0;  // where a new stream begins to count
    std::vector<base::Completion<base::Done>> waiting_;
    base::SerialQueue::Source ticks_;
    base::SerialQueue queue_;
};

DMXSender::DMXSender(Ports ports) : core_(std::make_shared<Core>(ports)) {}

DMXSender::~DMXSender() { stop(); }

void DMXSender::update(Frames frames, bool sacn, std::uint8_t priority) { core_->send(streamsOf(frames, sacn, priority)); }

void DMXSender::stop() { core_->send({}); }

base::Co<> DMXSender::finished() const { return Core::untilDark(core_); }

std::uint16_t DMXSender::port() const { return core_->port(); }

}  // namespace kestrelyne
