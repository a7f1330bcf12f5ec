#include "NetCore/PortCheck.hpp"

#include <sys/socket.h>

#include "Base/FileDescriptor.hpp"
#include "NetCore/Deadline.hpp"
#include "NetCore/SocketAddress.hpp"
#include "Support/NetworkNamespace.hpp"

using namespace netcore;
using namespace std::chrono_literals;

namespace {

base::Seconds timeOf(const std::function<void()>& function) {
    const auto begun = base::SystemClock::shared().steadyNow();
    function();
    return base::SystemClock::shared().steadyNow() - begun;
}

}  // namespace

TEST(PortCheck, TellsAnOpenPortFromAClosedOne) {
    base::FileDescriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const auto address = socketAddress(INADDR_LOOPBACK, 0);
    ASSERT_EQ(bind(listener.get(), generic(address), sizeof address), 0);
    ASSERT_EQ(listen(listener.get(), 4), 0);
    const auto port = boundPortOf(listener.get());
    EXPECT_TRUE(PortCheck::isOpen("127.0.0.1", port, 5s));
    listener.reset();
    const auto time = timeOf([&] { EXPECT_FALSE(PortCheck::isOpen("127.0.0.1", port, 5s)); });
    EXPECT_LT(time, 1s) << "a refusal is an answer";
}

TEST(PortCheck, KnowsNoPortOfABadAddress) {
    for (const auto* ip : {"", "localhost", "127.0.0.256", "::1"}) EXPECT_FALSE(PortCheck::isOpen(ip, 80, 5s)) << ip;
}

TEST(PortCheck, WaitsForASilentHostNoLongerThanAsked) {
    if (!NetworkNamespace::enter()) return;
    const PeerHost peer;
    peer.connect("a1", "10.71.1.1/24", "b", "10.71.1.2/24");
    NetworkNamespace::shell("ip neigh add 10.71.1.9 lladdr 02:00:00:00:00:09 dev a1 nud permanent");
    const auto time = timeOf([] { EXPECT_FALSE(PortCheck::isOpen("10.71.1.9", 80, 200ms)); });
    EXPECT_GE(time, 200ms);
    EXPECT_LT(time, 3s);
    EXPECT_FALSE(PortCheck::isOpen("10.99.0.1", 80, 5s)) << "no route";
}

TEST(Deadline, CountsWholeMillisecondsUpwards) {
    EXPECT_EQ(Deadline(0s).milliseconds(), 0);
    EXPECT_TRUE(Deadline(0s).passed());
    EXPECT_EQ(Deadline(-5s).milliseconds(), 0);
    EXPECT_FALSE(Deadline(60s).passed());
    EXPECT_GT(Deadline(60s).milliseconds(), 59000);
    EXPECT_LE(Deadline(60s).milliseconds(), 60000);
    EXPECT_GT(Deadline(base::Seconds(1e30)).milliseconds(), 0) << "no overflow";
}
