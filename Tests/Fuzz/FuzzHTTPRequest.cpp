// The request parser takes any bytes, and taking them in pieces gives the same as taking them whole. The first byte says how large
// the pieces are.

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "Base/Require.hpp"
#include "Kestrelyne/Remote/HTTPMessage.hpp"
#include "Kestrelyne/Remote/StaticFiles.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using kestrelyne::HTTPRequestReader;
    if (size == 0) return 0;
    const std::size_t piece = data[0] + std::size_t{1};
    std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    const auto whole = kestrelyne::parseHTTPRequest(bytes, "fe80::1%eth0");

    HTTPRequestReader reader;
    auto state = HTTPRequestReader::State::incomplete;
    for (; !bytes.empty() && state == HTTPRequestReader::State::incomplete; bytes.remove_prefix(std::min(piece, bytes.size())))
        state = reader.add(bytes.substr(0, piece));
    KESTRELYNE_REQUIRE((state == HTTPRequestReader::State::complete) == whole.has_value(), "pieces and the whole agree");
    if (!whole) return 0;
    const auto request = reader.take("fe80::1%eth0");
    KESTRELYNE_REQUIRE(request.method == whole->method && request.path == whole->path && request.query == whole->query &&
                           request.headers == whole->headers && request.body == whole->body && request.remoteIP == whole->remoteIP,
                       "pieces and the whole agree");
    for (const auto& [name, value] : request.cookies())
        KESTRELYNE_REQUIRE(request.cookie(name) == value, "one cookie and all agree");
    if (const auto name = kestrelyne::staticFileName(request.path))
        KESTRELYNE_REQUIRE(name->find("..") == std::string::npos, "no name leaves the folder");
    return 0;
}
