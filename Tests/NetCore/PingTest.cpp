#include "NetCore/Ping.hpp"

#include <linux/icmp.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <ctime>
#include <future>
#include <thread>

#include "Base/FileDescriptor.hpp"
#include "NetCore/SocketAddress.hpp"
#include "NetCore/WireFields.hpp"
#include "Support/NetworkNamespace.hpp"

using namespace netcore;
using namespace std::chrono_literals;

namespace {

std::vector<std::uint8_t> reply(std::uint16_t identifier, std::uint16_t sequence) {
    auto message = Ping::request(identifier, sequence);
    message[0] = 0;
    wire::putBig16(message, 2, 0);
    wire::putBig16(message, 2, Ping::checksum(message));
    return message;
}

std::vector<std::uint8_t> withIPHeader(std::vector<std::uint8_t> message, std::size_t words) {
    message.insert(message.begin(), words * 4, 0);
    message[0] = static_cast<std::uint8_t>(0x40 | words);
    return message;
}

// Sees the echo requests of this network, and answers none of them by itself: the system is told to be silent.
class SilentHost {
public:
    SilentHost() : socket_(socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP)) {
        NetworkNamespace::shell("echo 1 > /proc/sys/net/ipv4/icmp_echo_ignore_all");
        EXPECT_TRUE(socket_);
        const timeval patience{.tv_sec = 2, .tv_usec = 0};
        setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    struct Request {
        std::uint32_t to = 0;
        std::uint16_t identifier = 0, sequence = 0;
    };
    Request nextRequest() {
        std::array<std::uint8_t, 1500> buffer{};
        for (;;) {
            const auto length = recv(socket_.get(), buffer.data(), buffer.size(), 0);
            if (length < 45) return {};
            const auto packet = base::Bytes(buffer).first(static_cast<std::size_t>(length));
            if (packet[20] == ICMP_ECHO)
                return {.to = wire::big32(packet, 16), .identifier = wire::big16(packet, 24), .sequence = wire::big16(packet, 26)};
        }
    }
    void answer(std::uint16_t identifier, std::uint16_t sequence) {
        const auto message = reply(identifier, sequence);
        const auto target = socketAddress(INADDR_LOOPBACK, 0);
        EXPECT_EQ(sendto(socket_.get(), message.data(), message.size(), 0, generic(target), sizeof target),
                  static_cast<ssize_t>(message.size()));
    }

private:
    base::FileDescriptor socket_;
};

// Answers without end, for as long as the object lives.
class Flood {
public:
    Flood(std::uint16_t firstIdentifier, std::uint16_t count) {
        for (int sender = 0; sender < 6; ++sender)
            threads_.emplace_back([=](const std::stop_token& end) {
                const base::FileDescriptor socket(::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP));
                // It would get a copy of each.
                const icmp_filter nothing{.data = ~0U};
                setsockopt(socket.get(), SOL_RAW, ICMP_FILTER, &nothing, sizeof nothing);
                auto target = socketAddress(INADDR_LOOPBACK, 0);
                std::vector<std::vector<std::uint8_t>> messages;
                for (std::uint16_t i = 0; i < 64; ++i)
                    messages.push_back(reply(static_cast<std::uint16_t>(firstIdentifier + i % count), 9));
                std::vector<iovec> parts;
                for (auto& message : messages) parts.push_back({.iov_base = message.data(), .iov_len = message.size()});
                std::vector<mmsghdr> headers(parts.size());
                for (std::size_t i = 0; i < headers.size(); ++i) {
                    headers[i].msg_hdr.msg_name = &target;
                    headers[i].msg_hdr.msg_namelen = sizeof target;
                    headers[i].msg_hdr.msg_iov = &parts[i];
                    headers[i].msg_hdr.msg_iovlen = 1;
                }
                while (!end.stop_requested()) sendmmsg(socket.get(), headers.data(), static_cast<unsigned>(headers.size()), 0);
            });
    }

private:
    std::vector<std::jthread> threads_;
};

