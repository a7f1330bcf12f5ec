#include "NetCore/PacketCapture.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <thread>

#include "Base/ChildProcess.hpp"
#include "Base/FileDescriptor.hpp"
#include "Base/Mutex.hpp"
#include "Base/Reaper.hpp"
#include "NetCore/CaptureVectors.hpp"
#include "NetCore/NetError.hpp"
#include "Support/TemporaryFolder.hpp"

namespace netcore {

using namespace std::chrono_literals;
using namespace vectors;

namespace {

/// What a capture has handed over, from its thread.
class Heard {
public:
    PacketCapture::Handler handler() {
        return [state = state_](PacketCapture::Event event) {
            const base::Lock lock(state->mutex);
            state->frames.push_back(std::move(event.frame));
            state->condition.notify_all();
        };
    }
    std::vector<CapturedFrame> frames() const {
        const base::Lock lock(state_->mutex);
        return state_->frames;
    }
    bool waitFor(std::size_t count) const {
        base::Lock lock(state_->mutex);
        return state_->condition.wait_for(
            state_->mutex, 5s, [this, count]() KESTRELYNE_REQUIRES(state_->mutex) { return state_->frames.size() >= count; });
    }

private:
    struct State {
        base::Mutex mutex;
        base::Condition condition;
        std::vector<CapturedFrame> frames KESTRELYNE_GUARDED_BY(mutex);
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

bool eventually(const std::function<bool()>& predicate) {
    for (const auto end = std::chrono::steady_clock::now() + 5s; std::chrono::steady_clock::now() < end;) {
        if (predicate()) return true;
        std::this_thread::sleep_for(2ms);
    }
    return predicate();
}

std::string failureOf(const std::string& interface) {
    PacketCapture capture(interface);
    try {
        capture.start([](PacketCapture::Event) {});
    } catch (const NetError& error) {
        EXPECT_EQ(error.kind(), NetError::Case::socket);
        EXPECT_FALSE(capture.running());
        return error.text();
    }
    return "none";
}

class PacketCaptureTest : public testing::Test {
protected:
    // What threads hold is gone when a test ends.
    ~PacketCaptureTest() override { base::Reaper::shared().join(); }
    std::string file(const std::string& name, const std::vector<Bytes>& frames, std::uint32_t linkType = 1) const {
        writeCapture(folder / name, frames, linkType);
        return folder / name;
    }

