#include "MeterCore/MA3Show.hpp"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

namespace metercore::MA3Show {

namespace {

constexpr std::string_view ma2Magic = "MA DATA", ma3Magic = "GMA3";
constexpr std::array<std::uint8_t, 2> gzipMagic{0x1F, 0x8B};  // RFC 1952, 2.3.1

// Where the first block is searched for, and what it looks like from its offset on.
constexpr std::size_t lastStart = 1000002;
constexpr std::size_t startLengthAt = 4, startDataAt = 10;
// Less than the shortest a full block takes; more than LZ4 ever makes of one (32768 + 32768/255 + 16).
constexpr std::size_t leastStartLength = 65, mostStartLength = 40000;
constexpr std::uint8_t opensWithLiterals = 16;  // the least token that has any

constexpr std::size_t lengthSize = 2;
constexpr std::size_t leastCapacity = 8192, usualRatio = 8;

std::string describe(ShowError::Case kind, const std::string& text) {
    switch (kind) {
        case ShowError::Case::corrupt: return "Showdatei beschädigt oder unbekannte Version (" + text + ").";
        case ShowError::Case::notMA3: return "Keine grandMA3-Showdatei.";
        case ShowError::Case::ma2: return "Das ist eine grandMA2-Showdatei – bitte den Patch aus der MA2 als CSV exportieren.";
        case ShowError::Case::noData: return "Showdaten nicht gefunden.";
    }
    return text;
}

std::string megabytes(std::size_t bytes) { return std::to_string(bytes >> 20) + " MB"; }

bool beginsWith(base::Bytes bytes, std::string_view text) {
    return bytes.size() >= text.size() && std::equal(text.begin(), text.end(), bytes.begin());
}

bool isGzip(base::Bytes bytes) {
    return bytes.size() >= gzipMagic.size() && std::equal(gzipMagic.begin(), gzipMagic.end(), bytes.begin());
}

std::size_t lengthIn(base::Bytes bytes, std::size_t at) { return static_cast<std::size_t>(bytes[at] | bytes[at + 1] << 8); }

// The first block: its bytes, by their place in the file.
struct Block {
    std::size_t at, length;
};

// Chance bytes never give exactly a full block; most fail at their first copy. What is made to come close is bounded by the bytes
// that the trials may read and write.
std::optional<Block> findFirstBlock(base::Bytes file) {
    Buffer scratch(blockSize);
    std::size_t work = 0;
    for (std::size_t offset = 0; offset <= lastStart && offset + startDataAt < file.size(); ++offset) {
        const auto length = lengthIn(file, offset + startLengthAt);
        const auto at = offset + startDataAt;
        if (length < leastStartLength || length > mostStartLength || file[at] < opensWithLiterals || length > file.size() - at)
            continue;
        const auto trial = LZ4Block::decodeInto(file.subspan(at, length), scratch, blockSize);
        if (trial.outcome == LZ4Block::Outcome::clean && trial.written == blockSize) return Block{at, length};
        work += trial.read + trial.written;
        if (work > mostTrialBytes) return std::nullopt;
    }
    return std::nullopt;
}

ShowError corruptBlock(std::size_t at) { return ShowError::corrupt("Block bei " + std::to_string(at)); }

// One that decodes behind the others; answers the plain bytes that it gave. `at` names the block.
std::size_t append(base::Bytes block, std::size_t at, Buffer& plain) {
    const auto before = plain.count();
    if (!plain.makeRoom(blockSize)) throw ShowError::corrupt("entpackt größer als " + megabytes(largestPlain));
    if (!decodeBlock(block, plain)) throw corruptBlock(at);
    return plain.count() - before;
}

Buffer decompressBlocks(base::Bytes file) {
    if (beginsWith(file, ma2Magic)) throw ShowError::ma2();
    if (!beginsWith(file, ma3Magic)) throw ShowError::notMA3();
    const auto first = findFirstBlock(file);
    if (!first) throw ShowError::noData();

    Buffer plain(std::max(file.size(), leastCapacity) * usualRatio, largestPlain);
    append(file.subspan(first->at, first->length), first->at - lengthSize, plain);
    for (auto at = first->at + first->length; file.size() - at >= lengthSize;) {
        const auto length = lengthIn(file, at);
        if (length == 0) break;
        const auto rest = file.subspan(at + lengthSize);
        if (length > rest.size()) throw corruptBlock(at);
        if (append(rest.first(length), at, plain) < blockSize) break;
        at += lengthSize + length;
    }
    return plain;
}

// The memory of one inflation.
class Inflation {
public:
    Inflation() {
        constexpr int gzipOnly = 16;  // added to the window, of 2^15 bytes
        if (inflateInit2(&stream_, MAX_WBITS + gzipOnly) != Z_OK) throw std::bad_alloc();
    }
    ~Inflation() { inflateEnd(&stream_); }
    Inflation(const Inflation&) = delete;
    Inflation& operator=(const Inflation&) = delete;

    z_stream* operator->() { return &stream_; }
    z_stream* get() { return &stream_; }

private:
    z_stream stream_{};
};

}  // namespace

ShowError::ShowError(Case kind, std::string text) : std::runtime_error(describe(kind, text)), kind_(kind), text_(std::move(text)) {}

ShowError ShowError::corrupt(std::string text) { return {Case::corrupt, std::move(text)}; }
ShowError ShowError::notMA3() { return {Case::notMA3, {}}; }
ShowError ShowError::ma2() { return {Case::ma2, {}}; }
ShowError ShowError::noData() { return {Case::noData, {}}; }

Buffer gunzip(base::Bytes file) {
    constexpr std::size_t usualGrowth = 4, piece = std::size_t{1} << 20;
    if (file.size() > largestFile) throw ShowError::corrupt("größer als " + megabytes(largestFile));
    // One byte more than may be held: so an end that comes exactly at the limit is told from a file that goes on.
    Buffer plain(std::max(file.size() * usualGrowth, leastCapacity), largestFile + 1);
    Inflation inflation;
    inflation->next_in = const_cast<Bytef*>(file.data());  // zlib reads only
    inflation->avail_in = static_cast<uInt>(file.size());
    for (;;) {
        if (plain.count() > largestFile) throw ShowError::corrupt("entpackt größer als " + megabytes(largestFile));
        const auto room = std::min(piece, plain.limit() - plain.count());
        plain.makeRoom(room);
        inflation->next_out = plain.end();
        inflation->avail_out = static_cast<uInt>(room);
        const auto result = inflate(inflation.get(), Z_NO_FLUSH);
        const auto written = room - inflation->avail_out;
        plain.advance(written);
        if (result == Z_STREAM_END) {
            // Members follow one another (RFC 1952, 2.2); anything else behind them is none of the file's.
            if (!isGzip({inflation->next_in, inflation->avail_in})) return plain;
            inflateReset(inflation.get());
        } else if (result != Z_OK || (written == 0 && inflation->avail_in == 0)) {
            throw ShowError::corrupt("gzip");
        }
    }
}

Buffer decompress(base::Bytes file) {
    if (isGzip(file)) return decompressBlocks(gunzip(file).bytes());
    if (file.size() > largestFile) throw ShowError::corrupt("größer als " + megabytes(largestFile));
    return decompressBlocks(file);
}

}  // namespace metercore::MA3Show
