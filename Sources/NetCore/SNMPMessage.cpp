#include "NetCore/SNMPMessage.hpp"

#include "NetCore/BER.hpp"
#include "NetCore/NetError.hpp"

namespace netcore::SNMPMessage {

namespace {

constexpr std::int64_t version2c = 1;
constexpr std::size_t usualRows = 25;

void append(BER::Encoded& bytes, const BER::Encoded& more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

BER::Encoded bindings(const std::vector<std::string>& oids) {
    BER::Encoded list;
    for (const auto& oid : oids) {
        auto binding = BER::oid(oid);
        append(binding, {BER::Tag::null, 0});
        append(list, BER::element(BER::Tag::sequence, binding));
    }
    return BER::element(BER::Tag::sequence, list);
}

}  // namespace

std::vector<std::uint8_t> build(const Request& request) {
    auto fields = BER::integer(request.id);
    append(fields, BER::integer(request.a));
    append(fields, BER::integer(request.b));
    append(fields, bindings(request.oids));
    auto message = BER::integer(version2c);
    append(message, BER::element(BER::Tag::octetString, BER::Encoded(request.community.begin(), request.community.end())));
    append(message, BER::element(request.pdu, fields));
    return BER::element(BER::Tag::sequence, message);
}

std::vector<SNMPRow> parseResponse(base::Bytes bytes, std::int32_t expectedID) {
    BER::Reader datagram(bytes);
    auto message = datagram.enter(BER::Tag::sequence);
    message.readInt();  // version
    message.read(BER::Tag::octetString);
    auto response = message.enter(PDU::response);
    const auto id = response.readInt(), status = response.readInt();
    response.readInt();  // error index
    if (id != expectedID) throw NetError::protocolError("SNMP: falsche Antwort-ID");
    if (status != 0) throw NetError::protocolError("SNMP-Fehler " + std::to_string(status));

    std::vector<SNMPRow> rows;
    auto list = response.enter(BER::Tag::sequence);
    if (!list.atEnd()) rows.reserve(usualRows);
    while (!list.atEnd()) {
        auto binding = list.enter(BER::Tag::sequence);
        const auto oid = binding.read(BER::Tag::objectIdentifier);
        const auto value = binding.readAny();
        rows.push_back({BER::decodeOID(oid), BER::decodeValue(value.tag, value.content)});
    }
    return rows;
}

}  // namespace netcore::SNMPMessage
