#include "NetCore/UPSAgent.hpp"

#include <gtest/gtest.h>

#include "NetCore/BER.hpp"
#include "NetCore/NetError.hpp"
#include "NetCore/OIDNumbers.hpp"

namespace netcore {

namespace {

using namespace std::chrono_literals;
using UPSAgent::Scene;

constexpr std::uint8_t get = 0xA0, getNext = 0xA1, response = 0xA2, set = 0xA3, getBulk = 0xA5;
constexpr std::int64_t anyID = 4711;

const std::string ups = "1.3.6.1.2.1.33.1.";
const std::string firstOID = "1.3.6.1.2.1.1.1.0", lastOID = "1.3.6.1.2.1.33.1.6.1.0";

const SNMPValue endOfView = SNMPValue(SNMPValue::NoSuch{});

base::Bytes bytesOf(std::string_view text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

BER::Encoded joined(std::initializer_list<BER::Encoded> parts) {
    BER::Encoded bytes;
    for (const auto& part : parts) bytes.insert(bytes.end(), part.begin(), part.end());
    return bytes;
}

struct Request {
    std::uint8_t pdu = get;
    std::vector<std::string> oids;
    std::int64_t a = 0, b = 0;
    std::string community = "public";
    std::int64_t version = 1, id = anyID;

    std::vector<std::uint8_t> bytes() const {
        BER::Encoded bindings;
        for (const auto& oid : oids) bindings = joined({bindings, BER::element(0x30, joined({BER::oid(oid), {5, 0}}))});
        const auto body = joined({BER::integer(id), BER::integer(a), BER::integer(b), BER::element(0x30, bindings)});
        return BER::element(0x30, joined({BER::integer(version), BER::element(4, bytesOf(community)), BER::element(pdu, body)}));
    }
};

struct Answer {
    std::int64_t version = 0, id = 0, status = 0, index = 0;
    std::string community;
    std::vector<SNMPRow> rows;
    std::vector<std::uint8_t> tags;  // of the values
    std::size_t size = 0;
};

std::optional<Answer> asked(const Request& request, const Scene& scene = {}) {
    const auto bytes = UPSAgent::respond(request.bytes(), scene);
    if (!bytes) return std::nullopt;
    Answer answer;
    answer.size = bytes->size();
    BER::Reader whole(*bytes);
    auto message = whole.enter(0x30);
    EXPECT_TRUE(whole.atEnd());
    answer.version = message.readInt();
    const auto community = message.read(4);
    answer.community.assign(community.begin(), community.end());
    auto pdu = message.enter(response);
    EXPECT_TRUE(message.atEnd());
    answer.id = pdu.readInt();
    answer.status = pdu.readInt();
    answer.index = pdu.readInt();
    auto bindings = pdu.enter(0x30);
    EXPECT_TRUE(pdu.atEnd());
    while (!bindings.atEnd()) {
        auto binding = bindings.enter(0x30);
        const auto oid = BER::decodeOID(binding.read(6));
        const auto value = binding.readAny();
        EXPECT_TRUE(binding.atEnd());
        answer.rows.push_back({oid, BER::decodeValue(value.tag, value.content)});
        answer.tags.push_back(value.tag);
    }
    return answer;
}

std::vector<std::string> oidsOf(const Answer& answer) {
    std::vector<std::string> oids;
    for (const auto& row : answer.rows) oids.push_back(row.oid);
    return oids;
}

std::optional<double> number(const std::string& end, const Scene& scene = {}) {
    const auto answer = asked({.pdu = get, .oids = {ups + end}}, scene);
    return answer ? answer->rows.at(0).value.number() : std::nullopt;
}

Scene faulty(UPSFaults faults, std::optional<base::Seconds> onBattery = {}) {
    return {.running = 100s, .onBattery = onBattery, .faults = faults};
}

Scene onBatteryFor(base::Seconds time) { return faulty({.onBattery = true}, time); }

}  // namespace

TEST(UPSAgent, AnswersAGet) {
    const auto answer = asked({.pdu = get, .oids = {firstOID, ups + "2.3.0"}});
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->version, 1);
    EXPECT_EQ(answer->id, anyID);
    EXPECT_EQ(answer->status, 0);
    EXPECT_EQ(answer->index, 0);
    EXPECT_EQ(oidsOf(*answer), (std::vector{firstOID, ups + "2.3.0"}));
    EXPECT_EQ(answer->rows[0].value.text(), "SIM USV 10 kVA (UPS-MIB)");
    EXPECT_EQ(answer->rows[1].value.integer(), 42);
}

TEST(UPSAgent, EchoesCommunityAndRequestID) {
    for (const auto id : {std::int64_t(0), std::int64_t(-1), std::int64_t(0x7FFFFFFF)}) {
        const auto answer = asked({.pdu = get, .oids = {firstOID}, .community = "bühne 7", .id = id});
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->community, "bühne 7");
        EXPECT_EQ(answer->id, id);
    }
}

