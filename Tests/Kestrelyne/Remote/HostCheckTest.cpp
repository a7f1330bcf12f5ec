#include "Kestrelyne/Remote/HostCheck.hpp"

#include <gtest/gtest.h>

using kestrelyne::hostAllowed;

namespace {

TEST(HostCheck, AllowsThisComputerTheTailnetAndNumbers) {
    for (const char* host : {"", "localhost", "localhost:8470", "LOCALHOST", "foh.local", "Foh.Local:8470", "foh.tail1234.ts.net",
                             "FOH.Tail.TS.NET:443", "192.168.1.20:8470", "192.168.1.20", "999.999.999.999", "0.0.0.0",
                             "99999999999999999999999.1.1.1", ":8470"})
        EXPECT_TRUE(hostAllowed(host, "")) << host;
}

TEST(HostCheck, RefusesStrangers) {
    for (const char* host : {"evil.example", "evil.example:8470", "localhost.evil.example", "notlocalhost", "ts.net.evil.example",
                             "evilts.net", "local", "1.2.3", "1.2.3.4.5", "1.2.3.x", "1..2.3", "1.2.3.4.", ".1.2.3.4", "1.2.3.-4",
                             "+1.2.3.4", "[::1]", "[::1]:8470", "fe80::1", "a.b.c.d"})
        EXPECT_FALSE(hostAllowed(host, "")) << host;
}

TEST(HostCheck, AllowsThePublicHostOnly) {
    EXPECT_TRUE(hostAllowed("show.example", "show.example"));
    EXPECT_TRUE(hostAllowed("Show.Example:443", "show.example"));
    EXPECT_FALSE(hostAllowed("www.show.example", "show.example"));
    EXPECT_FALSE(hostAllowed("show.example.evil", "show.example"));
}

}  // namespace