// Somebody without any right for the life of the object.
class AsNobody {
public:
    AsNobody() : changed_(seteuid(65534) == 0) { prctl(PR_SET_DUMPABLE, 1); }
    ~AsNobody() {
        if (changed_) EXPECT_EQ(seteuid(0), 0);
        prctl(PR_SET_DUMPABLE, 1);
    }
    bool changed() const { return changed_; }

private:
    const bool changed_;
};

}  // namespace

TEST(Ping, BuildsARequest) {
    const auto message = Ping::request(0x1234, 0x0102);
    ASSERT_EQ(message.size(), 25U);
    EXPECT_EQ((std::vector(message.begin(), message.begin() + 2)), (std::vector<std::uint8_t>{8, 0}));
    EXPECT_EQ((std::vector(message.begin() + 4, message.begin() + 8)), (std::vector<std::uint8_t>{0x12, 0x34, 0x01, 0x02}));
    EXPECT_EQ(std::string(message.begin() + 8, message.end()), "Kestrelyne-ping..");
    EXPECT_EQ(Ping::checksum(message), 0) << "over a message with its checksum the sum is all ones";
}

TEST(Ping, SumsAsTheStandardSays) {
    // RFC 1071, 3: the words 0001, f203, f4f5, f6f7 sum up to ddf2.
    const std::uint8_t example[] = {0x00, 0x01, 0xF2, 0x03, 0xF4, 0xF5, 0xF6, 0xF7};
    EXPECT_EQ(Ping::checksum(example), static_cast<std::uint16_t>(~0xDDF2));
    EXPECT_EQ(Ping::checksum(base::Bytes(example).first(3)), static_cast<std::uint16_t>(~0xF201)) << "an odd byte is the high one";
    EXPECT_EQ(Ping::checksum({}), 0xFFFF);
    const std::vector<std::uint8_t> ones(65535, 0xFF);
    EXPECT_EQ(Ping::checksum(ones), 0x00FF);
}

TEST(Ping, ReadsAReplyWithAndWithoutAnIPHeader) {
    const auto message = reply(0x1234, 7);
    const Ping::Reply expected{.identifier = 0x1234, .sequence = 7};
    EXPECT_EQ(Ping::parseReply(message), expected);
    EXPECT_EQ(Ping::parseReply(base::Bytes(message).first(8)), expected) << "a payload is not asked for";
    EXPECT_EQ(Ping::parseReply(withIPHeader(message, 5)), expected);
    EXPECT_EQ(Ping::parseReply(withIPHeader(message, 15)), expected) << "with options";
}

TEST(Ping, ReadsNothingElseAsAReply) {
    EXPECT_EQ(Ping::parseReply({}), std::nullopt);
    EXPECT_EQ(Ping::parseReply(Ping::request(1, 1)), std::nullopt) << "the question";
    auto unreachable = reply(1, 1);
    unreachable[0] = 3;
    EXPECT_EQ(Ping::parseReply(unreachable), std::nullopt);
    EXPECT_EQ(Ping::parseReply(withIPHeader(reply(1, 1), 4)), std::nullopt) << "a header shorter than any";
    const auto whole = withIPHeader(reply(1, 1), 6);
    for (std::size_t length = 0; length < 24 + 8; ++length)
        EXPECT_EQ(Ping::parseReply(base::Bytes(whole).first(length)), std::nullopt) << length;
}

TEST(Ping, AnswersForThisComputer) {
    const auto time = Ping::ping("127.0.0.1", 2s);
    if (!time && !Ping::missingRight().empty()) GTEST_SKIP() << Ping::missingRight();
    ASSERT_TRUE(time);
    EXPECT_GT(*time, 0);
    EXPECT_LT(*time, 2);
    EXPECT_EQ(Ping::missingRight(), "");
    for (const auto* ip : {"", "localhost", "300.0.0.1"}) EXPECT_EQ(Ping::ping(ip, 2s), std::nullopt) << ip;
}