TEST(UPSAgent, WhatItDoesNotKnowIsNoSuchObject) {
    const std::vector<std::string> oids{"1.3.6.1.2.1.1.2.0", "1.3.6.1.2.1.1.1", lastOID + ".0", "0.0", "2.39.1"};
    const auto answer = asked({.pdu = get, .oids = oids});
    ASSERT_TRUE(answer);
    EXPECT_EQ(oidsOf(*answer), oids);
    EXPECT_EQ(answer->tags, std::vector<std::uint8_t>(oids.size(), 0x80));
}

TEST(UPSAgent, TellsTheWholeTableInTheOrderOfItsNumbers) {
    const auto answer = asked({.pdu = getBulk, .oids = {"1.3"}, .b = 50});
    ASSERT_TRUE(answer);
    const std::vector<std::string> expected{firstOID,
                                            "1.3.6.1.2.1.1.3.0",
                                            "1.3.6.1.2.1.1.5.0",
                                            ups + "1.1.0",
                                            ups + "1.2.0",
                                            ups + "2.1.0",
                                            ups + "2.2.0",
                                            ups + "2.3.0",
                                            ups + "2.4.0",
                                            ups + "2.5.0",
                                            ups + "2.7.0",
                                            ups + "3.3.1.2.1",
                                            ups + "3.3.1.3.1",
                                            ups + "3.3.1.3.2",
                                            ups + "3.3.1.3.3",
                                            ups + "4.1.0",
                                            ups + "4.2.0",
                                            ups + "4.4.1.2.1",
                                            ups + "4.4.1.2.2",
                                            ups + "4.4.1.2.3",
                                            ups + "4.4.1.3.1",
                                            ups + "4.4.1.3.2",
                                            ups + "4.4.1.3.3",
                                            ups + "4.4.1.4.1",
                                            ups + "4.4.1.4.2",
                                            ups + "4.4.1.4.3",
                                            ups + "4.4.1.5.1",
                                            ups + "4.4.1.5.2",
                                            ups + "4.4.1.5.3",
                                            lastOID,
                                            lastOID};
    EXPECT_EQ(oidsOf(*answer), expected) << "the last one is the end of the view";
    EXPECT_EQ(answer->tags.back(), 0x82);
    EXPECT_EQ(answer->tags[1], 0x43) << "sysUpTime is a time";
    EXPECT_EQ(answer->tags[29], 0x42) << "upsAlarmsPresent is a gauge";
}

TEST(UPSAgent, OIDsCompareAsNumbers) {
    // As texts, 10 and 33 come before 5 and 4.
    auto answer = asked({.pdu = getNext, .oids = {"1.3.6.1.2.1.1.10", "1.3.6.1.2.1.4", ups + "2.10", ups + "4.4.1.5.10"}});
    ASSERT_TRUE(answer);
    EXPECT_EQ(oidsOf(*answer), (std::vector{ups + "1.1.0", ups + "1.1.0", ups + "3.3.1.2.1", lastOID}));
}

TEST(UPSAgent, NextIsTheFirstAbove) {
    const auto answer = asked({.pdu = getNext, .oids = {"0.0", firstOID, "1.3.6.1.2.1.1.1", "1.3.6.1.2.1.1.1.0.0"}});
    ASSERT_TRUE(answer);
    EXPECT_EQ(oidsOf(*answer), (std::vector<std::string>{firstOID, "1.3.6.1.2.1.1.3.0", firstOID, "1.3.6.1.2.1.1.3.0"}));
}

TEST(UPSAgent, NextOfTheLastIsTheEndOfTheView) {
    const auto answer = asked({.pdu = getNext, .oids = {lastOID, "2.1"}});
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->rows, (std::vector{SNMPRow{lastOID, endOfView}, SNMPRow{"2.1", endOfView}}));
    EXPECT_EQ(answer->tags, (std::vector<std::uint8_t>{0x82, 0x82}));
}

TEST(UPSAgent, BulkHonoursNonRepeatersAndRepetitions) {
    const std::vector oids{firstOID, ups + "4.4.1.2", ups + "4.4.1.5"};
    struct Row {
        std::int64_t nonRepeaters, repetitions;
        std::vector<std::string> expected;
    };
    const std::string sysUpTime = "1.3.6.1.2.1.1.3.0";
    for (const auto& [nonRepeaters, repetitions, expected] :
         {Row{1, 2, {sysUpTime, ups + "4.4.1.2.1", ups + "4.4.1.5.1", ups + "4.4.1.2.2", ups + "4.4.1.5.2"}},
          Row{1, 0, {sysUpTime}}, Row{1, -5, {sysUpTime}}, Row{-1, 1, {sysUpTime, ups + "4.4.1.2.1", ups + "4.4.1.5.1"}},
          Row{9, 3, {sysUpTime, ups + "4.4.1.2.1", ups + "4.4.1.5.1"}}}) {
        const auto answer = asked({.pdu = getBulk, .oids = oids, .a = nonRepeaters, .b = repetitions});
        ASSERT_TRUE(answer);
        EXPECT_EQ(oidsOf(*answer), expected) << nonRepeaters << ", " << repetitions;
    }
}

