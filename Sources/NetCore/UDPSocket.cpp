#include "NetCore/UDPSocket.hpp"

#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <vector>

#include "Base/FileDescriptor.hpp"
#include "Base/Mutex.hpp"
#include "Base/SerialQueue.hpp"
#include "Base/Text.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/Memberships.hpp"
#include "NetCore/NetError.hpp"
#include "NetCore/SocketAddress.hpp"

namespace netcore {

namespace {

constexpr unsigned datagramsPerCall = 32;
// Then the queue looks after its other work; what is left makes the descriptor ready again at once.
constexpr int callsPerEvent = 16;
constexpr std::size_t controlSize = CMSG_SPACE(sizeof(in_pktinfo));

int grantedReceiveBuffer(int descriptor) {
    int granted = 0;
    socklen_t size = sizeof granted;
    getsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &granted, &size);
    return granted;
}

base::FileDescriptor boundSocket(std::uint16_t port) {
    base::FileDescriptor descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!descriptor) throw NetError::socket(base::errnoText(errno));
    const int number = descriptor.get();
    // Of a socket that would share, the system takes a port of somebody who shares as well for a free one.
    const bool anyFree = port == 0;
    if (!anyFree) setOption(number, SOL_SOCKET, SO_REUSEADDR, 1);
    setOption(number, SOL_SOCKET, SO_BROADCAST, 1);
    setOption(number, IPPROTO_IP, IP_PKTINFO, 1);
    // Beyond net.core.rmem_max only with CAP_NET_ADMIN.
    if (!setOption(number, SOL_SOCKET, SO_RCVBUFFORCE, UDPSocket::wantedReceiveBuffer))
        setOption(number, SOL_SOCKET, SO_RCVBUF, UDPSocket::wantedReceiveBuffer);
    const auto address = socketAddress(INADDR_ANY, port);
    bool bound = bind(number, generic(address), sizeof address) == 0;
    if (!bound && errno == EADDRINUSE && !anyFree) {
        // Another program of this user shares the port by SO_REUSEPORT alone. Not the first choice: with both options the system
        // would deal unicast out among the sockets of one user.
        setOption(number, SOL_SOCKET, SO_REUSEPORT, 1);
        bound = bind(number, generic(address), sizeof address) == 0;
    }
    if (!bound) throw NetError::socket("Port " + std::to_string(port) + " belegt: " + base::errnoText(errno));
    if (anyFree) setOption(number, SOL_SOCKET, SO_REUSEADDR, 1);
    return descriptor;
}

// What one recvmmsg() fills, allocated once for the life of a socket.
class ReceiveBatch {
public:
    ReceiveBatch() {
        for (std::size_t i = 0; i < datagramsPerCall; ++i) {
            parts_[i] = {.iov_base = data_[i].data(), .iov_len = data_[i].size()};
            prepare(i);
        }
    }
    ReceiveBatch(const ReceiveBatch&) = delete;
    ReceiveBatch& operator=(const ReceiveBatch&) = delete;

    /// How many datagrams came; 0 when none is left, or the system refused.
    unsigned receive(int descriptor) {
        for (unsigned i = 0; i < used_; ++i) prepare(i);
        const int count = recvmmsg(descriptor, messages_.data(), datagramsPerCall, MSG_DONTWAIT, nullptr);
        used_ = count > 0 ? static_cast<unsigned>(count) : 0;
        return used_;
    }

    UDPView view(unsigned number, const base::Moment& time) {
        const auto& message = messages_[number];
        UDPView view{.data = base::Bytes(data_[number]).first(message.msg_len),
                     .source = ntohl(sources_[number].sin_addr.s_addr),
                     .sourcePort = ntohs(sources_[number].sin_port),
                     .time = time};
        msghdr header = message.msg_hdr;
        for (cmsghdr* control = CMSG_FIRSTHDR(&header); control != nullptr; control = CMSG_NXTHDR(&header, control)) {
            if (control->cmsg_level != IPPROTO_IP || control->cmsg_type != IP_PKTINFO) continue;
            in_pktinfo info{};
            std::memcpy(&info, CMSG_DATA(control), sizeof info);
            view.interfaceIndex = static_cast<std::uint32_t>(info.ipi_ifindex);
            view.destination = ntohl(info.ipi_addr.s_addr);
        }
        return view;
    }

private:
    // The system wrote lengths into the header.
    void prepare(std::size_t number) {
        msghdr header{};
        header.msg_name = &sources_[number];
        header.msg_namelen = sizeof sources_[number];
        header.msg_iov = &parts_[number];
        header.msg_iovlen = 1;
        header.msg_control = controls_[number].bytes.data();
        header.msg_controllen = controlSize;
        messages_[number] = {.msg_hdr = header, .msg_len = 0};
    }

    struct alignas(cmsghdr) Control {
        std::array<std::uint8_t, controlSize> bytes;
    };
    std::array<std::array<std::uint8_t, UDPSocket::longestDatagram>, datagramsPerCall> data_{};
    std::array<Control, datagramsPerCall> controls_{};
    std::array<sockaddr_in, datagramsPerCall> sources_{};
    std::array<iovec, datagramsPerCall> parts_{};
    std::array<mmsghdr, datagramsPerCall> messages_{};
    unsigned used_ = 0;
};

}  // namespace

