#include "NetCore/UPSAgent.hpp"

#include <algorithm>

#include "NetCore/BER.hpp"
#include "NetCore/NetError.hpp"
#include "NetCore/OIDNumbers.hpp"
#include "NetCore/SNMPMessage.hpp"
#include "NetCore/UPSTable.hpp"

namespace netcore::UPSAgent {

namespace {

namespace PDU = SNMPMessage::PDU;

// RFC 3416, 3: what we do not send ourselves, and the error status of an answer that would be too long.
constexpr std::uint8_t getNextRequest = 0xA1;
constexpr std::int64_t noError = 0, tooBig = 1;
// RFC 1901, 3: version 2c.
constexpr std::int64_t version2c = 1;
// Around the bindings: message, version, community, PDU and their lengths, without the community itself.
constexpr std::size_t envelope = 64;

struct Request {
    base::Bytes community;
    std::uint8_t pdu = 0;
    std::int64_t id = 0;
    std::int64_t nonRepeaters = 0, maxRepetitions = 0;  // of GETBULK; error status and index of the others
    std::vector<base::Bytes> oids;                      // contents as they came
};

// Throws NetError as the decoder does.
Request parse(base::Bytes packet) {
    auto message = BER::Reader(packet).enter(BER::Tag::sequence);
    if (message.readInt() != version2c) throw NetError::protocolError("SNMP: andere Version");
    Request request;
    request.community = message.read(BER::Tag::octetString);
    const auto body = message.readAny();
    if (body.tag != PDU::get && body.tag != getNextRequest && body.tag != PDU::getBulk)
        throw NetError::protocolError("SNMP: unerwartetes Tag " + std::to_string(body.tag));
    request.pdu = body.tag;
    BER::Reader pdu(body.content);
    request.id = pdu.readInt();
    request.nonRepeaters = pdu.readInt();
    request.maxRepetitions = pdu.readInt();
    for (auto bindings = pdu.enter(BER::Tag::sequence); !bindings.atEnd();) {
        auto binding = bindings.enter(BER::Tag::sequence);
        request.oids.push_back(binding.read(BER::Tag::objectIdentifier));
        binding.readAny();
    }
    return request;
}

void append(BER::Encoded& to, const BER::Encoded& bytes) { to.insert(to.end(), bytes.begin(), bytes.end()); }

std::vector<std::uint8_t> answer(const Request& request, std::int64_t status, const BER::Encoded& bindings) {
    BER::Encoded pdu = BER::integer(request.id);
    append(pdu, BER::integer(status));
    append(pdu, BER::integer(0));
    append(pdu, BER::element(BER::Tag::sequence, bindings));
    BER::Encoded message = BER::integer(version2c);
    append(message, BER::element(BER::Tag::octetString, request.community));
    append(message, BER::element(PDU::response, pdu));
    return BER::element(BER::Tag::sequence, message);
}

// An OID on its way through the table.
struct Cursor {
    OIDNumbers numbers;
    BER::Encoded name;  // with tag and length
};

std::optional<Cursor> cursorAt(base::Bytes content) {
    auto numbers = oidNumbers(BER::decodeOID(content));
    if (!numbers) return std::nullopt;
    return Cursor{std::move(*numbers), BER::element(BER::Tag::objectIdentifier, content)};
}

std::string dotted(const OIDNumbers& numbers) {
    std::string text;
    for (const auto number : numbers) text += (text.empty() ? "" : ".") + std::to_string(number);
    return text;
}

class Lookup {
public:
    explicit Lookup(const Scene& scene) : table_(table(scene)) {}

    BER::Encoded exact(const Cursor& at) const {
        const auto found = std::ranges::lower_bound(table_, at.numbers, {}, &Variable::oid);
        const bool known = found != table_.end() && found->oid == at.numbers;
        return binding(at.name, known ? found->value : BER::element(BER::Tag::noSuchObject, {}));
    }

    /// Moves on to the next variable; behind the last it stays where it is. RFC 3416, 4.2.2.
    BER::Encoded next(Cursor& at, bool& atEnd) const {
        const auto found = std::ranges::upper_bound(table_, at.numbers, {}, &Variable::oid);
        atEnd = found == table_.end();
        if (atEnd) return binding(at.name, BER::element(BER::Tag::endOfMibView, {}));
        at = {found->oid, BER::oid(dotted(found->oid))};
        return binding(at.name, found->value);
    }

private:
    static BER::Encoded binding(const BER::Encoded& name, const BER::Encoded& value) {
        BER::Encoded content = name;
        append(content, value);
        return BER::element(BER::Tag::sequence, content);
    }

    const std::vector<Variable> table_;
};

// The bindings of an answer, no more than it may hold.
class Bindings {
public:
    explicit Bindings(std::size_t most) : most_(most) {}
    bool add(const BER::Encoded& binding) {
        if (bytes_.size() + binding.size() > most_) return false;
        append(bytes_, binding);
        return true;
    }
    const BER::Encoded& bytes() const { return bytes_; }

private:
    const std::size_t most_;
    BER::Encoded bytes_;
};

// RFC 3416, 4.2.3: the first ones once, the others again and again until all have come to the end. What does not fit is left out.
void addBulk(const Request& request, std::vector<Cursor>& cursors, const Lookup& lookup, Bindings& bindings) {
    const auto count = static_cast<std::int64_t>(cursors.size());
    const auto once = cursors.begin() + std::clamp<std::int64_t>(request.nonRepeaters, 0, count);
    bool atEnd = false;
    for (auto cursor = cursors.begin(); cursor != once; ++cursor)
        if (!bindings.add(lookup.next(*cursor, atEnd))) return;
    const auto repetitions = std::clamp<std::int64_t>(request.maxRepetitions, 0, mostRepetitions);
    bool allAtEnd = once == cursors.end();
    for (std::int64_t repetition = 0; repetition < repetitions && !allAtEnd; ++repetition) {
        allAtEnd = true;
        for (auto cursor = once; cursor != cursors.end(); ++cursor) {
            if (!bindings.add(lookup.next(*cursor, atEnd))) return;
            allAtEnd = allAtEnd && atEnd;
        }
    }
}

std::vector<std::uint8_t> answerOf(const Request& request, std::vector<Cursor> cursors, const Scene& scene) {
    const Lookup lookup(scene);
    Bindings bindings(longestAnswer - envelope - std::min(request.community.size(), longestAnswer - envelope));
    if (request.pdu == PDU::getBulk) {
        addBulk(request, cursors, lookup, bindings);
        return answer(request, noError, bindings.bytes());
    }
    for (auto& cursor : cursors) {
        bool atEnd = false;
        if (!bindings.add(request.pdu == PDU::get ? lookup.exact(cursor) : lookup.next(cursor, atEnd)))
            return answer(request, tooBig, {});
    }
    return answer(request, noError, bindings.bytes());
}

}  // namespace

std::optional<std::vector<std::uint8_t>> respond(base::Bytes packet, const Scene& scene) {
    if (scene.faults.offline) return std::nullopt;
    try {
        const auto request = parse(packet);
        std::vector<Cursor> cursors;
        for (const auto oid : request.oids) {
            auto cursor = cursorAt(oid);
            if (!cursor) return std::nullopt;
            cursors.push_back(std::move(*cursor));
        }
        auto bytes = answerOf(request, std::move(cursors), scene);
        // A community that fills a datagram is echoed to nobody.
        if (bytes.size() > longestAnswer) return std::nullopt;
        return bytes;
    } catch (const NetError&) {
        return std::nullopt;
    }
}

}  // namespace netcore::UPSAgent
