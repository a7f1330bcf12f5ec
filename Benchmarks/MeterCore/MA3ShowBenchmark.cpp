// A show file of a console, from the packed bytes to the lamps: beside liblz4 on the same blocks, and what files cost that are made
// to cost much.

#include "MeterCore/MA3Show.hpp"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <random>

#include "Support/LZ4Blocks.hpp"

namespace {

using namespace metercore;
using support::ByteVector;

constexpr std::size_t plainSize = std::size_t{60} << 20;
constexpr std::uint32_t lampCount = 5000;

// Objects of a show between the lamps: numbers that repeat, names, some bytes that do not compress.
ByteVector otherObjects(std::size_t size, std::mt19937& random) {
    static const std::vector<ByteVector> words{support::bytesOf("Sequence"),
                                               support::bytesOf("CuePart"),
                                               support::bytesOf("Preset Position Stage"),
                                               ByteVector(24),
                                               ByteVector(12, 0xFF),
                                               support::bytesOf("Phaser"),
                                               support::bytesOf("GoboWheel"),
                                               {1, 0, 0, 0}};
    ByteVector bytes;
    bytes.reserve(size + 64);
    while (bytes.size() < size) {
        support::append(bytes, words[random() % words.size()]);
        for (auto count = random() % 12; count > 0; --count) bytes.push_back(static_cast<std::uint8_t>(random()));
    }
    bytes.resize(size);
    return bytes;
}

struct Show {
    ByteVector plain;
    std::vector<ByteVector> blocks;
    ByteVector file;
};

const Show& generatedShow() {
    static const Show show = [] {
        Show made;
        std::mt19937 random(1);
        made.plain.reserve(plainSize);
        const auto between = plainSize / lampCount - 500;
        for (std::uint32_t i = 0; i < lampCount; ++i) {
            support::append(made.plain, otherObjects(between, random));
            support::append(made.plain, support::MA3Record{.id = i + 1,
                                                           .name = "Spot " + std::to_string(i + 1),
                                                           .patch = support::ma3Patch(i / 12 + 1, i % 12 * 40 + 1),
                                                           .typeRef = i / 500}
                                            .bytes());
        }
        made.plain.resize(plainSize);
        made.blocks = support::compressedBlocks(made.plain, true);
        made.file = support::ma3File(made.blocks, ByteVector(2000));
        return made;
    }();
    return show;
}

void setFigures(benchmark::State& state) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * plainSize));
    state.counters["packed MB"] = static_cast<double>(generatedShow().file.size()) / 1e6;
}

// Into fresh memory each time, as an import does it: most of it is the first touch of that memory.
void MA3ShowDecompress(benchmark::State& state) {
    const auto& show = generatedShow();
    for (auto _ : state) {
        const auto plain = MA3Show::decompress(show.file);
        if (plain.count() != plainSize) state.SkipWithError("not the whole show");
    }
    setFigures(state);
}
BENCHMARK(MA3ShowDecompress)->Unit(benchmark::kMillisecond);

// What the two decoders take for the same dependent blocks, in memory that was used before (warm) or not.
template <bool warm>
void BlocksByOurDecoder(benchmark::State& state) {
    const auto& show = generatedShow();
    LZ4Block::Buffer kept(plainSize);
    for (auto _ : state) {
        LZ4Block::Buffer fresh(warm ? 0 : plainSize);
        auto& plain = warm ? kept : fresh;
        plain.clear();
        for (const auto& block : show.blocks)
            if (!LZ4Block::decodeBlock(block, plain)) state.SkipWithError("a block is broken");
    }
    setFigures(state);
}

template <bool warm>
void BlocksByLiblz4(benchmark::State& state) {
    const auto& show = generatedShow();
    const std::unique_ptr<char, void (*)(void*)> kept(static_cast<char*>(std::malloc(plainSize)), std::free);
    for (auto _ : state) {
        const std::unique_ptr<char, void (*)(void*)> fresh(warm ? nullptr : static_cast<char*>(std::malloc(plainSize)), std::free);
        auto* const plain = warm ? kept.get() : fresh.get();
        std::size_t count = 0;
        for (const auto& block : show.blocks) {
            const auto before = std::min<std::size_t>(count, 65536);
            const auto written = LZ4_decompress_safe_usingDict(reinterpret_cast<const char*>(block.data()), plain + count,
                                                               static_cast<int>(block.size()),
                                                               static_cast<int>(std::min(plainSize - count, MA3Show::blockSize)),
                                                               plain + count - before, static_cast<int>(before));
            if (written < 0) return state.SkipWithError("a block is broken");
            count += static_cast<std::size_t>(written);
        }
        benchmark::DoNotOptimize(plain);
        benchmark::ClobberMemory();
    }
    setFigures(state);
}
BENCHMARK(BlocksByOurDecoder<true>)->Unit(benchmark::kMillisecond);
BENCHMARK(BlocksByLiblz4<true>)->Unit(benchmark::kMillisecond);
BENCHMARK(BlocksByOurDecoder<false>)->Unit(benchmark::kMillisecond);
BENCHMARK(BlocksByLiblz4<false>)->Unit(benchmark::kMillisecond);

