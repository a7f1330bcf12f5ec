#include "NetCore/SNMPMessage.hpp"

#include <set>

#include "NetCore/BER.hpp"
#include "NetCore/NetError.hpp"
#include "NetCore/SNMPVectors.hpp"

using namespace netcore;
using snmp::join;
using Octets = std::vector<std::uint8_t>;

namespace {

std::string errorOf(const Octets& bytes, std::int32_t id = snmp::id) {
    try {
        SNMPMessage::parseResponse(bytes, id);
    } catch (const NetError& error) {
        EXPECT_EQ(error.kind(), NetError::Case::protocolError);
        return error.description();
    }
    return "none";
}

}  // namespace

TEST(SNMPMessage, BuildsAGet) {
    const std::vector<std::string> oids{"1.3.6.1.2.1.1.1.0", "1.3.6.1.2.1.1.5.0"};
    EXPECT_EQ(SNMPMessage::build({.pdu = SNMPMessage::PDU::get, .community = "public", .id = 0x1234, .oids = oids}),
              snmp::getRequest);
}

TEST(SNMPMessage, BuildsAGetBulk) {
    const std::vector<std::string> oids{"1.3.6.1.2.1.2.2.1.3"};
    EXPECT_EQ(SNMPMessage::build(
                  {.pdu = SNMPMessage::PDU::getBulk, .community = "öffentlich", .id = 0x7FFFFFFF, .a = 0, .b = 25, .oids = oids}),
              snmp::getBulkRequest);
}

TEST(SNMPMessage, BuildsWithoutOIDsAndWithUnreadableOnes) {
    const std::vector<std::string> none, garbage{"garbage"};
    const auto empty = SNMPMessage::build({.community = "", .oids = none});
    EXPECT_EQ(empty, (Octets{0x30, 0x12, 0x02, 1, 1, 0x04, 0, 0xA0, 0x0B, 0x02, 1, 1, 0x02, 1, 0, 0x02, 1, 0, 0x30, 0}));
    const auto odd = SNMPMessage::build({.community = "", .oids = garbage});
    EXPECT_EQ(Octets(odd.end() - 8, odd.end()), (Octets{0x30, 6, 0x30, 4, 0x06, 0, 0x05, 0}));
}

TEST(SNMPMessage, ReadsEachKindOfValue) {
    const auto rows = SNMPMessage::parseResponse(snmp::response, snmp::id);
    const std::string_view name = "pn-switch";
    const std::vector<SNMPRow> expected{
        {"1.3.6.1.2.1.1.5.0", SNMPValue(SNMPValue::String(name.begin(), name.end()))},
        {"1.3.6.1.2.1.1.3.0", SNMPValue(SNMPValue::Ticks{0x012345})},
        {"1.3.6.1.2.1.1.2.0", SNMPValue(SNMPValue::OID{"1.3.6.1.4.1.8072"})},
        {"1.3.6.1.2.1.2.2.1.10.200", SNMPValue(SNMPValue::Counter{0xFFFFFFFF})},
        {"1.3.6.1.2.1.99.9", SNMPValue(SNMPValue::NoSuch{})},
    };
    EXPECT_EQ(rows, expected);
}

TEST(SNMPMessage, ReadsAResponseWithoutRows) {
    EXPECT_TRUE(SNMPMessage::parseResponse(snmp::message(snmp::responsePDU(snmp::id, 0, 0, {})), snmp::id).empty());
}

TEST(SNMPMessage, ComparesNeitherVersionNorCommunity) {
    const auto pdu = snmp::responsePDU(snmp::id, 0, 0, {});
    const auto other = BER::element(0x30, join({BER::integer(0), BER::element(0x04, Octets{'x'}), pdu}));
    EXPECT_EQ(errorOf(other), "none");
}

TEST(SNMPMessage, IgnoresWhatStandsBehindTheMessage) {
    auto bytes = snmp::response;
    bytes.insert(bytes.end(), {0xFF, 0xFF});
    EXPECT_EQ(SNMPMessage::parseResponse(bytes, snmp::id).size(), 5u);
}

