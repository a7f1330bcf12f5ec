// The way of a datagram from the system's buffer into the tally: CPU time of the receiving thread beside a loop that only counts,
// and whether anything is lost on the way.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <thread>

#include "Kestrelyne/LightingRig.hpp"
#include "Kestrelyne/Network/NetworkIntake.hpp"
#include "NetCore/UDPSocket.hpp"
#include "Support/Peer.hpp"

using namespace kestrelyne;
using netcore::UDPSocket;
using netcore::UDPView;

namespace {

constexpr int universes = 500;
constexpr int packetsPerRound = 2000;  // as many as the receive buffer holds with ease

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

double nanoseconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

// Fills a socket's queue.
class Sender {
public:
    explicit Sender(std::uint16_t port) : to_(loopback(port)) {
        if (connect(descriptor_, reinterpret_cast<const sockaddr*>(&to_), sizeof to_) != 0) throw std::runtime_error("connect");
    }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;
    ~Sender() { close(descriptor_); }

    void send(const std::vector<std::uint8_t>& packet) const {
        if (::send(descriptor_, packet.data(), packet.size(), 0) < 0) throw std::runtime_error("send");
    }
    void round(const rig::Packets& packets) const {
        for (int i = 0; i < packetsPerRound; ++i) send(packets[static_cast<std::size_t>(i) % packets.size()]);
    }

private:
    const sockaddr_in to_;
    const int descriptor_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

// CPU time of our socket's queue for the packets of one round, which lie in the buffer when it begins.
class OurSocket {
public:
    explicit OurSocket(base::Function<void(const UDPView&)> handle) : handle_(std::move(handle)) {
        socket_.start([this](const UDPView& packet) { take(packet); });
    }

    double round(const rig::Packets& packets) {
        // A byte holds the queue up until the buffer is filled.
        count_ = 0;
        sender_.send({0});
        held_.acquire();
        sender_.round(packets);
        filled_.release();
        done_.acquire();
        return end_ - begin_;
    }
    std::uint64_t drops() const { return socket_.drops(); }

private:
    void take(const UDPView& packet) {
        if (packet.data.size() == 1) {
            held_.release();
            filled_.acquire();
            begin_ = nanoseconds(CLOCK_THREAD_CPUTIME_ID);
            return;
        }
        handle_(packet);
        if (++count_ < packetsPerRound) return;
        end_ = nanoseconds(CLOCK_THREAD_CPUTIME_ID);
        done_.release();
    }

    base::Function<void(const UDPView&)> handle_;
    std::binary_semaphore held_{0}, filled_{0}, done_{0};
    int count_ = 0;
    double begin_ = 0, end_ = 0;
    UDPSocket socket_{0, "benchmark"};
    const Sender sender_{socket_.boundPort()};
};

// The same with a bare loop that counts and discards.
class BareLoop {
public:
    BareLoop() {
        auto address = loopback(0);
        socklen_t size = sizeof address;
        setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUFFORCE, &UDPSocket::wantedReceiveBuffer, sizeof UDPSocket::wantedReceiveBuffer);
        setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUF, &UDPSocket::wantedReceiveBuffer, sizeof UDPSocket::wantedReceiveBuffer);
        if (bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), size) != 0) throw std::runtime_error("bind");
        getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &size);
        sender_ = std::make_unique<Sender>(ntohs(address.sin_port));
        for (std::size_t i = 0; i < atOnce; ++i) {
            parts_[i] = {.iov_base = data_[i].data(), .iov_len = data_[i].size()};
            messages_[i].msg_hdr.msg_iov = &parts_[i];
            messages_[i].msg_hdr.msg_iovlen = 1;
        }
    }
    BareLoop(const BareLoop&) = delete;
    BareLoop& operator=(const BareLoop&) = delete;
    ~BareLoop() { close(descriptor_); }

    double round(const rig::Packets& packets) {
        double spent = 0;
        std::latch filled(1);
        std::jthread receiver([&] {
            filled.wait();
            const auto begin = nanoseconds(CLOCK_THREAD_CPUTIME_ID);
            for (int count = 0; count < packetsPerRound;) {
                const int got = recvmmsg(descriptor_, messages_.data(), atOnce, MSG_WAITFORONE, nullptr);
                if (got <= 0) throw std::runtime_error("recvmmsg");
                count += got;
            }
            spent = nanoseconds(CLOCK_THREAD_CPUTIME_ID) - begin;
        });
        sender_->round(packets);
        filled.count_down();
        receiver.join();
        return spent;
    }