TEST(Ping, SweepsManyAtOnce) {
    if (!NetworkNamespace::enter()) return;
    std::vector<std::string> ips;
    for (int i = 0; i < 600; ++i) ips.push_back("127.0." + std::to_string(i / 200) + "." + std::to_string(i % 200 + 1));
    ips.push_back(ips[0]);
    const auto answers = Ping::sweep(ips, 5s);
    ASSERT_TRUE(answers);
    EXPECT_EQ(answers->size(), 600U) << "the address given twice has one entry";
    for (const auto& [ip, seconds] : *answers) EXPECT_TRUE(seconds > 0 && seconds < 5) << ip;
    EXPECT_EQ(Ping::sweep({}, 5s), Ping::Answers());
    EXPECT_EQ(Ping::sweep({"x"}, 5s), Ping::Answers()) << "and without waiting for nobody";
}

TEST(Ping, GivesTheSilentOnesTheTimeAndNoMore) {
    if (!NetworkNamespace::enter()) return;
    const PeerHost peer;
    peer.connect("a1", "10.71.1.1/24", "b", "10.71.1.2/24");
    const auto begun = base::SystemClock::shared().steadyNow();
    const auto answers = Ping::sweep({"10.71.1.9", "10.71.1.2", "10.99.0.1"}, 300ms);
    const base::Seconds took = base::SystemClock::shared().steadyNow() - begun;
    ASSERT_TRUE(answers);
    EXPECT_EQ(answers->size(), 1U);
    EXPECT_TRUE(answers->contains("10.71.1.2"));
    EXPECT_GE(took, 300ms);
    EXPECT_LT(took, 2s);
    EXPECT_EQ(Ping::ping("10.71.1.9", 100ms), std::nullopt);
    EXPECT_EQ(Ping::ping("10.99.0.1", 5s), std::nullopt) << "no route: at once";
}

TEST(Ping, NumbersByPositionAlsoBehindABadAddress) {
    if (!NetworkNamespace::enter()) return;
    SilentHost host;
    EXPECT_EQ(Ping::sweep({"127.0.0.1", "127.0.0.2", "bad", "127.0.0.4"}, 10ms), Ping::Answers());
    std::uint16_t identifier = 0;
    for (const std::uint16_t expected : {1, 2, 4}) {
        const auto request = host.nextRequest();
        EXPECT_EQ(request.to, 0x7F000000U + expected);
        EXPECT_EQ(request.sequence, expected);
        if (identifier != 0) EXPECT_EQ(request.identifier, identifier) << "one for the whole sweep";
        identifier = request.identifier;
    }
}

TEST(Ping, TakesOnlyAnswersToItsOwnIdentifier) {
    if (!NetworkNamespace::enter()) return;
    SilentHost host;
    // A late answer to an earlier call.
    auto asked = std::async(std::launch::async, [] { return Ping::ping("127.0.0.1", 300ms); });
    const auto first = host.nextRequest();
    EXPECT_EQ(first.sequence, 1);
    host.answer(static_cast<std::uint16_t>(first.identifier - 1), 1);
    EXPECT_EQ(asked.get(), std::nullopt);
    // The right one, whatever its sequence number.
    asked = std::async(std::launch::async, [] { return Ping::ping("127.0.0.1", 5s); });
    const auto second = host.nextRequest();
    EXPECT_NE(second.identifier, first.identifier) << "each call has its own";
    host.answer(first.identifier, 1);
    host.answer(second.identifier, 99);
    EXPECT_TRUE(asked.get().has_value());
}

TEST(Ping, SweepTakesEachAnswerOnceAndOnlyToItsQuestions) {
    if (!NetworkNamespace::enter()) return;
    SilentHost host;
    auto asked = std::async(std::launch::async, [] { return Ping::sweep({"127.0.0.1", "x", "127.0.0.3"}, 300ms); });
    const auto request = host.nextRequest();
    for (const std::uint16_t sequence : {0, 2, 4, 3, 3}) host.answer(request.identifier, sequence);
    const auto answers = asked.get();
    ASSERT_TRUE(answers);
    EXPECT_EQ(answers->size(), 1U);
    EXPECT_TRUE(answers->contains("127.0.0.3"));
}

