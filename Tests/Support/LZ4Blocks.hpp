#pragma once
// Blocks as liblz4 makes them; only for programs that link it.

#include <lz4.h>

#include <memory>
#include <span>
#include <vector>

#include "Support/MA3ShowBuilder.hpp"

namespace support {

/// Blocks of so many plain bytes. Dependent ones copy from the 64 kB before them.
inline std::vector<ByteVector> compressedBlocks(const ByteVector& plain, bool dependent, std::size_t size = 32768) {
    const std::unique_ptr<LZ4_stream_t, int (*)(LZ4_stream_t*)> stream(LZ4_createStream(), LZ4_freeStream);
    std::vector<ByteVector> blocks;
    for (std::size_t at = 0; at < plain.size(); at += size) {
        const auto length = static_cast<int>(std::min(size, plain.size() - at));
        ByteVector block(static_cast<std::size_t>(LZ4_compressBound(length)));
        if (!dependent) LZ4_resetStream_fast(stream.get());
        const auto written =
            LZ4_compress_fast_continue(stream.get(), reinterpret_cast<const char*>(plain.data() + at),
                                       reinterpret_cast<char*>(block.data()), length, static_cast<int>(block.size()), 1);
        block.resize(static_cast<std::size_t>(written));
        blocks.push_back(std::move(block));
    }
    return blocks;
}

/// A show file as a console packs it.
inline ByteVector packedShow(const ByteVector& plain) { return ma3File(compressedBlocks(plain, true)); }

}  // namespace support
