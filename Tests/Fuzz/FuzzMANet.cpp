// Any payload: texts are readable and long enough, and versions stand in them.

#include <algorithm>
#include <cstdint>

#include "Base/Require.hpp"
#include "NetCore/MANet.hpp"

using namespace netcore;

// The first byte is the least length of a text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::size_t minLength = data[0] % 16;
    const base::Bytes bytes(data + 1, size - 1);
    const auto texts = MANet::strings(bytes, minLength);
    std::size_t total = 0;
    for (const auto& text : texts) {
        KESTRELYNE_REQUIRE(text.size() >= minLength && text.front() != ' ' && text.back() != ' ',
                           "texts are trimmed and long enough");
        KESTRELYNE_REQUIRE(std::all_of(text.begin(), text.end(), [](char c) { return c >= 32 && c <= 126; }), "texts are readable");
        total += text.size();
    }
    KESTRELYNE_REQUIRE(total <= bytes.size() + bytes.size() / 2,
                       "each byte stands in one plain text, every second in one wide text");
    for (const auto& version : MANet::versions(texts)) {
        KESTRELYNE_REQUIRE(version.size() >= 5 && version.size() <= 14, "three or four numbers");
        KESTRELYNE_REQUIRE(MANet::versions({version}) == std::vector{version}, "a version is one itself");
        KESTRELYNE_REQUIRE(
            std::any_of(texts.begin(), texts.end(), [&](const auto& text) { return text.find(version) != std::string::npos; }),
            "versions stand in the texts");
    }
    return 0;
}
