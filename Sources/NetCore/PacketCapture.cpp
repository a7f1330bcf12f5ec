#include "NetCore/PacketCapture.hpp"

#include <fmt/format.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <pcap/pcap.h>
#include <pthread.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <system_error>

#include "Base/FileDescriptor.hpp"
#include "Base/Mutex.hpp"
#include "Base/Reaper.hpp"
#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "NetCore/NetError.hpp"

namespace netcore {

namespace {

// Datagrams come through sockets: at a show network's rate they must not even be copied here. In a capture the system drops them,
// in a file the library.
constexpr const char* filterText = "arp or igmp";
constexpr int snapshotLength = 1600;         // bytes
constexpr int readTimeout = 100;             // ms
constexpr int bufferSize = 4 * 1024 * 1024;  // bytes
constexpr std::chrono::milliseconds filePause{20};
constexpr std::size_t threadNameLimit = 15;  // pthread_setname_np(3)

struct Close {
    void operator()(pcap_t* handle) const { pcap_close(handle); }
};
using Handle = std::unique_ptr<pcap_t, Close>;

bool isFile(std::string_view interface) { return interface.ends_with(".pcap") || interface.ends_with(".pcapng"); }

[[noreturn]] void failToOpen(const std::string& interface, std::string_view reason) {
    throw NetError::socket(fmt::format("Mitschnitt auf {} nicht möglich: {}", interface, base::repairUTF8(reason)));
}

Handle openFile(const std::string& path) {
    char reason[PCAP_ERRBUF_SIZE] = {};
    Handle handle(pcap_open_offline(path.c_str(), reason));
    if (!handle) failToOpen(path, reason);
    return handle;
}

// What pcap_open_live() does, with its error texts, but with a buffer that holds a burst.
Handle openAdapter(const std::string& name) {
    char reason[PCAP_ERRBUF_SIZE] = {};
    Handle handle(pcap_create(name.c_str(), reason));
    if (!handle) failToOpen(name, reason);
    pcap_set_snaplen(handle.get(), snapshotLength);
    pcap_set_promisc(handle.get(), 0);
    pcap_set_timeout(handle.get(), readTimeout);
    pcap_set_buffer_size(handle.get(), bufferSize);
    const int status = pcap_activate(handle.get());
    if (status >= 0) return handle;
    const std::string_view detail = pcap_geterr(handle.get());
    if (status == PCAP_ERROR) failToOpen(name, fmt::format("{}: {}", name, detail));
    if (detail.empty()) failToOpen(name, fmt::format("{}: {}", name, pcap_statustostr(status)));
    failToOpen(name, fmt::format("{}: {} ({})", name, pcap_statustostr(status), detail));
}

void setFilter(pcap_t* handle) {
    bpf_program program{};
    if (pcap_compile(handle, &program, filterText, 1, PCAP_NETMASK_UNKNOWN) != 0)
        throw NetError::socket(fmt::format("Filter: {}", base::repairUTF8(pcap_geterr(handle))));
    const int status = pcap_setfilter(handle, &program);
    pcap_freecode(&program);
    if (status != 0) throw NetError::socket(fmt::format("Filter: {}", base::repairUTF8(pcap_geterr(handle))));
}

// Reports of other hosts go to their groups, which nobody here has joined: the adapter must let all groups through (packet(7)).
// Where that is not allowed, only the reports are missing. It lasts as long as the socket; protocol 0 receives nothing.
base::FileDescriptor letAllGroupsThrough(const std::string& adapter) {
    packet_mreq request{};
    request.mr_ifindex = static_cast<int>(if_nametoindex(adapter.c_str()));
    request.mr_type = PACKET_MR_ALLMULTI;
    if (request.mr_ifindex == 0) return {};
    base::FileDescriptor membership(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0));
    if (membership) setsockopt(membership.get(), SOL_PACKET, PACKET_ADD_MEMBERSHIP, &request, sizeof request);
    return membership;
}

}  // namespace

/// What thread and owner share. The handle is closed when the reading has ended, for `stop` may still need it until then.
class PacketCapture::Worker {
public:
    Worker(Handle handle, base::FileDescriptor membership, bool isFile, Handler handler)
        : isFile_(isFile),
          linkType_(pcap_datalink(handle.get())),
          membership_(std::move(membership)),
          handler_(std::move(handler)),
          handle_(std::move(handle)) {}

    void run() {
        while (!stopped_) {
            pcap_pkthdr* header = nullptr;
            const std::uint8_t* bytes = nullptr;
            const int result = pcap_next_ex(handle_.get(), &header, &bytes);
            if (result < 0) break;
            if (result == 0) continue;  // the read timeout
            if (stopped_) break;
            if (auto frame = parseFrame({bytes, header->caplen}, linkType_))
                handler_({.frame = std::move(*frame), .time = base::SystemClock::shared().moment()});
            if (isFile_) pause();
        }
        running_ = false;
        handler_ = nullptr;
        membership_.reset();
        Handle ended;
        const base::Lock lock(mutex_);
        ended.swap(handle_);
    }

    void stop() {
        stopped_ = true;
        running_ = false;
        const base::Lock lock(mutex_);
        if (handle_) pcap_breakloop(handle_.get());
        condition_.notify_all();
    }

    bool running() const { return running_; }

private:
    void pause() {
        base::Lock lock(mutex_);
        condition_.wait_for(mutex_, filePause, [this] { return stopped_.load(); });
    }

    const bool isFile_;
    const int linkType_;
    base::FileDescriptor membership_;
    Handler handler_;
    std::atomic<bool> stopped_ = false, running_ = true;
    base::Mutex mutex_;
    base::Condition condition_;
    Handle handle_;  // changed under the mutex; the thread reads with it without
};

PacketCapture::PacketCapture(std::string interface) : interface_(std::move(interface)) {}

PacketCapture::~PacketCapture() { stop(); }

void PacketCapture::start(Handler handler) {
    KESTRELYNE_REQUIRE(!worker_, "a capture is started once");
    const bool fromFile = isFile(interface_);
    auto handle = fromFile ? openFile(interface_) : openAdapter(interface_);
    setFilter(handle.get());
    auto worker = std::make_shared<Worker>(std::move(handle), fromFile ? base::FileDescriptor() : letAllGroupsThrough(interface_),
                                           fromFile, std::move(handler));
    try {
        base::Reaper::shared().start([worker, name = ("pcap." + interface_).substr(0, threadNameLimit)] {
            pthread_setname_np(pthread_self(), name.c_str());
            worker->run();
        });
    } catch (const std::system_error& error) {
        failToOpen(interface_, base::errnoText(error.code().value()));
    }
    worker_ = std::move(worker);
}

void PacketCapture::stop() {
    if (worker_) worker_->stop();
    worker_.reset();
}

bool PacketCapture::running() const { return worker_ && worker_->running(); }

}  // namespace netcore
