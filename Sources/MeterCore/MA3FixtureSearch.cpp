// Finding fixture records in the plain bytes of a show: by class name and time stamp, then by what is the same in all of them.

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <map>
#include <optional>
#include <span>
#include <string_view>
#include <tuple>
#include <utility>

#include "Base/Text.hpp"
#include "MeterCore/MA3Show.hpp"

namespace metercore::MA3Show {

namespace {

static_assert(std::endian::native == std::endian::little, "numbers are read as they lie");

constexpr std::string_view className{
    "\x07\x00"
    "Fixture",
    9};  // with its length before it
constexpr std::size_t leastPlain = 65;

// The record's time stamp in milliseconds, at one place or the other; the record head ends with it.
constexpr std::array<std::size_t, 2> stampsAt{13, 29};
constexpr std::uint64_t earliestStamp = 1400000000001, latestStamp = 2299999999999;

// A text is a 16-bit length and so many bytes.
constexpr std::size_t lengthSize = 2, longestName = 255;
constexpr std::size_t farthestName = 191;

// The id behind the name's end, and where the patch and the type stand before it.
constexpr std::size_t firstID = 100, lastID = 359, idOffsets = lastID - firstID + 1;
constexpr std::size_t patchBeforeID = 56, typeBeforeID = 52;
constexpr std::uint32_t largestID = 99999;
constexpr unsigned patchBits = 24, addressBits = 9;
constexpr std::uint32_t patchMask = (1u << patchBits) - 1, addressMask = (1u << addressBits) - 1;

constexpr int lastChannel = 512;

template <class Number>
Number numberAt(base::Bytes bytes, std::size_t at) {
    Number value;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

template <class Number>
bool fits(base::Bytes bytes, std::size_t at) {
    return at <= bytes.size() && bytes.size() - at >= sizeof(Number);
}

// Numbers below a bound. Emptying it costs as much as what it holds.
class NumberSet {
public:
    explicit NumberSet(std::size_t bound) : words_(bound / 64 + 1) {}

    void insert(std::uint32_t number) {
        auto& word = words_[number / 64];
        const auto bit = std::uint64_t{1} << number % 64;
        if ((word & bit) == 0) members_.push_back(number);
        word |= bit;
    }
    const std::vector<std::uint32_t>& members() const { return members_; }
    void clear() {
        for (const auto number : members_) words_[number / 64] = 0;
        members_.clear();
    }

private:
    std::vector<std::uint64_t> words_;
    std::vector<std::uint32_t> members_;
};

struct Candidate {
    std::size_t at;       // of the class name's length
    std::size_t headEnd;  // distance
};

struct Name {
    std::size_t distance;  // of its length from the candidate
    std::string_view text;
};

// A record of the file's layout.
struct Record {
    std::size_t nameEnd;  // place in the plain bytes
    std::string_view name;
};

// Distance of the end of the last time stamp; absent when there is none, as behind chance bytes.
std::optional<std::size_t> headEndAt(base::Bytes plain, std::size_t candidate) {
    std::optional<std::size_t> end;
    for (const auto distance : stampsAt) {
        if (!fits<std::uint64_t>(plain, candidate + distance)) break;
        const auto stamp = numberAt<std::uint64_t>(plain, candidate + distance);
        if (stamp >= earliestStamp && stamp <= latestStamp) end = distance + sizeof stamp;
    }
    return end;
}

std::vector<Candidate> findCandidates(base::Bytes plain) {
    std::vector<Candidate> found;
    const auto* at = plain.data();
    const auto* const end = at + plain.size();
    while (const auto* hit = static_cast<const std::uint8_t*>(
               memmem(at, static_cast<std::size_t>(end - at), className.data(), className.size()))) {
        const auto place = static_cast<std::size_t>(hit - plain.data());
        if (const auto headEnd = headEndAt(plain, place)) {
            if (found.size() == mostCandidates)
                throw ShowError::corrupt("mehr als " + std::to_string(mostCandidates) + " Fixtures");
            found.push_back({place, *headEnd});
        }
        at = hit + className.size();
    }
    return found;
}

bool isPrintable(std::string_view text) {
    bool ascii = true;
    for (const auto character : text) {
        const auto byte = static_cast<std::uint8_t>(character);
        if (byte < 32 || byte == 127) return false;
        ascii = ascii && byte < 128;
    }
    return ascii || base::repairUTF8(text) == text;
}

// The text whose length stands at a place and that ends before `end`; absent when that is none.
std::optional<std::string_view> textAt(base::Bytes plain, std::size_t at, std::size_t end) {
    if (at > end || end - at < lengthSize) return std::nullopt;
    const auto length = numberAt<std::uint16_t>(plain, at);
    if (length == 0 || length > longestName || length > end - at - lengthSize) return std::nullopt;
    const std::string_view text(reinterpret_cast<const char*>(plain.data()) + at + lengthSize, length);
    return isPrintable(text) ? std::optional(text) : std::nullopt;
}

// The first text behind the record head. It ends before the next record, or a record without a name would take that one's class
// name.
std::optional<Name> nameAt(base::Bytes plain, const Candidate& candidate, std::size_t recordEnd) {
    const auto farthest = std::min(farthestName, recordEnd - candidate.at);
    for (auto distance = candidate.headEnd; distance <= farthest; ++distance)
        if (const auto text = textAt(plain, candidate.at + distance, recordEnd)) return Name{distance, *text};
    return std::nullopt;
}

// The records that have their name at the distance at which most have it.
std::vector<Record> recordsOf(base::Bytes plain, const std::vector<Candidate>& candidates) {
    const auto recordEnd = [&](std::size_t i) { return i + 1 < candidates.size() ? candidates[i + 1].at : plain.size(); };
    std::array<std::size_t, farthestName + 1> frequency{};
    for (std::size_t i = 0; i < candidates.size(); ++i)
        if (const auto name = nameAt(plain, candidates[i], recordEnd(i))) ++frequency[name->distance];
    // The first of equals: the smaller distance.
    const auto distance = static_cast<std::size_t>(std::max_element(frequency.begin(), frequency.end()) - frequency.begin());
    if (frequency[distance] == 0) return {};

    std::vector<Record> records;
    records.reserve(frequency[distance]);
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        // Read at that place, not compared with the first text: numbers before the name look like a short text now and then.
        const auto& candidate = candidates[i];
        const auto text = distance >= candidate.headEnd ? textAt(plain, candidate.at + distance, recordEnd(i)) : std::nullopt;
        if (text) records.push_back({candidate.at + distance + lengthSize + text->size(), *text});
    }
    return records;
}

std::uint32_t patchOf(base::Bytes plain, std::size_t idAt) {
    return numberAt<std::uint32_t>(plain, idAt - patchBeforeID) & patchMask;
}

bool isPlausibleID(std::uint32_t id) { return id != 0 && id <= largestID; }

// How good an offset is as that of the ids.
struct Score {
    std::size_t ids = 0;       // plausible and different from one another
    bool lowByteUsed = false;  // by one of them
};

std::array<Score, idOffsets> scoreOffsets(base::Bytes plain, const std::vector<Record>& records) {
    // Several offsets at a time: a record is fetched from memory once for all of them.
    constexpr std::size_t together = 20;
    static_assert(idOffsets % together == 0);
    std::array<Score, idOffsets> scores{};
    std::vector<NumberSet> seen(together, NumberSet(largestID + 1));
    for (std::size_t first = 0; first < idOffsets; first += together) {
        for (const auto& record : records)
            for (std::size_t i = 0; i < together; ++i) {
                const auto at = record.nameEnd + firstID + first + i;
                if (!fits<std::uint32_t>(plain, at)) break;
                if (const auto id = numberAt<std::uint32_t>(plain, at); isPlausibleID(id)) seen[i].insert(id);
            }
        for (std::size_t i = 0; i < together; ++i) {
            const auto& ids = seen[i].members();
            scores[first + i] = {ids.size(), std::ranges::any_of(ids, [](std::uint32_t id) { return (id & 0xFF) != 0; })};
            seen[i].clear();
        }
    }
    return scores;
}

// How many different patches stand before the ids at this offset, the empty one not counted. Some thousand records tell enough.
std::size_t differentPatches(base::Bytes plain, const std::vector<Record>& records, std::size_t offset) {
    constexpr std::size_t mostRecords = 4096;
    std::vector<std::uint32_t> patches;
    for (const auto& record : std::span(records).first(std::min(records.size(), mostRecords))) {
        const auto at = record.nameEnd + offset;
        if (!fits<std::uint32_t>(plain, at)) continue;
        if (const auto patch = patchOf(plain, at); patch != 0) patches.push_back(patch);
    }
    std::sort(patches.begin(), patches.end());
    return static_cast<std::size_t>(std::unique(patches.begin(), patches.end()) - patches.begin());
}

// The offset of the ids behind the name, the same in the whole file; absent when no offset holds a plausible one.
std::optional<std::size_t> findIDOffset(base::Bytes plain, const std::vector<Record>& records) {
    const auto scores = scoreOffsets(plain, records);
    std::size_t best = 0;
    for (const auto& score : scores) best = std::max(best, score.ids);
    if (best == 0) return std::nullopt;

    std::vector<std::size_t> equals;
    for (std::size_t i = 0; i < idOffsets; ++i) {
        if (scores[i].ids != best) continue;
        // All ids are multiples of 256 and the next offset is as good: that one's field, read a byte early.
        if (!scores[i].lowByteUsed && i + 1 < idOffsets && scores[i + 1].ids == best) continue;
        equals.push_back(firstID + i);
    }
    if (equals.size() == 1) return equals.front();
    // A counter of the file is as unique as an id; it has no patch before it.
    std::size_t chosen = equals.front(), most = 0;
    for (const auto offset : equals)
        if (const auto patches = differentPatches(plain, records, offset); patches > most) {
            chosen = offset;
            most = patches;
        }
    return chosen;
}

}  // namespace

std::vector<Fixture> fixtures(base::Bytes plain) {
    if (plain.size() < leastPlain) return {};
    const auto records = recordsOf(plain, findCandidates(plain));
    if (records.empty()) return {};
    const auto idOffset = findIDOffset(plain, records);
    if (!idOffset) return {};

    std::vector<Fixture> found;
    for (const auto& record : records) {
        const auto at = record.nameEnd + *idOffset;
        if (!fits<std::uint32_t>(plain, at)) continue;
        const auto id = numberAt<std::uint32_t>(plain, at);
        if (!isPlausibleID(id)) continue;
        const auto patch = patchOf(plain, at);
        found.push_back({.fixtureID = static_cast<int>(id),
                         .name = std::string(record.name),
                         .universe = static_cast<int>(patch >> addressBits) + 1,
                         .address = static_cast<int>(patch & addressMask) + 1,
                         .footprint = 0,
                         .typeRef = numberAt<std::uint32_t>(plain, at - typeBeforeID)});
    }
    return found;
}

void estimateFootprints(std::vector<Fixture>& fixtures) {
    struct Type {
        int gap = lastChannel;   // to the next address of any lamp: another type in between ends a lamp as well
        int room = lastChannel;  // to the end of the universe, from its last lamp
        bool repeated = false;   // at two addresses of one universe
    };
    std::map<std::uint32_t, Type> types;
    std::vector<const Fixture*> byAddress;
    for (const auto& fixture : fixtures) byAddress.push_back(&fixture);
    std::sort(byAddress.begin(), byAddress.end(), [](const Fixture* left, const Fixture* right) {
        return std::tie(left->universe, left->address) < std::tie(right->universe, right->address);
    });

    std::map<std::uint32_t, std::pair<int, int>> lastOfType;  // universe and address
    const Fixture* next = nullptr;
    for (auto i = byAddress.size(); i-- > 0;) {
        const auto& fixture = *byAddress[i];
        if (i + 1 < byAddress.size() && byAddress[i + 1]->universe != fixture.universe) next = nullptr;
        if (i + 1 < byAddress.size() && byAddress[i + 1]->universe == fixture.universe &&
            byAddress[i + 1]->address != fixture.address)
            next = byAddress[i + 1];
        auto& type = types[fixture.typeRef];
        if (next) type.gap = std::min(type.gap, next->address - fixture.address);
        type.room = std::min(type.room, lastChannel + 1 - fixture.address);
        const std::pair place(fixture.universe, fixture.address);
        const auto [last, isFirst] = lastOfType.try_emplace(fixture.typeRef, place);
        if (!isFirst && last->second.first == place.first && last->second.second != place.second) type.repeated = true;
        last->second = place;
    }
    for (auto& fixture : fixtures) {
        const auto& type = types[fixture.typeRef];
        fixture.footprint = type.repeated ? std::max(std::min(type.gap, type.room), 1) : 1;
    }
}

}  // namespace metercore::MA3Show
