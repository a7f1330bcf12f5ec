#pragma once
// Basic encoding rules of ASN.1 (ITU-T X.690), as far as SNMP uses them.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Base/ByteReader.hpp"
#include "NetCore/SNMPValue.hpp"

/// Pure. What cannot be decoded throws NetError::protocolError with the text that users read.
namespace netcore::BER {

using Encoded = std::vector<std::uint8_t>;

namespace Tag {
inline constexpr std::uint8_t integer = 0x02, octetString = 0x04, null = 0x05, objectIdentifier = 0x06, sequence = 0x30,
                              ipAddress = 0x40, counter32 = 0x41, gauge32 = 0x42, timeTicks = 0x43, counter64 = 0x46,
                              noSuchObject = 0x80, noSuchInstance = 0x81, endOfMibView = 0x82;
}  // namespace Tag

/// A length field: one byte below 128, else the count of the bytes that follow with 0x80 set, and these.
Encoded length(std::size_t n);
/// INTEGER with tag and length, of as few bytes as can be.
Encoded integer(std::int64_t value);
/// OBJECT IDENTIFIER with tag and length. Pieces that are no numbers are left out; with fewer than two left it is empty (06 00).
/// The first two must fit one byte (40 × first + second); a larger one is a programming error.
Encoded oid(std::string_view dotted);
/// False for an OID that oid() refuses; what users or agents wrote is asked first.
bool canEncodeOID(std::string_view dotted);
/// An element of any tag around its content.
Encoded element(std::uint8_t tag, base::Bytes content);
/// An unsigned of a tag such as gauge32, with a zero in front where the top bit would read as a sign.
Encoded unsignedNumber(std::uint8_t tag, std::uint64_t value);

/// Dotted. A last arc that is cut short is dropped; no content gives no text.
std::string decodeOID(base::Bytes content);
/// Any content of any tag gives a value: unknown tags are strings.
SNMPValue decodeValue(std::uint8_t tag, base::Bytes content);
/// Signed, of any length (the high bytes of more than eight are lost); nothing is 0.
std::int64_t decodeInteger(base::Bytes content);

/// A position in a message. It never leaves its own end, and a reader made by enter() never leaves its element.
class Reader {
public:
    struct Header {
        std::uint8_t tag = 0;
        std::size_t length = 0;  // of the content, which is there in full
    };
    struct Element {
        std::uint8_t tag = 0;
        base::Bytes content;
    };
    explicit Reader(base::Bytes data) : rest_(data) {}

    bool atEnd() const { return rest_.empty(); }
    Header header();
    Element readAny();
    base::Bytes read(std::uint8_t tag);
    std::int64_t readInt();
    /// A reader of that element's content; this one stands behind it.
    Reader enter(std::uint8_t tag);

private:
    base::Bytes rest_;
};

}  // namespace netcore::BER
