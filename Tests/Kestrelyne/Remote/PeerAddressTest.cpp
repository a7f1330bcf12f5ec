#include "Kestrelyne/Remote/PeerAddress.hpp"

#include <gtest/gtest.h>
#include <sys/un.h>

#include <cstring>

using kestrelyne::numericAddress;
using kestrelyne::SocketAddress;

namespace {

TEST(PeerAddress, IsTheAddressInDigits) {
    EXPECT_EQ(numericAddress("192.0.2.7", 80)->text(), "192.0.2.7");
    EXPECT_EQ(numericAddress("fe80::1", 80)->text(), "fe80::1");
    EXPECT_EQ(numericAddress("192.0.2.7", 8470)->port(), 8470);
    EXPECT_EQ(numericAddress("::1", 8470)->port(), 8470);
}

TEST(PeerAddress, ShowsAnIPv4PeerOfADualStackSocketAsIPv4) {
    EXPECT_EQ(numericAddress("::ffff:192.0.2.7", 80)->text(), "192.0.2.7");
    EXPECT_EQ(numericAddress("::192.0.2.7", 80)->text(), "::192.0.2.7");
}

TEST(PeerAddress, IsEmptyForAPeerWithoutHost) {
    SocketAddress local;
    local.storage.ss_family = AF_UNIX;
    EXPECT_EQ(local.text(), "");
    EXPECT_EQ(local.port(), 0);
}

TEST(PeerAddress, RefusesNames) {
    for (const char* host : {"", "localhost", "1.2.3", "1.2.3.4.5", "256.1.1.1", "fe80::1%lo"})
        EXPECT_FALSE(numericAddress(host, 1)) << host;
}

}  // namespace
