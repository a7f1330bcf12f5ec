// Anything an ICMP socket may hand over: only an echo reply is read as one, nothing is read beyond its end, and its numbers are
// those that stand in it.

#include <algorithm>
#include <cstdint>

#include "Base/Require.hpp"
#include "NetCore/Ping.hpp"

using namespace netcore;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const base::Bytes bytes(data, size);
    const auto reply = Ping::parseReply(bytes);
    Ping::checksum(bytes);
    if (!reply) return 0;
    KESTRELYNE_REQUIRE(size >= 8, "an echo reply has eight bytes");
    const auto request = Ping::request(reply->identifier, reply->sequence);
    KESTRELYNE_REQUIRE(Ping::checksum(request) == 0, "a message with its checksum sums up to all ones");
    KESTRELYNE_REQUIRE(!Ping::parseReply(request), "a question is no answer");
    KESTRELYNE_REQUIRE(std::search(bytes.begin(), bytes.end(), request.begin() + 4, request.begin() + 8) != bytes.end(),
                       "the numbers were received");
    auto answer = request;
    answer[0] = 0;
    KESTRELYNE_REQUIRE(Ping::parseReply(answer) == reply, "what is answered is read the same");
    return 0;
}
