// Any datagram on the agent's port: an answer fits a datagram, is a response that can be read, and answers no more variables than
// were asked for.

#include <algorithm>
#include <cstdint>

#include "Base/Require.hpp"
#include "NetCore/BER.hpp"
#include "NetCore/SNMPMessage.hpp"
#include "NetCore/UPSAgent.hpp"

using namespace netcore;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const base::Bytes request(data, size);
    const UPSAgent::Scene scene{
        .running = std::chrono::seconds(100), .onBattery = std::chrono::seconds(10), .faults = {.onBattery = true}};
    const auto answer = UPSAgent::respond(request, scene);
    if (!answer) return 0;
    KESTRELYNE_REQUIRE(answer->size() <= UPSAgent::longestAnswer, "it fits a datagram");
    auto message = BER::Reader(*answer).enter(BER::Tag::sequence);
    KESTRELYNE_REQUIRE(message.readInt() == 1, "version 2c");
    auto asked = BER::Reader(request).enter(BER::Tag::sequence);
    asked.readInt();
    const auto community = asked.read(BER::Tag::octetString), echoed = message.read(BER::Tag::octetString);
    KESTRELYNE_REQUIRE(std::equal(community.begin(), community.end(), echoed.begin(), echoed.end()), "the community is echoed");
    const auto pdu = asked.readAny();
    BER::Reader askedBody(pdu.content);
    auto body = message.enter(SNMPMessage::PDU::response);
    const auto id = askedBody.readInt();
    KESTRELYNE_REQUIRE(body.readInt() == id, "it answers this request");
    const auto status = body.readInt();
    KESTRELYNE_REQUIRE(status == 0 || status == 1, "nothing but too much can be wrong");
    body.readInt();
    askedBody.readInt();
    askedBody.readInt();
    std::size_t asks = 0, answers = 0;
    for (auto rows = askedBody.enter(BER::Tag::sequence); !rows.atEnd(); ++asks) rows.readAny();
    for (auto rows = body.enter(BER::Tag::sequence); !rows.atEnd(); ++answers) {
        auto row = rows.enter(BER::Tag::sequence);
        row.read(BER::Tag::objectIdentifier);
        row.readAny();
        KESTRELYNE_REQUIRE(row.atEnd(), "a name and a value");
    }
    const auto most = pdu.tag == SNMPMessage::PDU::getBulk ? asks * UPSAgent::mostRepetitions : asks;
    KESTRELYNE_REQUIRE(answers <= most, "no more than was asked for");
    if (pdu.tag != SNMPMessage::PDU::getBulk && status == 0) KESTRELYNE_REQUIRE(answers == asks, "no less either");
    return 0;
}
