#include "Support/NetworkNamespace.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <thread>

namespace {

constexpr const char* childMark = "KESTRELYNE_OWN_NETWORK";

struct Outcome {
    int code = -1;
    std::string output;  // of both streams
};

Outcome runShell(const std::string& command) {
    Outcome outcome;
    FILE* pipe = popen(("{ " + command + "\n} 2>&1").c_str(), "re");
    if (pipe == nullptr) return {.code = -1, .output = "no child process"};
    std::array<char, 4096> piece;
    while (const auto got = fread(piece.data(), 1, piece.size(), pipe)) outcome.output.append(piece.data(), got);
    const int status = pclose(pipe);
    outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

std::string unshareCommand() { return geteuid() == 0 ? "unshare -n" : "unshare -Urn"; }

// Empty when this machine lets us make networks; else why not.
const std::string& obstacle() {
    static const std::string text = [] {
        const auto probe = runShell(unshareCommand() + " ip link set lo up");
        return probe.code == 0 ? std::string() : "no network namespaces here: " + probe.output;
    }();
    return text;
}

std::string ownProgram() {
    std::array<char, 4096> path{};
    const auto length = readlink("/proc/self/exe", path.data(), path.size());
    return length > 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : std::string();
}

void runAgainInside(const std::string& test) {
    if (!obstacle().empty()) GTEST_SKIP() << obstacle();
    // The child's results are ours to report.
    const auto outcome = runShell(
        "exec env -u GTEST_OUTPUT -u GTEST_TOTAL_SHARDS -u GTEST_SHARD_INDEX -u GTEST_SHARD_STATUS_FILE "
        "-u TEST_PREMATURE_EXIT_FILE " +
        std::string(childMark) + "=1 " + unshareCommand() + " '" + ownProgram() + "' --gtest_filter='" + test + "'");
    if (outcome.code == 0 && outcome.output.find("[  SKIPPED ]") != std::string::npos) GTEST_SKIP() << outcome.output;
    EXPECT_EQ(outcome.code, 0) << outcome.output;
    EXPECT_NE(outcome.output.find("1 test from 1 test suite ran"), std::string::npos) << outcome.output;
}

}  // namespace

bool NetworkNamespace::enter() {
    if (getenv(childMark) != nullptr) {
        shell("ip link set lo up");
        return true;
    }
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    runAgainInside(std::string(test->test_suite_name()) + "." + test->name());
    return false;
}

void NetworkNamespace::shell(const std::string& command) {
    const auto outcome = runShell(command);
    EXPECT_EQ(outcome.code, 0) << command << "\n" << outcome.output;
}

PeerHost::PeerHost() {
    std::thread([this] {
        // Of this thread alone, which ends here; the descriptor keeps the network.
        EXPECT_EQ(unshare(CLONE_NEWNET), 0);
        network_.reset(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
    }).join();
    EXPECT_TRUE(network_);
    shell("ip link set lo up");
}

void PeerHost::connect(const std::string& ownDevice, const std::string& ownAddress, const std::string& peerDevice,
                       const std::string& peerAddress) const {
    const auto network = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(network_.get());
    NetworkNamespace::shell("ip link add dev " + ownDevice + " type veth peer name " + peerDevice + " netns " + network);
    const auto configure = [](const std::string& device, const std::string& address) {
        if (!address.empty()) NetworkNamespace::shell("ip address add " + address + " brd + dev " + device);
        NetworkNamespace::shell("ip link set dev " + device + " up");
    };
    configure(ownDevice, ownAddress);
    run([&] { configure(peerDevice, peerAddress); });
    // Until the system has noticed the link, an adapter drops what it is given.
    const auto ready = [](const std::string& device) {
        NetworkNamespace::shell("for i in $(seq 500); do ip link show dev " + device +
                                " | grep -q 'state UP' && exit 0; sleep 0.01; done; echo no link; exit 1");
    };
    ready(ownDevice);
    run([&] { ready(peerDevice); });
}

void PeerHost::run(const std::function<void()>& function) const {
    std::thread([&] {
        ASSERT_EQ(setns(network_.get(), CLONE_NEWNET), 0);
        function();
    }).join();
}

void PeerHost::shell(const std::string& command) const {
    run([&] { NetworkNamespace::shell(command); });
}