TEST(Ping, EndsInTimeAlsoInAFloodOfAnswers) {
    if (!NetworkNamespace::enter()) return;
    SilentHost host;
    Ping::ping("127.0.0.1", 1ms);
    const auto last = host.nextRequest().identifier;
    std::vector<std::string> ips;
    for (int i = 1; i <= 64; ++i) ips.push_back("127.0.0." + std::to_string(i));
    // On a thread that gets less of the computer than those who send.
    const auto timed = [](const auto& call) {
        const auto begun = base::SystemClock::shared().steadyNow();
        std::thread([&] {
            setpriority(PRIO_PROCESS, 0, 10);
            call();
        }).join();
        return base::Seconds(base::SystemClock::shared().steadyNow() - begun);
    };
    {
        const Flood foreign(static_cast<std::uint16_t>(last + 100), 1);
        EXPECT_LT(timed([] { EXPECT_EQ(Ping::ping("127.0.0.1", 200ms), std::nullopt); }), 2s);
        EXPECT_LT(timed([&] { EXPECT_EQ(Ping::sweep(ips, 200ms), Ping::Answers()); }), 2s);
    }
    const Flood ours(static_cast<std::uint16_t>(last + 1), 8);
    EXPECT_LT(timed([&] {
                  const auto answers = Ping::sweep(ips, 200ms);
                  ASSERT_TRUE(answers);
                  EXPECT_EQ(answers->size(), 1U) << "the one with the number of the flood";
              }),
              2s);
}

// All have answered before they are looked at.
TEST(Ping, TheTimeLimitHoldsWhileAnswersAreRead) {
    if (!NetworkNamespace::enter()) return;
    std::vector<std::string> ips;
    for (int i = 1; i <= 200; ++i) ips.push_back("127.0.0." + std::to_string(i));
    const auto answers = Ping::sweep(ips, 0s);
    ASSERT_TRUE(answers);
    EXPECT_LE(answers->size(), 2U);
}

