// How evenly the test light sends: 64 universes of sACN for a minute while the other core is busy, beside a bare loop of
// clock_nanosleep() and sendto() in the same minute. A frame's time is the one that the system stamps on it when it reaches the
// receiver's socket, which on loopback is within the call that sends it.

#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/socket.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "Base/FileDescriptor.hpp"
#include "Kestrelyne/Lighting/DMXSender.hpp"
#include "NetCore/SACNData.hpp"
#include "NetCore/SocketAddress.hpp"

namespace {

using namespace kestrelyne;

constexpr int universes = 64;
constexpr auto length = std::chrono::seconds(60);
constexpr long interval = std::chrono::nanoseconds(DMXSender::tickLength).count();

/// Reads until it is told to end, and keeps when each universe came.
class Receiver {
public:
    Receiver() : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const auto address = netcore::socketAddress(INADDR_LOOPBACK, 0);
        bind(socket_.get(), netcore::generic(address), sizeof address);
        constexpr int room = 8 << 20;
        if (!netcore::setOption(socket_.get(), SOL_SOCKET, SO_RCVBUFFORCE, room))
            netcore::setOption(socket_.get(), SOL_SOCKET, SO_RCVBUF, room);
        netcore::setOption(socket_.get(), SOL_SOCKET, SO_TIMESTAMPNS, 1);
        thread_ = std::thread([this] { read(); });
    }
    ~Receiver() { end(); }
    std::uint16_t port() const { return netcore::boundPortOf(socket_.get()); }
    void end() {
        ended_ = true;
        if (thread_.joinable()) thread_.join();
    }
    /// By universe, in nanoseconds; after end().
    const std::array<std::vector<std::int64_t>, universes>& times() const { return times_; }

private:
    void read() {
        std::array<std::uint8_t, 2048> bytes;
        alignas(cmsghdr) std::array<std::uint8_t, 256> control;
        while (!ended_) {
            pollfd waiting{.fd = socket_.get(), .events = POLLIN, .revents = 0};
            if (poll(&waiting, 1, 100) != 1) continue;
            iovec part{.iov_base = bytes.data(), .iov_len = bytes.size()};
            msghdr message{};
            message.msg_iov = &part;
            message.msg_iovlen = 1;
            message.msg_control = control.data();
            message.msg_controllen = control.size();
            const auto size = recvmsg(socket_.get(), &message, 0);
            if (size <= 0) continue;
            const auto data = netcore::SACN::viewData({bytes.data(), static_cast<std::size_t>(size)});
            if (!data || data->universe < 1 || data->universe > universes) continue;
            for (auto* header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header)) {
                if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_TIMESTAMPNS) continue;
                timespec time{};
                std::memcpy(&time, CMSG_DATA(header), sizeof time);
                times_[static_cast<std::size_t>(data->universe - 1)].push_back(time.tv_sec * 1'000'000'000L + time.tv_nsec);
            }
        }
    }

    base::FileDescriptor socket_;
    std::atomic<bool> ended_ = false;
    std::array<std::vector<std::int64_t>, universes> times_;
    std::thread thread_;
};

/// What there is at least to do: sleep to a point of time, send 64 ready packets.
void sendBarely(std::uint16_t port, const std::atomic<bool>& ended, std::atomic<double>& cpuSeconds) {
    const base::FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const auto to = netcore::socketAddress(INADDR_LOOPBACK, port);
    std::vector<std::array<std::uint8_t, 638>> packets;
    for (int universe = 1; universe <= universes; ++universe)
        packets.push_back(netcore::DMXPackets::sacn({.universe = universe, .sourceName = "bare"}));
    timespec next{};
    clock_gettime(CLOCK_MONOTONIC, &next);
    while (!ended) {
        for (const auto& packet : packets)
            sendto(socket.get(), packet.data(), packet.size(), MSG_DONTWAIT, netcore::generic(to), sizeof to);
        next.tv_nsec += interval;
        if (next.tv_nsec >= 1'000'000'000L) {
            next.tv_nsec -= 1'000'000'000L;
            ++next.tv_sec;
        }
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    }
    timespec used{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    cpuSeconds = static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

/// CPU time of the thread of this name, from the scheduler's own count.
double cpuSecondsOf(const std::string& name) {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string comm;
        std::getline(std::ifstream(task.path() / "comm") >> std::ws, comm);
        double nanoseconds = 0;
        if (comm == name && std::ifstream(task.path() / "schedstat") >> nanoseconds) return nanoseconds / 1e9;
    }
    return 0;
}

void keepBusy(const std::atomic<bool>& ended) {
    cpu_set_t last;
    CPU_ZERO(&last);
    CPU_SET(std::max(std::thread::hardware_concurrency(), 1u) - 1, &last);
    pthread_setaffinity_np(pthread_self(), sizeof last, &last);
    for (double value = 0; !ended;) benchmark::DoNotOptimize(value = std::sqrt(value + 1));
}

void report(benchmark::State& state, const std::string& who, const Receiver& receiver) {
    std::vector<double> off;
    std::size_t frames = 0;
    double seconds = 0;
    for (const auto& times : receiver.times()) {
        if (times.size() < 2) continue;
        frames += times.size() - 1;
        seconds = std::max(seconds, static_cast<double>(times.back() - times.front()) / 1e9);
        for (std::size_t i = 1; i < times.size(); ++i)
            off.push_back(std::abs(static_cast<double>(times[i] - times[i - 1] - interval)) / 1000);
    }
    if (off.empty()) return state.SkipWithError("nothing came");
    std::ranges::sort(off);
    const auto at = [&](double share) { return off[static_cast<std::size_t>(share * static_cast<double>(off.size() - 1))]; };
    state.counters[who + "_fps"] = static_cast<double>(frames) / universes / seconds;
    state.counters[who + "_us_median"] = at(0.5);
    state.counters[who + "_us_p99_9"] = at(0.999);
    state.counters[who + "_us_longest"] = off.back();
}

void DMXPace(benchmark::State& state) {
    for (auto _ : state) {
        Receiver ours, bare;
        std::atomic<bool> ended = false;
        std::atomic<double> bareCPU = 0;
        std::thread load([&] { keepBusy(ended); });
        DMXSender sender({.artnet = ours.port(), .sacn = ours.port()});
        DMXSender::Frames frames;
        for (int universe = 1; universe <= universes; ++universe)
            frames.emplace(DMXSender::Target{.universe = universe, .destinations = {"127.0.0.1"}}, DMXSender::Frame{});
        sender.update(frames, true, 100);
        std::thread loop([&] { sendBarely(bare.port(), ended, bareCPU); });
        std::this_thread::sleep_for(length);
        const auto cpu = cpuSecondsOf("dmx.out");
        ended = true;
        for (auto* thread : {&load, &loop}) thread->join();
        for (auto* receiver : {&ours, &bare}) receiver->end();
        report(state, "ours", ours);
        report(state, "bare", bare);
        const double seconds = std::chrono::duration<double>(length).count();
        state.counters["ours_cpu_%"] = cpu / seconds * 100;
        state.counters["bare_cpu_%"] = bareCPU / seconds * 100;
    }
}
BENCHMARK(DMXPace)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace
