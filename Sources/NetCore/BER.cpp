#include "NetCore/BER.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "NetCore/NetError.hpp"

namespace netcore::BER {

namespace {

constexpr std::uint8_t longForm = 0x80;  // of a length: its low bits count the bytes that follow
constexpr std::size_t mostLengthBytes = 4;
constexpr std::uint8_t moreFollows = 0x80;  // of a byte of an arc: another one comes
constexpr std::uint64_t firstArcFactor = 40;
constexpr unsigned arcBits = 7;

NetError badLength() { return NetError::protocolError("SNMP: Länge"); }

NetError unexpected(std::uint8_t tag) { return NetError::protocolError("SNMP: unerwartetes Tag " + std::to_string(tag)); }

void expect(std::uint8_t wanted, std::uint8_t tag) {
    if (tag != wanted) throw unexpected(tag);
}

std::vector<std::uint64_t> arcsOf(std::string_view dotted) {
    std::vector<std::uint64_t> arcs;
    for (const auto piece : base::split(dotted, '.', false)) {
        std::uint64_t arc = 0;
        const auto* const pieceEnd = piece.data() + piece.size();
        const auto [end, error] = std::from_chars(piece.data(), pieceEnd, arc);
        if (error == std::errc() && end == pieceEnd) arcs.push_back(arc);
    }
    return arcs;
}

// The byte that holds the first two arcs.
std::optional<std::uint8_t> firstByte(std::uint64_t first, std::uint64_t second) {
    constexpr std::uint64_t most = 0xFF;
    if (first > most / firstArcFactor || second > most || first * firstArcFactor + second > most) return std::nullopt;
    return static_cast<std::uint8_t>(first * firstArcFactor + second);
}

void appendArc(Encoded& content, std::uint64_t arc) {
    unsigned shift = 0;
    while (shift + arcBits < 64 && arc >> (shift + arcBits) != 0) shift += arcBits;
    for (;; shift -= arcBits) {
        const auto bits = static_cast<std::uint8_t>(arc >> shift & 0x7F);
        content.push_back(shift == 0 ? bits : static_cast<std::uint8_t>(bits | moreFollows));
        if (shift == 0) return;
    }
}

// Big-endian; bytes beyond the eighth push the high ones out.
std::uint64_t shifted(base::Bytes content, std::uint64_t start) {
    for (const auto byte : content) start = start << 8 | byte;
    return start;
}

std::uint64_t decodeUnsigned(base::Bytes content) { return shifted(content, 0); }

std::string decodeIP(base::Bytes content) {
    fmt::memory_buffer text;
    for (const auto byte : content) fmt::format_to(std::back_inserter(text), "{}{}", text.size() == 0 ? "" : ".", byte);
    return fmt::to_string(text);
}

}  // namespace

Encoded length(std::size_t n) {
    if (n < longForm) return {static_cast<std::uint8_t>(n)};
    Encoded bytes;
    for (; n != 0; n >>= 8) bytes.push_back(static_cast<std::uint8_t>(n));
    bytes.push_back(static_cast<std::uint8_t>(longForm | bytes.size()));
    std::ranges::reverse(bytes);
    return bytes;
}

Encoded element(std::uint8_t tag, base::Bytes content) {
    const auto size = length(content.size());
    Encoded bytes;
    bytes.reserve(1 + size.size() + content.size());
    bytes.push_back(tag);
    bytes.insert(bytes.end(), size.begin(), size.end());
    bytes.insert(bytes.end(), content.begin(), content.end());
    return bytes;
}

Encoded integer(std::int64_t value) {
    Encoded content;
    auto rest = value;
    do {
        content.push_back(static_cast<std::uint8_t>(rest));
        rest >>= 8;
    } while (rest != 0 && rest != -1);
    const bool topBit = (content.back() & 0x80) != 0;
    if (value >= 0 && topBit) content.push_back(0x00);
    if (value < 0 && !topBit) content.push_back(0xFF);
    std::ranges::reverse(content);
    return element(Tag::integer, content);
}

Encoded unsignedNumber(std::uint8_t tag, std::uint64_t value) {
    Encoded content;
    do {
        content.push_back(static_cast<std::uint8_t>(value));
        value >>= 8;
    } while (value != 0);
    if ((content.back() & 0x80) != 0) content.push_back(0x00);
    std::ranges::reverse(content);
    return element(tag, content);
}

bool canEncodeOID(std::string_view dotted) {
    const auto arcs = arcsOf(dotted);
    return arcs.size() < 2 || firstByte(arcs[0], arcs[1]).has_value();
}

Encoded oid(std::string_view dotted) {
    const auto arcs = arcsOf(dotted);
    if (arcs.size() < 2) return {Tag::objectIdentifier, 0};
    const auto first = firstByte(arcs[0], arcs[1]);
    KESTRELYNE_REQUIRE(first, "the first two arcs of an OID share a byte");
    Encoded content{*first};
    content.reserve(arcs.size() + 8);
    for (auto arc = arcs.begin() + 2; arc != arcs.end(); ++arc) appendArc(content, *arc);
    return element(Tag::objectIdentifier, content);
}

std::string decodeOID(base::Bytes content) {
    if (content.empty()) return {};
    // Holds any usual OID without asking for memory, so that the text itself is all that is allocated.
    fmt::memory_buffer text;
    fmt::format_to(std::back_inserter(text), "{}.{}", content[0] / firstArcFactor, content[0] % firstArcFactor);
    std::uint64_t arc = 0;
    for (const auto byte : content.subspan(1)) {
        arc = arc << arcBits | (byte & 0x7F);
        if ((byte & moreFollows) != 0) continue;
        const fmt::format_int digits(arc);
        text.push_back('.');
        text.append(digits.data(), digits.data() + digits.size());
        arc = 0;
    }
    return fmt::to_string(text);
}

std::int64_t decodeInteger(base::Bytes content) {
    if (content.empty()) return 0;
    const bool negative = (content[0] & 0x80) != 0;
    return static_cast<std::int64_t>(shifted(content, negative ? ~std::uint64_t(0) : 0));
}

SNMPValue decodeValue(std::uint8_t tag, base::Bytes content) {
    switch (tag) {
        case Tag::integer: return SNMPValue(decodeInteger(content));
        case Tag::objectIdentifier: return SNMPValue(SNMPValue::OID{decodeOID(content)});
        case Tag::ipAddress: return SNMPValue(SNMPValue::IP{decodeIP(content)});
        case Tag::counter32:
        case Tag::counter64: return SNMPValue(SNMPValue::Counter{decodeUnsigned(content)});
        case Tag::gauge32: return SNMPValue(SNMPValue::Gauge{decodeUnsigned(content)});
        case Tag::timeTicks: return SNMPValue(SNMPValue::Ticks{decodeUnsigned(content)});
        case Tag::null: return SNMPValue(SNMPValue::Null{});
        case Tag::noSuchObject:
        case Tag::noSuchInstance:
        case Tag::endOfMibView: return SNMPValue(SNMPValue::NoSuch{});
        default: return SNMPValue(SNMPValue::String(content.begin(), content.end()));
    }
}

Reader::Header Reader::header() {
    base::ByteReader rest(rest_);
    const auto tag = rest.u8(), first = rest.u8();
    if (!tag || !first) throw NetError::protocolError("SNMP: Paket zu kurz");
    std::size_t size = *first;
    if ((*first & longForm) != 0) {
        const auto count = static_cast<std::size_t>(*first & ~longForm);
        const auto bytes = count > mostLengthBytes ? std::nullopt : rest.take(count);
        if (!bytes) throw badLength();
        size = decodeUnsigned(*bytes);
    }
    if (size > rest.remaining()) throw badLength();
    rest_ = rest.rest();
    return {.tag = *tag, .length = size};
}

Reader::Element Reader::readAny() {
    const auto [tag, size] = header();
    const auto content = rest_.first(size);
    rest_ = rest_.subspan(size);
    return {.tag = tag, .content = content};
}

base::Bytes Reader::read(std::uint8_t tag) {
    const auto element = readAny();
    expect(tag, element.tag);
    return element.content;
}

std::int64_t Reader::readInt() { return decodeInteger(read(Tag::integer)); }

Reader Reader::enter(std::uint8_t tag) { return Reader(read(tag)); }

}  // namespace netcore::BER
