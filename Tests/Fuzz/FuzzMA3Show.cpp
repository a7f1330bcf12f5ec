// Any show file: it gives at least a full block, at most what its size can stand for, or one of the four errors.

#include <cstdint>

#include "Base/Require.hpp"
#include "MeterCore/MA3Show.hpp"

using namespace metercore;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const base::Bytes file(data, size);
    const bool gzip = size >= 2 && data[0] == 0x1F && data[1] == 0x8B;
    try {
        const auto plain = MA3Show::decompress(file);
        KESTRELYNE_REQUIRE(plain.count() >= MA3Show::blockSize && plain.count() <= MA3Show::largestPlain, "a full block at least");
        KESTRELYNE_REQUIRE(gzip || plain.count() <= 255 * size, "a byte of a block stands for 255 at most");
        static_cast<void>(MA3Show::fixtures(plain.bytes()));
    } catch (const MA3Show::ShowError& error) {
        KESTRELYNE_REQUIRE((error.kind() == MA3Show::ShowError::Case::corrupt) == !error.text().empty(), "only damage has a place");
    }
    return 0;
}
