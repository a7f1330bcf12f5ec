#include "Base/HostAddresses.hpp"

#include <arpa/inet.h>
#include <net/if.h>

TEST(HostAddresses, AreThoseOfRealAdaptersWithoutTheLoopback) {
    for (const auto& [adapter, address] : base::hostAddresses()) {
        EXPECT_NE(if_nametoindex(adapter.c_str()), 0u) << adapter;
        EXPECT_NE(adapter, "lo");
        in_addr parsed{};
        EXPECT_EQ(inet_pton(AF_INET, address.c_str(), &parsed), 1) << address;
        EXPECT_FALSE(address.starts_with("127.")) << address;
    }
}