    TemporaryFolder folder;
    Heard heard;
};

const Bytes arpFrame = ethernet(0x0806, arp(1));
const Bytes joinFrame = igmpFrame(igmp(0x16, 0)), leaveFrame = igmpFrame(igmp(0x17, 0)), queryFrame = igmpFrame(igmp(0x11, 100));
const Bytes artNetFrame = ethernet(0x0800, ipv4(17, udp(6454, 6454, Bytes(20))));
const Bytes otherFrame = ethernet(0x0800, ipv4(17, udp(53, 53, Bytes(20))));

/// Takes the rights of this thread alone, as an ordinary user has them.
class WithoutRights {
public:
    WithoutRights() { syscall(SYS_setresuid, -1, nobody, -1); }
    WithoutRights(const WithoutRights&) = delete;
    WithoutRights& operator=(const WithoutRights&) = delete;
    ~WithoutRights() { syscall(SYS_setresuid, -1, 0, -1); }

private:
    static constexpr int nobody = 65534;
};

bool run(const std::vector<std::string>& words) {
    const auto result = base::runChild("/usr/sbin/ip", words, base::Seconds(10));
    return result && result->exitCode == 0;
}

bool sendFrame(const std::string& adapter, const Bytes& frame) {
    const base::FileDescriptor sender(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0));
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_ifindex = static_cast<int>(if_nametoindex(adapter.c_str()));
    address.sll_halen = 6;
    return sendto(sender.get(), frame.data(), frame.size(), 0, reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
           static_cast<ssize_t>(frame.size());
}

/// Runs the body on a thread with a network of its own that holds a pair of adapters, "left" and "right"; false when the right is
/// missing.
bool inOwnNetwork(const std::function<void()>& body) {
    bool made = false;
    std::thread thread([&] {
        made = unshare(CLONE_NEWNET) == 0 && run({"link", "add", "left", "type", "veth", "peer", "name", "right"}) &&
               run({"link", "set", "left", "up"}) && run({"link", "set", "right", "up"});
        if (made) body();
    });
    thread.join();
    return made;
}

}  // namespace

TEST_F(PacketCaptureTest, AFileGivesARPAndIGMPInOrderAndNoDatagrams) {
    PacketCapture capture(file("mixed.pcap", {arpFrame, artNetFrame, queryFrame, joinFrame, otherFrame, leaveFrame}));
    const auto before = base::SystemClock::shared().now();
    base::WallTime time{};
    capture.start([&time, next = heard.handler()](PacketCapture::Event event) mutable {
        time = event.time.wall;
        next(std::move(event));
    });
    EXPECT_TRUE(eventually([&] { return !capture.running(); }));
    EXPECT_THAT(heard.frames(),
                testing::ElementsAre(CapturedFrame(ARPSeen{.ip = "10.0.0.7", .mac = "02:AB:CD:00:12:EF", .isRequest = true}),
                                     CapturedFrame(IGMPQuery{.querier = "10.0.0.7", .group = "239.1.2.3", .version = 2}),
                                     CapturedFrame(IGMPReport{.host = "10.0.0.7", .groups = {"239.1.2.3"}, .leave = false}),
                                     CapturedFrame(IGMPReport{.host = "10.0.0.7", .groups = {"239.1.2.3"}, .leave = true})));
    EXPECT_GE(time, before) << "the time of reading, not the frame's stamp";
}

TEST_F(PacketCaptureTest, DatagramsOfAFileAreNotEvenPlayed) {
    std::vector<Bytes> frames(500, artNetFrame);
    frames.push_back(arpFrame);
    PacketCapture capture(file("busy.pcap", frames));
    const auto begun = std::chrono::steady_clock::now();
    capture.start(heard.handler());
    ASSERT_TRUE(heard.waitFor(1));
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 500 * 20ms / 4);
    EXPECT_THAT(heard.frames(), testing::ElementsAre(testing::VariantWith<ARPSeen>(testing::_)));
}

TEST_F(PacketCaptureTest, AFilePlaysAtFiftyFramesASecondAtMost) {
    PacketCapture capture(file("six.pcap", std::vector<Bytes>(6, arpFrame)));
    const auto begun = std::chrono::steady_clock::now();
    capture.start(heard.handler());
    ASSERT_TRUE(heard.waitFor(6));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, 5 * 20ms);
}

TEST_F(PacketCaptureTest, AfterStopNothingMoreIsHandedOver) {
    PacketCapture capture(file("many.pcap", std::vector<Bytes>(1000, arpFrame)));
    capture.start(heard.handler());
    ASSERT_TRUE(heard.waitFor(2));
    const auto begun = std::chrono::steady_clock::now();
    capture.stop();
    EXPECT_FALSE(capture.running());
    base::Reaper::shared().join();
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 2s);
    EXPECT_LT(heard.frames().size(), 900u);
    capture.stop();
}

TEST_F(PacketCaptureTest, DestroyingItEndsTheThreadAndFreesTheHandler) {
    const auto witness = std::make_shared<int>(0);
    {
        PacketCapture capture(file("many.pcap", std::vector<Bytes>(1000, arpFrame)));
        capture.start([witness, next = heard.handler()](PacketCapture::Event event) mutable { next(std::move(event)); });
        ASSERT_TRUE(heard.waitFor(1));
    }
    EXPECT_TRUE(eventually([&] { return witness.use_count() == 1; }));
}

TEST_F(PacketCaptureTest, TheHandlerMayEndTheCaptureItself) {
    const auto capture = std::make_unique<PacketCapture>(file("many.pcap", std::vector<Bytes>(1000, arpFrame)));
    std::atomic<int> count = 0;
    std::atomic<bool> mayStop = false;
    capture->start([&](PacketCapture::Event) {
        while (!mayStop) std::this_thread::sleep_for(1ms);
        ++count;
        capture->stop();
    });
    mayStop = true;
    EXPECT_TRUE(eventually([&] { return count > 0; }));
    base::Reaper::shared().join();
    EXPECT_EQ(count, 1);
}

TEST_F(PacketCaptureTest, APathIsReadAsAFileAlsoWhenItIsMissing) {
    EXPECT_EQ(failureOf("/nowhere/none.pcap"),
              "Mitschnitt auf /nowhere/none.pcap nicht möglich: /nowhere/none.pcap: No such file or directory");
    EXPECT_EQ(failureOf("/nowhere/none.pcapng"),
              "Mitschnitt auf /nowhere/none.pcapng nicht möglich: /nowhere/none.pcapng: No such file or directory");
}

TEST_F(PacketCaptureTest, AFileOfAnotherFormatSaysSo) {
    const auto path = (folder / "text.pcap").string();
    std::ofstream(path) << "no capture at all, but long enough to be looked at";
    EXPECT_EQ(failureOf(path), "Mitschnitt auf " + path + " nicht möglich: unknown file format");
}