class UDPSocket::Core : public std::enable_shared_from_this<Core> {
public:
    Core(std::uint16_t port, const std::string& label)
        : port_(port),
          descriptor_(boundSocket(port)),
          receiveBuffer_(grantedReceiveBuffer(descriptor_.get())),
          boundPort_(boundPortOf(descriptor_.get())),
          queue_("net.udp." + label) {}

    void start(Handler handler) {
        queue_.post([core = shared_from_this(), handler = std::move(handler)]() mutable { core->watch(std::move(handler)); });
    }

    bool join(const std::string& group, const std::string& interfaceAddress) {
        const auto groupNumber = ipToUInt32(group), addressNumber = ipToUInt32(interfaceAddress);
        return groupNumber && addressNumber && !closed_ && memberships_.join(*groupNumber, *addressNumber);
    }

    void leave(const std::string& group, const std::string& interfaceAddress) {
        const auto groupNumber = ipToUInt32(group), addressNumber = ipToUInt32(interfaceAddress);
        if (groupNumber && addressNumber) memberships_.leave(*groupNumber, *addressNumber);
    }

    void send(base::Bytes bytes, std::string_view to, std::uint16_t port) {
        const auto address = ipToUInt32(to);
        if (!address) return;
        const auto target = socketAddress(*address, port);
        base::Lock lock(mutex_);
        if (closed_ || !descriptor_) return;
        sendto(descriptor_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL, generic(target), sizeof target);
    }

    void close() {
        if (closed_.exchange(true)) return;
        boundPort_ = 0;
        countDrops();
        memberships_.close();
        queue_.post([core = shared_from_this()] { core->closeHere(); });
    }

    std::uint16_t port() const { return port_; }
    std::uint16_t boundPort() const { return boundPort_; }
    int receiveBuffer() const { return receiveBuffer_; }

    // socket(7) counts in 32 bits that start anew behind the last.
    std::uint64_t countDrops() {
        std::array<std::uint32_t, SK_MEMINFO_VARS> info{};
        socklen_t size = sizeof info;
        base::Lock lock(mutex_);
        if (descriptor_ && getsockopt(descriptor_.get(), SOL_SOCKET, SO_MEMINFO, info.data(), &size) == 0 &&
            size > SK_MEMINFO_DROPS * sizeof(std::uint32_t)) {
            drops_ += info[SK_MEMINFO_DROPS] - std::exchange(lastDrops_, info[SK_MEMINFO_DROPS]);
        }
        return drops_;
    }

private:
    int number() const {
        base::Lock lock(mutex_);
        return descriptor_.get();
    }

    void watch(Handler handler) {
        if (closed_) return;
        handler_ = std::move(handler);
        batch_ = std::make_unique<ReceiveBatch>();
        watched_ = number();
        source_ = queue_.watch(watched_, EPOLLIN, [core = shared_from_this()](std::uint32_t) { core->drain(); });
    }

    void drain() {
        for (int call = 0; call < callsPerEvent && !closed_; ++call) {
            const auto count = batch_->receive(watched_);
            if (count == 0) return;
            const auto time = base::SystemClock::shared().moment();
            const auto wanted = memberships_.wanted();
            for (unsigned i = 0; i < count; ++i) {
                const auto view = batch_->view(i, time);
                if (view.data.empty()) continue;
                // The system also delivers the groups of other sockets and other programs.
                if (IN_MULTICAST(view.destination) && !wanted->contains(view.destination, view.interfaceIndex)) continue;
                if (closed_) return;
                handler_(view);
            }
            if (count < datagramsPerCall) return;
        }
    }

    void closeHere() {
        source_ = {};
        handler_ = nullptr;
        base::Lock lock(mutex_);
        descriptor_.reset();
    }

    const std::uint16_t port_;
    mutable base::Mutex mutex_;
    base::FileDescriptor descriptor_ KESTRELYNE_GUARDED_BY(mutex_);  // closed by the queue alone
    const int receiveBuffer_;
    std::uint64_t drops_ KESTRELYNE_GUARDED_BY(mutex_) = 0;
    std::uint32_t lastDrops_ KESTRELYNE_GUARDED_BY(mutex_) = 0;
    std::atomic<std::uint16_t> boundPort_;
    std::atomic<bool> closed_ = false;
    Memberships memberships_;
    // Queue only:
    Handler handler_;
    std::unique_ptr<ReceiveBatch> batch_;
    int watched_ = -1;
    base::SerialQueue::Source source_;
    base::SerialQueue queue_;
};

UDPSocket::UDPSocket(std::uint16_t port, const std::string& label) : core_(std::make_shared<Core>(port, label)) {}

UDPSocket::~UDPSocket() { core_->close(); }

void UDPSocket::start(Handler handler) { core_->start(std::move(handler)); }

bool UDPSocket::join(const std::string& group, const std::string& interfaceAddress) { return core_->join(group, interfaceAddress); }

void UDPSocket::leave(const std::string& group, const std::string& interfaceAddress) { core_->leave(group, interfaceAddress); }

void UDPSocket::sendFromBound(base::Bytes bytes, std::string_view to, std::uint16_t port) { core_->send(bytes, to, port); }

void UDPSocket::close() { core_->close(); }

std::uint16_t UDPSocket::port() const { return core_->port(); }

std::uint16_t UDPSocket::boundPort() const { return core_->boundPort(); }

std::uint64_t UDPSocket::drops() const { return core_->countDrops(); }

int UDPSocket::receiveBuffer() const { return core_->receiveBuffer(); }

}  // namespace netcore