private:
    static constexpr unsigned atOnce = 32;
    const int descriptor_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    std::unique_ptr<Sender> sender_;
    std::array<std::array<std::uint8_t, UDPSocket::longestDatagram>, atOnce> data_{};
    std::array<iovec, atOnce> parts_{};
    std::array<mmsghdr, atOnce> messages_{};
};

// By turns, so that all see the same machine. Nanoseconds of CPU a packet of 638 bytes.
void SocketPath(benchmark::State& state) {
    const auto packets = rig::sacn(universes);
    NetworkIntake intake(nullptr);
    std::uint64_t counted = 0;
    BareLoop bare;
    OurSocket counting([&counted](const UDPView&) { ++counted; });
    OurSocket tallying([&intake](const UDPView& packet) { intake.packets.handleSACN(packet); });
    tallying.round(packets);
    double bareTime = 0, countingTime = 0, tallyingTime = 0;
    for (auto _ : state) {
        bareTime += bare.round(packets);
        countingTime += counting.round(packets);
        tallyingTime += tallying.round(packets);
    }
    if (counting.drops() + tallying.drops() != 0) state.SkipWithError("the buffer was too small for a round");
    const auto perPacket = [&](double time) { return time / packetsPerRound / static_cast<double>(state.iterations()); };
    state.counters["bare_ns"] = perPacket(bareTime);
    state.counters["socket_ns"] = perPacket(countingTime);
    state.counters["tally_ns"] = perPacket(tallyingTime);
    state.counters["ratio"] = tallyingTime / bareTime;
}
BENCHMARK(SocketPath)->Iterations(200)->Unit(benchmark::kMillisecond);

// A thousand universes at a hundred frames a second, each frame in one burst, from another process. Nothing may be lost.
void NothingIsLost(benchmark::State& state) {
    constexpr int framesPerSecond = 100, seconds = 5, universesOffered = 1000;
    constexpr std::uint64_t offered = std::uint64_t{framesPerSecond} * seconds * universesOffered;
    for (auto _ : state) {
        NetworkIntake intake(nullptr);
        std::atomic<std::uint64_t> handled = 0;
        std::atomic<double> spent = 0;
        UDPSocket socket(0, "benchmark");
        socket.start([&](const UDPView& packet) {
            intake.packets.handleSACN(packet);
            if (++handled == offered) spent = nanoseconds(CLOCK_THREAD_CPUTIME_ID);
        });
        const auto begin = std::chrono::steady_clock::now();
        support::Peer load({KESTRELYNE_LIGHTLOAD, "9", "0", std::to_string(socket.boundPort()), std::to_string(universesOffered),
                            std::to_string(framesPerSecond), std::to_string(seconds)});
        if (load.rest() != std::to_string(offered) + " sent, 0 refused\n") return state.SkipWithError("the load was not offered");
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        for (int wait = 0; wait < 100 && handled < offered && socket.drops() == 0; ++wait)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        state.counters["drops"] = static_cast<double>(socket.drops());
        state.counters["handled"] = static_cast<double>(handled.load());
        state.counters["packets_a_second"] = static_cast<double>(offered) / took.count();
        state.counters["cpu_percent"] = spent.load() / 1e9 / took.count() * 100;
        socket.close();
        if (socket.drops() != 0 || handled != offered) return state.SkipWithError("packets were lost");
    }
}
BENCHMARK(NothingIsLost)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