// What a router says of some wakes the socket that waits for others.
TEST(Ping, ReportsOfUnreachableHostsHinderNobody) {
    if (!NetworkNamespace::enter()) return;
    const PeerHost router;
    router.connect("a1", "10.71.1.1/24", "b", "10.71.1.2/24");
    router.shell(
        "echo 0 > /proc/sys/net/ipv4/icmp_ratelimit; echo 1 > /proc/sys/net/ipv4/ip_forward; ip route add unreachable "
        "10.99.0.0/16");
    NetworkNamespace::shell("ip route add 10.99.0.0/16 via 10.71.1.2");
    std::vector<std::string> ips;
    for (int i = 1; i <= 60; ++i) ips.insert(ips.end(), {"10.99.0." + std::to_string(i), "127.0.0." + std::to_string(i)});
    ips.push_back("10.71.1.2");
    const auto cpuTime = [] {
        timespec used{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
        return base::Seconds(static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9);
    };
    const auto before = cpuTime();
    const auto answers = Ping::sweep(ips, 1s);
    EXPECT_LT(cpuTime() - before, 500ms) << "waits without turning in circles";
    ASSERT_TRUE(answers);
    EXPECT_EQ(answers->size(), 61U);
    EXPECT_TRUE(answers->contains("10.71.1.2"));
    EXPECT_EQ(Ping::ping("10.99.0.1", 200ms), std::nullopt);
    EXPECT_TRUE(Ping::ping("10.71.1.2", 2s).has_value());
}

TEST(Ping, ManyUnknownHostsHaveRoomInTheSystemsQueue) {
    if (!NetworkNamespace::enter()) return;
    const PeerHost peer;
    peer.connect("a1", "10.71.0.1/23", "b", "10.71.1.200/23");
    std::vector<std::string> ips;
    for (const char* network : {"10.71.0.", "10.71.1."})
        for (int i = 2; i < 200; ++i) ips.push_back(network + std::to_string(i));
    ips.push_back("10.71.1.200");
    for (const bool datagram : {false, true}) {
        if (datagram) NetworkNamespace::shell("echo 0 0 > /proc/sys/net/ipv4/ping_group_range");
        const auto begun = base::SystemClock::shared().steadyNow();
        const auto answers = Ping::sweep(ips, 700ms);
        const base::Seconds took = base::SystemClock::shared().steadyNow() - begun;
        ASSERT_TRUE(answers);
        EXPECT_TRUE(answers->contains("10.71.1.200")) << "the last one, behind those that wait for their neighbour";
        EXPECT_EQ(answers->size(), 1U);
        EXPECT_LT(took, 1200ms) << "the limit holds for sending and waiting together";
    }
}

TEST(Ping, WithoutTheRightNothingIsKnown) {
    if (!NetworkNamespace::enter()) return;
    {
        const AsNobody nobody;
        if (!nobody.changed()) GTEST_SKIP() << "cannot become another user here";
        EXPECT_EQ(Ping::sweep({"127.0.0.1"}, 1s), std::nullopt);
        EXPECT_EQ(Ping::ping("127.0.0.1", 1s), std::nullopt);
        EXPECT_EQ(Ping::missingRight(),
                  "Ping nicht möglich: dem Benutzer fehlt das Recht dazu (net.ipv4.ping_group_range oder CAP_NET_RAW)");
        EXPECT_EQ(Ping::sweep({}, 1s), Ping::Answers()) << "nobody was asked for";
    }
    EXPECT_TRUE(Ping::ping("127.0.0.1", 2s).has_value());
    EXPECT_EQ(Ping::missingRight(), "") << "the right has come";
}

TEST(Ping, NeedsNoPrivilegeWhereTheSystemAllowsEverybody) {
    if (!NetworkNamespace::enter()) return;
    NetworkNamespace::shell("echo 0 0 > /proc/sys/net/ipv4/ping_group_range");
    const AsNobody nobody;
    ASSERT_TRUE(Ping::ping("127.0.0.1", 2s).has_value()) << Ping::missingRight();
    std::vector<std::string> ips;
    for (int i = 1; i <= 250; ++i) ips.push_back("127.0.0." + std::to_string(i));
    const auto answers = Ping::sweep(ips, 5s);
    ASSERT_TRUE(answers);
    EXPECT_EQ(answers->size(), 250U);
}

TEST(Ping, SidestepsTheIdentifiersOfOthers) {
    if (!NetworkNamespace::enter()) return;
    NetworkNamespace::shell("echo 0 0 > /proc/sys/net/ipv4/ping_group_range");
    const auto open = [](std::uint16_t identifier) {
        base::FileDescriptor other(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_ICMP));
        EXPECT_TRUE(other);
        const auto own = socketAddress(INADDR_ANY, identifier);
        EXPECT_EQ(bind(other.get(), generic(own), sizeof own), 0);
        return other;
    };
    std::uint16_t last = 0;
    {
        SilentHost host;
        Ping::ping("127.0.0.1", 1ms);
        last = host.nextRequest().identifier;
        NetworkNamespace::shell("echo 0 > /proc/sys/net/ipv4/icmp_echo_ignore_all");
    }
    // Bound later, with the option that these sockets have from birth, we would take their answers, or they ours.
    const auto next = open(static_cast<std::uint16_t>(last + 1)), behind = open(static_cast<std::uint16_t>(last + 2));
    EXPECT_TRUE(Ping::ping("127.0.0.1", 2s).has_value());
    std::array<std::uint8_t, 64> buffer;
    EXPECT_EQ(recv(next.get(), buffer.data(), buffer.size(), MSG_DONTWAIT), -1);
    EXPECT_EQ(recv(behind.get(), buffer.data(), buffer.size(), MSG_DONTWAIT), -1);
}