TEST(UPSAgent, BulkRepeatsFiftyTimesAtMost) {
    // Two columns, so that the end of the one does not end the other.
    const auto count = [](std::int64_t repetitions) {
        std::vector<std::string> oids(5, "1.3");
        oids.push_back(lastOID);
        const auto answer = asked({.pdu = getBulk, .oids = oids, .b = repetitions});
        return answer ? answer->rows.size() / oids.size() : 0;
    };
    EXPECT_EQ(count(10), 10U);
    // Thirty variables and the end of the view, told once.
    EXPECT_EQ(count(50), 31U);
    EXPECT_EQ(count(0x7FFFFFFF), 31U);
}

TEST(UPSAgent, AnswersFitADatagram) {
    const std::vector<std::string> many(400, firstOID);
    const auto bulk = asked({.pdu = getBulk, .oids = many, .b = 50});
    ASSERT_TRUE(bulk);
    EXPECT_LE(bulk->size, UPSAgent::longestAnswer);
    EXPECT_GT(bulk->size, UPSAgent::longestAnswer - 200) << "as much as fits";
    EXPECT_EQ(bulk->status, 0);
    const std::vector<std::string> tooMany(2000, firstOID);
    const auto refused = asked({.pdu = get, .oids = tooMany});
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->status, 1) << "tooBig";
    EXPECT_TRUE(refused->rows.empty());
    EXPECT_EQ(asked({.pdu = get, .oids = {firstOID}, .community = std::string(60000, 'c')}), std::nullopt);
}

TEST(UPSAgent, ARequestForNothingIsAnsweredWithNothing) {
    for (const auto pdu : {get, getNext, getBulk}) {
        const auto answer = asked({.pdu = pdu, .oids = {}, .b = 50});
        ASSERT_TRUE(answer);
        EXPECT_TRUE(answer->rows.empty());
    }
}

TEST(UPSAgent, BadPacketsGetNoAnswer) {
    const auto good = Request{.pdu = get, .oids = {firstOID}}.bytes();
    ASSERT_TRUE(UPSAgent::respond(good, {}));
    for (std::size_t size = 0; size < good.size(); ++size)
        EXPECT_FALSE(UPSAgent::respond(base::Bytes(good).first(size), {})) << size << " bytes";
    for (const auto pdu : {set, response, std::uint8_t(0xA4), std::uint8_t(0xA7), std::uint8_t(0x30)})
        EXPECT_FALSE(asked({.pdu = pdu, .oids = {firstOID}})) << int(pdu);
    EXPECT_FALSE(asked({.pdu = get, .oids = {firstOID}, .version = 0}));
    EXPECT_FALSE(asked({.pdu = get, .oids = {firstOID}, .version = 3}));
    EXPECT_FALSE(asked({.pdu = get, .oids = {"1.3.4294967296"}})) << "beyond 32 bits";
}

TEST(UPSAgent, OfflineItIsSilent) {
    for (const auto pdu : {get, getNext, getBulk})
        EXPECT_FALSE(asked({.pdu = pdu, .oids = {firstOID}, .b = 5}, faulty({.offline = true})));
}

TEST(UPSAgent, TimeSinceTheStartIsTold) {
    const auto upTime = [](base::Seconds running) {
        return asked({.pdu = get, .oids = {"1.3.6.1.2.1.1.3.0"}}, {.running = running, .onBattery = {}, .faults = {}})
            ->rows[0]
            .value;
    };
    EXPECT_EQ(upTime(0s), SNMPValue(SNMPValue::Ticks{0}));
    EXPECT_EQ(upTime(12340ms), SNMPValue(SNMPValue::Ticks{1234}));
    EXPECT_EQ(upTime(base::Seconds(42949672.96 + 5)), SNMPValue(SNMPValue::Ticks{500})) << "32 bits of hundredths";
}

