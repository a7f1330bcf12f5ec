#pragma once
// Messages of SNMP v2c, byte for byte.

#include <cstdint>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

#include "NetCore/BER.hpp"

namespace snmp {

using Octets = std::vector<std::uint8_t>;

// "public", 1.3.6.1.2.1.1.1.0 and 1.3.6.1.2.1.1.5.0
inline const Octets getRequest{0x30, 0x35,                                     // message
                               0x02, 0x01, 0x01,                               // version 2c
                               0x04, 0x06, 'p',  'u',  'b',  'l',  'i',  'c',  // community
                               0xA0, 0x28,                                     // GetRequest-PDU
                               0x02, 0x02, 0x12, 0x34,                         // request-id
                               0x02, 0x01, 0x00,                               // error-status
                               0x02, 0x01, 0x00,                               // error-index
                               0x30, 0x1C,                                     // variable-bindings
                               0x30, 0x0C, 0x06, 0x08, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x01, 0x01, 0x00, 0x05, 0x00,
                               0x30, 0x0C, 0x06, 0x08, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x01, 0x05, 0x00, 0x05, 0x00};

// "öffentlich", rows behind 1.3.6.1.2.1.2.2.1.3
inline const Octets getBulkRequest{0x30, 0x2F, 0x02, 0x01, 0x01,                                                 //
                                   0x04, 0x0B, 0xC3, 0xB6, 'f',  'f',  'e',  'n',  't',  'l',  'i',  'c',  'h',  //
                                   0xA5, 0x1D,                          // GetBulkRequest-PDU
                                   0x02, 0x04, 0x7F, 0xFF, 0xFF, 0xFF,  // request-id
                                   0x02, 0x01, 0x00,                    // non-repeaters
                                   0x02, 0x01, 0x19,                    // max-repetitions
                                   0x30, 0x0F, 0x30, 0x0D, 0x06, 0x09, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x02, 0x02,
                                   0x01, 0x03, 0x05, 0x00};

inline constexpr std::int32_t id = 0x01020304;

// The answer to request `id`: a text, ticks, an OID, a counter with a large index, and an object that the agent lacks.
inline const Octets response{0x30, 0x7B, 0x02, 0x01, 0x01, 0x04, 0x06, 0x70, 0x75, 0x62, 0x6C, 0x69, 0x63, 0xA2, 0x6E,
                             0x02, 0x04, 0x01, 0x02, 0x03, 0x04, 0x02, 0x01, 0x00, 0x02, 0x01, 0x00, 0x30, 0x60,  //
                             0x30, 0x15, 0x06, 0x08, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x01, 0x05, 0x00, 0x04, 0x09, 0x70,
                             0x6E, 0x2D, 0x73, 0x77, 0x69, 0x74, 0x63, 0x68,  //
                             0x30, 0x0F, 0x06, 0x08, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x01, 0x03, 0x00, 0x43, 0x03, 0x01,
                             0x23, 0x45,  //
                             0x30, 0x13, 0x06, 0x08, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x01, 0x02, 0x00, 0x06, 0x07, 0x2B,
                             0x06, 0x01, 0x04, 0x01, 0xBF, 0x08,  //
                             0x30, 0x14, 0x06, 0x0B, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x02, 0x02, 0x01, 0x0A, 0x81, 0x48,
                             0x41, 0x05, 0x00, 0xFF, 0xFF, 0xFF, 0xFF,  //
                             0x30, 0x0B, 0x06, 0x07, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x63, 0x09, 0x80, 0x00};

// Pieces to build others of.

inline Octets join(std::initializer_list<Octets> pieces) {
    Octets bytes;
    for (const auto& piece : pieces) bytes.insert(bytes.end(), piece.begin(), piece.end());
    return bytes;
}

/// `value` with its tag and length.
inline Octets binding(const std::string& oid, const Octets& value) {
    return netcore::BER::element(0x30, join({netcore::BER::oid(oid), value}));
}

inline Octets responsePDU(std::int64_t requestID, std::int64_t status, std::int64_t index, const Octets& list) {
    using namespace netcore;
    return BER::element(
        0xA2, join({BER::integer(requestID), BER::integer(status), BER::integer(index), BER::element(BER::Tag::sequence, list)}));
}

/// The rows of `response`, without the header of their list.
inline Octets rows() { return {response.end() - 96, response.end()}; }

inline Octets message(const Octets& pdu) {
    using namespace netcore;
    return BER::element(0x30, join({BER::integer(1), BER::element(0x04, Octets{'p', 'u', 'b', 'l', 'i', 'c'}), pdu}));
}

}  // namespace snmp
