#pragma once
// Messages of SNMP v2c (RFC 1901, RFC 3416): requests that we send, the response to them. Pure; any thread.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Base/ByteReader.hpp"
#include "NetCore/SNMPValue.hpp"

namespace netcore::SNMPMessage {

namespace PDU {
inline constexpr std::uint8_t get = 0xA0, response = 0xA2, getBulk = 0xA5;
}  // namespace PDU

/// Lowest and highest request id that is sent.
inline constexpr std::int32_t leastID = 1, mostID = 0x7FFFFFFF;

struct Request {
    std::uint8_t pdu = PDU::get;
    std::string_view community;
    std::int32_t id = leastID;
    std::int32_t a = 0;  // GET: 0; GETBULK: non-repeaters
    std::int32_t b = 0;  // GET: 0; GETBULK: max-repetitions
    const std::vector<std::string>& oids;
};

/// The message with a null for the value of each OID.
std::vector<std::uint8_t> build(const Request& request);

/// The variable bindings of a response, in their order. Throws NetError::protocolError for anything else: "SNMP: …" for what is no
/// response or answers another request, "SNMP-Fehler <status>" when the agent reports one. Version and community are not compared.
std::vector<SNMPRow> parseResponse(base::Bytes bytes, std::int32_t expectedID);

}  // namespace netcore::SNMPMessage