TEST(UPSAgent, OnMainsEverythingIsWell) {
    struct Row {
        const char* end;
        double expected;
    };
    for (const auto& [end, expected] : {Row{"2.1.0", 2}, Row{"2.2.0", 0}, Row{"2.3.0", 42}, Row{"2.4.0", 100}, Row{"4.1.0", 3},
                                        Row{"4.2.0", 500}, Row{"6.1.0", 0}})
        EXPECT_EQ(number(end, faulty({})), expected) << end;
    for (const char* phase : {"1", "2", "3"}) {
        EXPECT_NEAR(*number(std::string("3.3.1.3.") + phase), 230, 2);
        EXPECT_NEAR(*number(std::string("4.4.1.2.") + phase), 230, 2);
    }
    EXPECT_NEAR(*number("3.3.1.2.1"), 500, 2);
    const double volts = *number("2.5.0") / 10;
    EXPECT_GT(volts / 96, 1.8) << "a cell";
    EXPECT_LT(volts / 96, 2.4);
}

TEST(UPSAgent, LoadsFollowTheClockPhaseByPhase) {
    struct Row {
        double seconds;
        double first, second, third;
    };
    // sin(t / 20) × 6 + 38, cut; 31.416 is the crest, 94.248 the trough.
    for (const auto& [seconds, first, second, third] : {Row{0, 38, 41, 44}, Row{31.4159, 43, 46, 49}, Row{94.25, 32, 35, 38}}) {
        const Scene scene{.running = base::Seconds(seconds), .onBattery = {}, .faults = {}};
        EXPECT_EQ(number("4.4.1.5.1", scene), first) << seconds;
        EXPECT_EQ(number("4.4.1.5.2", scene), second) << seconds;
        EXPECT_EQ(number("4.4.1.5.3", scene), third) << seconds;
    }
    EXPECT_NEAR(*number("4.4.1.3.1") / 10, 10000.0 / 3 * 0.38 / 230, 0.1) << "A";
    EXPECT_NEAR(*number("4.4.1.4.1"), 10000.0 / 3 * 0.38 * 0.9, 1) << "W";
}

TEST(UPSAgent, OnBatteryMinutesAndChargeFallToTheirFloors) {
    struct Row {
        double seconds, minutes, charge;
    };
    for (const auto& [seconds, minutes, charge] :
         {Row{0, 38, 100}, Row{11.9, 38, 100}, Row{12, 38, 99}, Row{29.9, 38, 98}, Row{30, 37, 98}, Row{600, 18, 50},
          Row{959.9, 7, 21}, Row{960, 6, 20}, Row{971, 6, 20}, Row{972, 6, 20}, Row{1019, 5, 20}, Row{1020, 5, 20},
          Row{100000, 5, 20}}) {
        const auto scene = onBatteryFor(base::Seconds(seconds));
        EXPECT_EQ(number("2.3.0", scene), minutes) << seconds;
        EXPECT_EQ(number("2.4.0", scene), charge) << seconds;
        EXPECT_EQ(number("2.2.0", scene), std::floor(seconds));
    }
}

TEST(UPSAgent, OnBatteryTheInputIsDead) {
    const auto scene = onBatteryFor(5s);
    EXPECT_EQ(number("4.1.0", scene), 5);
    EXPECT_EQ(number("6.1.0", scene), 1);
    EXPECT_EQ(number("2.1.0", scene), 2);
    for (const char* phase : {"1", "2", "3"}) {
        EXPECT_EQ(number(std::string("3.3.1.3.") + phase, scene), 0);
        EXPECT_NEAR(*number(std::string("4.4.1.2.") + phase, scene), 230, 2);
    }
    EXPECT_LT(*number("2.5.0", scene), *number("2.5.0"));
    EXPECT_LT(*number("2.5.0", onBatteryFor(900s)), *number("2.5.0", scene)) << "it falls with the charge";
}

TEST(UPSAgent, ALowBatteryIsLowOnMainsAndOnBattery) {
    for (const auto& scene : {faulty({.lowBattery = true}), faulty({.onBattery = true, .lowBattery = true}, 3s)}) {
        EXPECT_EQ(number("2.1.0", scene), 3);
        EXPECT_EQ(number("2.3.0", scene), 4);
        EXPECT_EQ(number("2.4.0", scene), 18);
    }
}

TEST(UPSAgent, AnOverloadIsOnEveryPhase) {
    for (const char* end : {"4.4.1.5.1", "4.4.1.5.2", "4.4.1.5.3"}) EXPECT_EQ(number(end, faulty({.overload = true})), 104);
}

TEST(UPSAgent, TheBypassIsTheSourceUnlessTheMainsAreGone) {
    EXPECT_EQ(number("4.1.0", faulty({.bypass = true})), 4);
    EXPECT_EQ(number("4.1.0", faulty({.onBattery = true, .bypass = true}, 1s)), 5);
}

TEST(UPSAgent, CountsTheFaultsAsAlarms) {
    EXPECT_EQ(number("6.1.0", faulty({.onBattery = true, .lowBattery = true, .overload = true, .bypass = true}, 1s)), 4);
}

}  // namespace netcore