TEST_F(PacketCaptureTest, ALinkTypeThatTheFilterCannotReadFails) {
    constexpr std::uint32_t mtp3 = 141;
    EXPECT_THAT(failureOf(file("signalling.pcap", {arpFrame}, mtp3)), testing::StartsWith("Filter: "));
}

TEST_F(PacketCaptureTest, ABrokenFileEndsSilently) {
    const auto path = file("cut.pcap", {arpFrame, arpFrame});
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 10);
    PacketCapture capture(path);
    capture.start(heard.handler());
    EXPECT_TRUE(eventually([&] { return !capture.running(); }));
    EXPECT_EQ(heard.frames().size(), 1u);
}

TEST_F(PacketCaptureTest, WithoutTheRightTheSystemsReasonIsGiven) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give up its rights";
    std::string text;
    {
        const WithoutRights nobody;
        text = failureOf("lo");
    }
    EXPECT_EQ(text,
              "Mitschnitt auf lo nicht möglich: lo: You don't have permission to perform this capture on that device (socket: "
              "Operation not permitted)");
}

TEST_F(PacketCaptureTest, AnAdapterThatIsNotThereFails) {
    if (geteuid() != 0) GTEST_SKIP() << "capturing needs root";
    EXPECT_THAT(failureOf("kestrelyne9"), testing::StartsWith("Mitschnitt auf kestrelyne9 nicht möglich: kestrelyne9: "));
}

TEST_F(PacketCaptureTest, AnAdapterGivesWhatComesInAndStopEndsAWaitForTraffic) {
    const bool made = inOwnNetwork([&] {
        PacketCapture capture("left");
        capture.start(heard.handler());
        EXPECT_TRUE(capture.running());
        EXPECT_TRUE(sendFrame("right", artNetFrame));
        EXPECT_TRUE(sendFrame("right", with(arpFrame, {{0, 6, 0xFF}})));
        EXPECT_TRUE(sendFrame("right", with(joinFrame, {{0, {0x01, 0, 0x5E, 1, 2, 3}}})));
        EXPECT_TRUE(heard.waitFor(2));
        capture.stop();
        EXPECT_FALSE(capture.running());
        const auto begun = std::chrono::steady_clock::now();
        base::Reaper::shared().join();
        EXPECT_LT(std::chrono::steady_clock::now() - begun, 2s);
    });
    if (!made) GTEST_SKIP() << "a network of its own needs root";
    EXPECT_THAT(heard.frames(),
                testing::ElementsAre(testing::VariantWith<ARPSeen>(testing::_), testing::VariantWith<IGMPReport>(testing::_)));
}

// The system takes the tag off before the filter sees the frame.
TEST_F(PacketCaptureTest, AnAdapterAlsoGivesWhatIsTagged) {
    const bool made = inOwnNetwork([&] {
        PacketCapture capture("left");
        capture.start(heard.handler());
        EXPECT_TRUE(sendFrame("right", with(tagged(0x0806, arp(1)), {{0, 6, 0xFF}})));
        EXPECT_TRUE(heard.waitFor(1));
    });
    if (!made) GTEST_SKIP() << "a network of its own needs root";
    EXPECT_THAT(heard.frames(), testing::ElementsAre(testing::VariantWith<ARPSeen>(testing::_)));
}

TEST_F(PacketCaptureTest, WhileItRunsTheAdapterLetsAllGroupsThrough) {
    bool during = false, after = true;
    const bool made = inOwnNetwork([&] {
        const auto allMulticast = [] {
            const auto shown = base::runChild("/usr/sbin/ip", {"-d", "link", "show", "left"}, base::Seconds(10));
            return shown && shown->output.find("allmulti 1") != std::string::npos;
        };
        PacketCapture capture("left");
        capture.start(heard.handler());
        during = allMulticast();
        capture.stop();
        base::Reaper::shared().join();
        after = allMulticast();
    });
    if (!made) GTEST_SKIP() << "a network of its own needs root";
    EXPECT_TRUE(during);
    EXPECT_FALSE(after);
}

TEST_F(PacketCaptureTest, ItEndsWhenTheAdapterIsTakenAway) {
    bool ended = false;
    const bool made = inOwnNetwork([&] {
        PacketCapture capture("left");
        capture.start(heard.handler());
        EXPECT_TRUE(run({"link", "delete", "left"}));
        ended = eventually([&] { return !capture.running(); });
    });
    if (!made) GTEST_SKIP() << "a network of its own needs root";
    EXPECT_TRUE(ended);
}

}  // namespace netcore