void MA3ShowFixtures(benchmark::State& state) {
    const auto& show = generatedShow();
    for (auto _ : state) {
        auto found = MA3Show::fixtures(show.plain);
        MA3Show::estimateFootprints(found);
        if (found.size() != lampCount) state.SkipWithError("not all lamps");
    }
    setFigures(state);
}
BENCHMARK(MA3ShowFixtures)->Unit(benchmark::kMillisecond);

void expectNoData(benchmark::State& state, const ByteVector& file) {
    for (auto _ : state) try {
            benchmark::DoNotOptimize(MA3Show::decompress(file));
            state.SkipWithError("it holds data");
        } catch (const MA3Show::ShowError& error) {
            if (error.kind() != MA3Show::ShowError::Case::noData) state.SkipWithError("another error");
        }
}

// A million offsets of chance bytes: more than half of them pass the tests of length and first byte.
void SearchAMillionRandomOffsets(benchmark::State& state) {
    std::mt19937 random(2);
    auto file = support::bytesOf("GMA3");
    while (file.size() < 1100000) file.push_back(static_cast<std::uint8_t>(random()));
    expectNoData(state, file);
}
BENCHMARK(SearchAMillionRandomOffsets)->Unit(benchmark::kMillisecond);

// Offsets whose trial runs on until the output is full, with as many sequences as there can be: the bound of the work ends it.
void SearchAHostileFile(benchmark::State& state) {
    auto file = support::bytesOf("GMA3");
    while (file.size() < 1100000) {
        // Copies of four without literals between, but for the ones that hold the length of the next trial.
        support::append(file, {0x60, 'a', 0x40, 0x9C, 'b', 'c', 'd', 1, 0});
        for (int i = 0; i < state.range(0); ++i) support::append(file, {0x00, 1, 0});
    }
    expectNoData(state, file);
}
BENCHMARK(SearchAHostileFile)->Arg(0)->Arg(30)->Arg(300)->Unit(benchmark::kMillisecond);

// As many records as are allowed, close together, with ids and patches by chance.
void FixturesOfAHostileFile(benchmark::State& state) {
    std::mt19937 random(3);
    ByteVector plain;
    const auto head = support::MA3Record{.id = 1, .name = "x", .nameAt = 21, .tail = 200}.bytes();
    for (std::size_t i = 0; i < MA3Show::mostCandidates; ++i) {
        plain.insert(plain.end(), head.begin(), head.begin() + 24);
        for (int byte = 0; byte < 8; ++byte) plain.push_back(static_cast<std::uint8_t>(byte % 4 < 2 ? random() : 0));
    }
    std::size_t count = 0;
    for (auto _ : state) {
        auto found = MA3Show::fixtures(plain);
        MA3Show::estimateFootprints(found);
        count = found.size();
    }
    state.counters["lamps"] = static_cast<double>(count);
}
BENCHMARK(FixturesOfAHostileFile)->Unit(benchmark::kMillisecond);

// Half a gigabyte of plain bytes out of two million.
void DecompressUpToTheBound(benchmark::State& state) {
    ByteVector block{0x1F, 'a', 1, 0};
    block.insert(block.end(), 128, 255);
    support::append(block, {108, 0x00});
    const auto file = support::ma3File(std::vector<ByteVector>(MA3Show::largestPlain / MA3Show::blockSize + 1, block));
    for (auto _ : state) try {
            benchmark::DoNotOptimize(MA3Show::decompress(file));
            state.SkipWithError("no bound");
        } catch (const MA3Show::ShowError& error) {
            if (error.kind() != MA3Show::ShowError::Case::corrupt) state.SkipWithError("another error");
        }
}
BENCHMARK(DecompressUpToTheBound)->Unit(benchmark::kMillisecond);

}  // namespace
