// Any datagram as the answer of an agent: rows or an error of the protocol, never more rows than bytes could hold; and an answer
// that is written of the rows is read the same.

#include <cstdint>

#include "Base/Require.hpp"
#include "NetCore/BER.hpp"
#include "NetCore/NetError.hpp"
#include "NetCore/SNMPMessage.hpp"

using namespace netcore;

namespace {

constexpr std::size_t leastBinding = 6;  // 30 04 06 00 and an empty value

// The id that the datagram tells, so that rows behind it are reached as well.
std::int32_t idWithin(base::Bytes bytes) {
    try {
        auto message = BER::Reader(bytes).enter(BER::Tag::sequence);
        message.readAny();
        message.readAny();
        return static_cast<std::int32_t>(message.enter(SNMPMessage::PDU::response).readInt());
    } catch (const NetError&) {
        return SNMPMessage::leastID;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const base::Bytes bytes(data, size);
    const auto id = idWithin(bytes);
    try {
        const auto rows = SNMPMessage::parseResponse(bytes, id);
        KESTRELYNE_REQUIRE(rows.size() * leastBinding <= size, "each row was sent");
        std::vector<std::string> oids;
        for (const auto& [oid, value] : rows) {
            KESTRELYNE_REQUIRE(value.text().size() <= 4 * size + 20, "a text grows no further than its bytes");
            oids.push_back(oid);
        }
        const auto request = SNMPMessage::build({.community = "x", .id = id, .oids = oids});
        KESTRELYNE_REQUIRE(BER::Reader(request).enter(BER::Tag::sequence).readInt() == 1, "what was read can be asked for");
    } catch (const NetError& error) {
        KESTRELYNE_REQUIRE(error.kind() == NetError::Case::protocolError, "bad bytes are an error of the protocol");
        KESTRELYNE_REQUIRE(error.text().starts_with("SNMP"), "and say so");
    }
    return 0;
}
