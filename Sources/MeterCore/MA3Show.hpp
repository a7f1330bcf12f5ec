#pragma once
// The patch out of a grandMA3 ".show" file, without a console. The format is not published: the file is unpacked, and fixture
// records are searched for in the plain bytes, trusting only what several independent tests agree on. All numbers are
// little-endian.
//
// What it costs: a packed file of at most `largestFile` and plain bytes of at most `largestPlain` are held. The search for the
// first block decodes at most `mostTrialBytes`, read and written together; beyond it each byte of the file is read once and each
// plain byte is written once. The fixture search goes over the plain bytes once and tries at most `mostCandidates` records, each at
// fewer than 200 places for a name and 260 for an id.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "Base/ByteReader.hpp"
#include "MeterCore/LZ4Block.hpp"

namespace metercore::MA3Show {

using LZ4Block::Buffer;
using LZ4Block::decodeBlock;

/// Plain bytes of every full block; the last may have fewer.
inline constexpr std::size_t blockSize = 32768;
inline constexpr std::size_t largestFile = std::size_t{256} << 20, largestPlain = std::size_t{512} << 20;
inline constexpr std::size_t mostTrialBytes = std::size_t{128} << 20;
inline constexpr std::size_t mostCandidates = std::size_t{1} << 18;

/// Why a show gives no patch.
class ShowError : public std::runtime_error {
public:
    enum class Case { corrupt, notMA3, ma2, noData };

    static ShowError corrupt(std::string text);
    static ShowError notMA3();
    static ShowError ma2();
    static ShowError noData();

    Case kind() const { return kind_; }
    /// What is wrong, of the case `corrupt`; else empty.
    const std::string& text() const { return text_; }
    /// The German sentence that users read; the same as what().
    std::string description() const { return what(); }

    bool operator==(const ShowError& other) const { return kind_ == other.kind_ && text_ == other.text_; }

private:
    ShowError(Case kind, std::string text);

    Case kind_;
    std::string text_;
};

struct Fixture {
    int fixtureID = 0;          // 1…99999
    std::string name;           // UTF-8 without control characters, never empty
    int universe = 1;           // from 1, at most 32768
    int address = 1;            // 1…512; a fixture without an address reads as 1.001
    int footprint = 0;          // channels; not in the file: 0 until estimateFootprints()
    std::uint32_t typeRef = 0;  // the same for all fixtures of one type

    bool operator==(const Fixture&) const = default;
};

/// The plain bytes of a show file, gzip-wrapped or not. Blocking, up to seconds; any thread. Throws ShowError, and std::bad_alloc.
///
/// The first block has no fixed place. It begins at the first offset o where a 16-bit length stands at o + 4 and so many bytes from
/// o + 10 on decode to a full block. The bytes between (o + 6 to o + 9) are not looked at, whatever length they may repeat. Behind
/// the first block the others follow, each a 16-bit length and so many bytes, until a length of 0, the end of the file or a block
/// that gives less than a full one. A block that the file cuts off is corrupt, so that a torn file is never taken for a smaller
/// patch.
Buffer decompress(base::Bytes file);

/// What a gzip file holds: all its members, and nothing of what follows them. Throws ShowError::corrupt.
Buffer gunzip(base::Bytes file);

/// The fixtures of plain show bytes, in the order of the file; empty when there are none. Pure; any thread. Throws
/// ShowError::corrupt when there are more than `mostCandidates` records.
///
/// A record begins at the 16-bit length of its class name, "Fixture"; all distances count from there.
std::vector<Fixture> fixtures(base::Bytes plain);

/// Sets the footprint of all: the smallest distance from a fixture of the same type to the next address in its universe, for a type
/// that has two fixtures in one universe; never one that would reach beyond channel 512. Else 1, the least that a lamp takes.
void estimateFootprints(std::vector<Fixture>& fixtures);

}  // namespace metercore::MA3Show