TEST(SNMPMessage, SaysWhatIsWrong) {
    const auto row = snmp::binding("1.3.6.1", {0x02, 1, 7});
    const auto good = snmp::responsePDU(snmp::id, 0, 0, row);
    const auto community = BER::element(0x04, Octets{'p'});
    const auto ids = join({BER::integer(snmp::id), BER::integer(0), BER::integer(0)});
    auto request = good;
    request[0] = SNMPMessage::PDU::get;
    struct Row {
        const char* what;
        Octets bytes;
        const char* error;
    };
    for (const auto& [what, bytes, error] : std::initializer_list<Row>{
             {"nothing", {}, "SNMP: Paket zu kurz"},
             {"one byte", {0x30}, "SNMP: Paket zu kurz"},
             {"a longer length than the datagram", {0x30, 5, 2, 1, 1}, "SNMP: Länge"},
             {"no sequence", {0x04, 1, 'x'}, "SNMP: unerwartetes Tag 4"},
             {"an empty message", {0x30, 0}, "SNMP: Paket zu kurz"},
             {"no version", BER::element(0x30, join({community, good})), "SNMP: unerwartetes Tag 4"},
             {"no community", BER::element(0x30, join({BER::integer(1), good})), "SNMP: unerwartetes Tag 162"},
             {"a request", snmp::message(request), "SNMP: unerwartetes Tag 160"},
             {"an id that is no integer", snmp::message(BER::element(0xA2, Octets{0x41, 1, 5})), "SNMP: unerwartetes Tag 65"},
             {"no list", snmp::message(BER::element(0xA2, ids)), "SNMP: Paket zu kurz"},
             {"a list that is none", snmp::message(BER::element(0xA2, join({ids, {0x31, 0}}))), "SNMP: unerwartetes Tag 49"},
             {"a binding that is none", snmp::message(snmp::responsePDU(snmp::id, 0, 0, {0x05, 0})), "SNMP: unerwartetes Tag 5"},
             {"a binding without an OID", snmp::message(snmp::responsePDU(snmp::id, 0, 0, {0x30, 3, 0x02, 1, 7})),
              "SNMP: unerwartetes Tag 2"},
             {"an empty binding", snmp::message(snmp::responsePDU(snmp::id, 0, 0, {0x30, 0})), "SNMP: Paket zu kurz"},
             {"a binding without a value", snmp::message(snmp::responsePDU(snmp::id, 0, 0, {0x30, 2, 0x06, 0})),
              "SNMP: Paket zu kurz"},
             {"a value beyond its binding", snmp::message(snmp::responsePDU(snmp::id, 0, 0, {0x30, 4, 0x06, 0, 0x04, 3, 1, 2, 3})),
              "SNMP: Länge"},
             {"a byte behind the rows", snmp::message(snmp::responsePDU(snmp::id, 0, 0, join({row, {0x30}}))),
              "SNMP: Paket zu kurz"},
             {"another id", snmp::message(snmp::responsePDU(snmp::id + 1, 0, 0, row)), "SNMP: falsche Antwort-ID"},
             {"another id and an error", snmp::message(snmp::responsePDU(snmp::id + 1, 5, 0, row)), "SNMP: falsche Antwort-ID"},
             {"another id and no list",
              snmp::message(BER::element(0xA2, join({BER::integer(1), BER::integer(0), BER::integer(0)}))),
              "SNMP: falsche Antwort-ID"},
             {"an error", snmp::message(snmp::responsePDU(snmp::id, 5, 1, row)), "SNMP-Fehler 5"},
             {"an error before an unreadable list", snmp::message(snmp::responsePDU(snmp::id, 16, 0, {0x05, 0})), "SNMP-Fehler 16"},
             {"a negative error", snmp::message(snmp::responsePDU(snmp::id, -1, 0, row)), "SNMP-Fehler -1"}})
        EXPECT_EQ(errorOf(bytes), error) << what;
}

TEST(SNMPMessage, TakesAnIDOnlyAsTheWholeNumber) {
    const auto wide =
        BER::element(0xA2, join({BER::integer((std::int64_t(1) << 32) + snmp::id), BER::integer(0), BER::integer(0)}));
    EXPECT_EQ(errorOf(snmp::message(wide)), "SNMP: falsche Antwort-ID");
}

// Wherever a datagram is cut: the lengths of its outermost element tell.
TEST(SNMPMessage, RefusesADatagramThatIsCutAnywhere) {
    for (std::size_t size = 0; size < snmp::response.size(); ++size) {
        const Octets cut(snmp::response.begin(), snmp::response.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(errorOf(cut), size < 2 ? "SNMP: Paket zu kurz" : "SNMP: Länge") << size << " bytes";
    }
}

// With its outer lengths made right again, a list that is cut is an error or holds fewer rows.
TEST(SNMPMessage, ReadsRowsOnlyAsFarAsTheListGoes) {
    const auto list = snmp::rows();
    std::set<std::size_t> counts;
    for (std::size_t size = 0; size <= list.size(); ++size) {
        const Octets cut(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(size));
        const auto bytes = snmp::message(snmp::responsePDU(snmp::id, 0, 0, cut));
        try {
            counts.insert(SNMPMessage::parseResponse(bytes, snmp::id).size());
        } catch (const NetError& error) {
            EXPECT_TRUE(error.text() == "SNMP: Paket zu kurz" || error.text() == "SNMP: Länge") << error.text();
        }
    }
    EXPECT_EQ(counts, (std::set<std::size_t>{0, 1, 2, 3, 4, 5}));
}

TEST(SNMPMessage, ReadsAFullDatagram) {
    Octets list;
    std::size_t count = 0;
    while (list.size() < 64900) {
        const auto next = snmp::binding("1.3.6.1.4.1.1." + std::to_string(++count), {0x02, 1, 7});
        list.insert(list.end(), next.begin(), next.end());
    }
    const auto bytes = snmp::message(snmp::responsePDU(snmp::id, 0, 0, list));
    const auto rows = SNMPMessage::parseResponse(bytes, snmp::id);
    ASSERT_EQ(rows.size(), count);
    EXPECT_EQ(rows.back().oid, "1.3.6.1.4.1.1." + std::to_string(count));
}
