#include "MeterCore/ModbusTCPClient.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "MeterCore/ModbusError.hpp"
#include "MeterCore/ModbusVectors.hpp"
#include "Support/ScriptedPeer.hpp"

namespace metercore {

using namespace std::chrono_literals;
using Registers = std::vector<std::uint16_t>;

namespace {

constexpr std::uint8_t unit = 1;

/// Reads one request and answers with this body, under the request's transaction id.
ScriptedPeer::Script answering(Octets body) {
    return [body](ScriptedPeer::Connection& connection) {
        const auto request = connection.read(ModbusFrame::requestSize);
        if (request.size() < ModbusFrame::requestSize) return;
        Octets frame = {request[0], request[1], 0, 0, 0, static_cast<std::uint8_t>(body.size() + 1), unit};
        frame.insert(frame.end(), body.begin(), body.end());
        connection.send(frame);
        connection.waitForClose();
    };
}

/// Reads one request, sends these bytes as they are, then waits or closes.
ScriptedPeer::Script sending(Octets bytes, bool thenCloses = false) {
    return [bytes, thenCloses](ScriptedPeer::Connection& connection) {
        connection.read(ModbusFrame::requestSize);
        connection.send(bytes);
        if (!thenCloses) connection.waitForClose();
    };
}

const Octets fiftyHertz = {3, 4, 0x42, 0x48, 0x00, 0x00};

std::string failure(ModbusTCPClient& client, std::uint16_t count = 2) {
    try {
        client.readRegisters(3, 19050, count);
        return "";
    } catch (const ModbusError& error) {
        return error.description();
    }
}

std::string failureOf(ScriptedPeer::Script script, base::Seconds timeout = 2s) {
    ScriptedPeer peer({std::move(script)});
    ModbusTCPClient client("127.0.0.1", peer.port(), unit, timeout);
    auto text = failure(client);
    EXPECT_FALSE(client.isConnected()) << "any failure closes";
    return text;
}

}  // namespace

TEST(ModbusTCPClient, SendsTheStandardsFrames) {
    for (const auto& vector : vectors::requests) {
        if (vector.header.transactionID != 1) continue;  // the first of a client
        Octets seen;
        ScriptedPeer peer({[&seen](ScriptedPeer::Connection& connection) { seen = connection.read(ModbusFrame::requestSize); }});
        ModbusTCPClient client("127.0.0.1", peer.port(), vector.header.unitID, 1s);
        EXPECT_THROW(client.readRegisters(vector.function, vector.address, vector.value), ModbusError);
        peer.join();
        EXPECT_EQ(seen, vector.bytes) << vector.name;
    }
}

TEST(ModbusTCPClient, ReadsRegistersAndStaysConnected) {
    ScriptedPeer peer({[](ScriptedPeer::Connection& connection) {
        for (const std::uint8_t value : {7, 8}) {
            const auto request = connection.read(ModbusFrame::requestSize);
            connection.send(Octets{request[0], request[1], 0, 0, 0, 5, unit, 4, 2, 0, value});
        }
        connection.waitForClose();
    }});
    ModbusTCPClient client("127.0.0.1", peer.port(), unit, 2s);
    EXPECT_FALSE(client.isConnected()) << "it connects at the first call";
    EXPECT_EQ(client.readRegisters(4, 0, 1), Registers{7});
    EXPECT_TRUE(client.isConnected());
    EXPECT_EQ(client.readRegisters(4, 0, 1), Registers{8});
    client.close();
    client.close();
    EXPECT_FALSE(client.isConnected());
    peer.join();
    EXPECT_EQ(peer.connections(), 1u);
}

TEST(ModbusTCPClient, WritesOneRegister) {
    ScriptedPeer peer({answering({6, 0x01, 0xFA, 0x00, 0x01}), answering({6, 0x01, 0xFA, 0x00, 0x00})});
    ModbusTCPClient client("127.0.0.1", peer.port(), unit, 2s);
    client.writeSingleRegister(506, 1);
    client.connect();
    try {
        client.writeSingleRegister(506, 1);
        FAIL() << "a wrong confirmation went through";
    } catch (const ModbusError& error) {
        EXPECT_EQ(error.description(), "Ungültige Antwort: Ungültige Bestätigung beim Schreiben");
    }
    EXPECT_FALSE(client.isConnected());
}

TEST(ModbusTCPClient, AcceptsAnotherUnitIdAndProtocol) {
    ScriptedPeer peer({sending({0, 1, 0x55, 0x55, 0, 7, 99, 3, 4, 0x42, 0x48, 0, 0})});
    ModbusTCPClient client("127.0.0.1", peer.port(), unit, 2s);
    EXPECT_EQ(client.readRegisters(3, 19050, 2), (Registers{0x4248, 0}));
}

TEST(ModbusTCPClient, DropsALateAnswerAndWaitsForTheRightOne) {
    ScriptedPeer peer({sending({0,    0,    0, 0, 0, 5, unit, 3,    2, 0xAA, 0xAA,  // of an earlier request
                                0x12, 0x34, 0, 0, 0, 3, unit, 0x83, 2,              // of none
                                0,    1,    0, 0, 0, 7, unit, 3,    4, 0x42, 0x48, 0x00, 0x00})});
    ModbusTCPClient client("127.0.0.1", peer.port(), unit, 2s);
    EXPECT_EQ(client.readRegisters(3, 19050, 2), (Registers{0x4248, 0}));
    EXPECT_TRUE(client.isConnected());
}

TEST(ModbusTCPClient, APeerThatAnswersOtherRequestsForEverIsGivenUp) {
    const auto flood = [](ScriptedPeer::Connection& connection) {
        connection.read(ModbusFrame::requestSize);
        for (int i = 0; i < 5000; ++i) connection.send(Octets{0x12, 0x34, 0, 0, 0, 3, unit, 0x83, 2});
    };
    EXPECT_EQ(failureOf(flood, 10s), "Zeitüberschreitung – Gerät antwortet nicht");
}

TEST(ModbusTCPClient, PutsAnAnswerTogetherFromSingleBytes) {
    ScriptedPeer peer({[](ScriptedPeer::Connection& connection) {
        connection.read(ModbusFrame::requestSize);
        for (const std::uint8_t byte : Octets{0, 1, 0, 0, 0, 7, unit, 3, 4, 0x42, 0x48, 0, 0}) {
            connection.send(Octets{byte});
            std::this_thread::yield();
        }
        connection.waitForClose();
    }});
    ModbusTCPClient client("127.0.0.1", peer.port(), unit, 2s);
    EXPECT_EQ(client.readRegisters(3, 19050, 2), (Registers{0x4248, 0}));
}

TEST(ModbusTCPClient, AnExceptionClosesAndTheNextCallReconnects) {
    ScriptedPeer peer({answering({0x83, 2}), answering(fiftyHertz)});
    ModbusTCPClient client("127.0.0.1", peer.port(), unit, 2s);
    EXPECT_EQ(failure(client), "Modbus-Exception 2: Ungültige Registeradresse");
    EXPECT_FALSE(client.isConnected());
    EXPECT_EQ(client.readRegisters(3, 19050, 2), (Registers{0x4248, 0}));
    EXPECT_EQ(peer.connections(), 2u);
}

TEST(ModbusTCPClient, BytesOfADroppedConnectionDoNotReachTheNext) {
    // The garbled frame is followed by what looks like the answer to the next request.
    ScriptedPeer peer(
        {sending({0, 1, 0, 0, 0, 3, unit, 0x83, 2, 0, 2, 0, 0, 0, 7, unit, 3, 4, 1, 1, 1, 1}), answering(fiftyHertz)});
    ModbusTCPClient client("127.0.0.1", peer.port(), unit, 2s);
    EXPECT_EQ(failure(client), "Modbus-Exception 2: Ungültige Registeradresse");
    EXPECT_EQ(client.readRegisters(3, 19050, 2), (Registers{0x4248, 0}));
}

TEST(ModbusTCPClient, TellsBadAnswersApart) {
    struct Row {
        const char* why;
        ScriptedPeer::Script script;
        const char* expected;
    };
    const std::vector<Row> rows = {
        {"one byte", answering({0x83}), "Modbus-Exception 0: Unbekannt"},
        {"another function", answering({4, 4, 0, 0, 0, 0}), "Ungültige Antwort: Funktionscode 4"},
        {"too few registers", answering({3, 2, 0, 0}), "Ungültige Antwort: Byteanzahl 2, erwartet 4"},
        {"length 261", sending({0, 1, 0, 0, 0x01, 0x05, unit}), "Ungültige Antwort: Länge 261"},
        {"length 1", sending({0, 1, 0, 0, 0, 1, unit}), "Ungültige Antwort: Länge 1"},
        {"length 0 of another transaction", sending({9, 9, 0, 0, 0, 0, unit}), "Ungültige Antwort: Länge 0"},
        {"closed at once", sending({}, true), "Verbindung wurde vom Gerät geschlossen"},
        {"closed in the header", sending({0, 1, 0}, true), "Verbindung wurde vom Gerät geschlossen"},
        {"closed in the body", sending({0, 1, 0, 0, 0, 7, unit, 3, 4}, true), "Verbindung wurde vom Gerät geschlossen"},
    };
    for (const auto& row : rows) EXPECT_EQ(failureOf(row.script), row.expected) << row.why;
}

TEST(ModbusTCPClient, ASilentPeerTakesOneTimeLimit) {
    for (const auto& [what, bytes] : std::initializer_list<std::pair<const char*, Octets>>{
             {"nothing", {}}, {"half a header", {0, 1, 0}}, {"half a body", {0, 1, 0, 0, 0, 7, unit, 3}}}) {
        const auto begun = std::chrono::steady_clock::now();
        EXPECT_EQ(failureOf(sending(bytes), 0.3s), "Zeitüberschreitung – Gerät antwortet nicht") << what;
        const auto elapsed = std::chrono::steady_clock::now() - begun;
        EXPECT_GE(elapsed, 0.29s) << what;
        EXPECT_LT(elapsed, 0.6s) << what << ": not two time limits";
    }
}

TEST(ModbusTCPClient, AFailureToConnectLeavesItUnconnected) {
    std::uint16_t port = 0;
    {
        ScriptedPeer gone({});
        port = gone.port();
    }
    ModbusTCPClient client("127.0.0.1", port, unit, 1s);
    EXPECT_EQ(failure(client), "Verbindung fehlgeschlagen: Connection refused");
    EXPECT_THROW(client.connect(), ModbusError);
    EXPECT_FALSE(client.isConnected());
    ModbusTCPClient unplugged("127.0.0.1", port, unit, 1s, "gibtsnicht0");
    EXPECT_EQ(failure(unplugged), "Verbindung fehlgeschlagen: Adapter gibtsnicht0 ist nicht vorhanden");
}

TEST(ModbusTCPClient, ConnectDropsTheOldConnection) {
    bool closed = false;
    ScriptedPeer peer({[&closed](ScriptedPeer::Connection& connection) { closed = connection.waitForClose(); },
                       [](ScriptedPeer::Connection& connection) { connection.waitForClose(); }});
    ModbusTCPClient client("127.0.0.1", peer.port(), unit, 2s);
    client.connect();
    client.connect();
    EXPECT_TRUE(client.isConnected());
    client.close();
    peer.join();
    EXPECT_TRUE(closed);
    EXPECT_EQ(peer.connections(), 2u);
}

TEST(ModbusTCPClient, ClosesWhenDestroyed) {
    bool closed = false;
    ScriptedPeer peer({[&closed](ScriptedPeer::Connection& connection) { closed = connection.waitForClose(); }});
    {
        ModbusTCPClient client("127.0.0.1", peer.port(), unit, 2s);
        client.connect();
    }
    peer.join();
    EXPECT_TRUE(closed);
}

TEST(ModbusTCPClient, TransactionIdsWrapWithoutAPause) {
    constexpr int requests = 65600, batch = 400;
    int seen = 0;
    ScriptedPeer peer({[&seen](ScriptedPeer::Connection& connection) {
        while (seen < requests) {
            // The answers go ahead of their requests: what counts here is the order of the ids, not who waits for whom.
            Octets answers;
            for (int id = seen + 1; id <= seen + batch; ++id) {
                const auto high = static_cast<std::uint8_t>(id >> 8), low = static_cast<std::uint8_t>(id);
                for (const std::uint8_t byte : Octets{high, low, 0, 0, 0, 5, unit, 3, 2, high, low}) answers.push_back(byte);
            }
            connection.send(answers);
            const auto asked = connection.read(batch * ModbusFrame::requestSize);
            for (std::size_t at = 0; at + ModbusFrame::requestSize <= asked.size(); at += ModbusFrame::requestSize)
                if (static_cast<std::uint16_t>(asked[at] << 8 | asked[at + 1]) != static_cast<std::uint16_t>(++seen)) return;
            if (asked.size() < batch * ModbusFrame::requestSize) return;
        }
    }});
    ModbusTCPClient client("127.0.0.1", peer.port(), unit, 5s);
    for (int id = 1; id <= requests; ++id) ASSERT_EQ(client.readRegisters(3, 0, 1), Registers{static_cast<std::uint16_t>(id)});
    peer.join();
    EXPECT_EQ(seen, requests);
    EXPECT_EQ(peer.connections(), 1u);
}

TEST(ModbusTCPClient, OneRequestIsUnderWayHoweverManyThreadsCall) {
    constexpr int threads = 4, reads = 50;
    ScriptedPeer peer({[](ScriptedPeer::Connection& connection) {
        for (int i = 0; i < threads * reads; ++i) {
            const auto request = connection.read(ModbusFrame::requestSize);
            if (request.size() != ModbusFrame::requestSize) return;
            connection.send(Octets{request[0], request[1], 0, 0, 0, 5, unit, 3, 2, request[8], request[9]});
        }
        connection.waitForClose();
    }});
    ModbusTCPClient client("127.0.0.1", peer.port(), unit, 2s);
    std::atomic<int> right = 0;
    std::vector<std::thread> callers;
    for (int t = 0; t < threads; ++t)
        callers.emplace_back([&client, &right, t] {
            for (int i = 0; i < reads; ++i) {
                const auto address = static_cast<std::uint16_t>(1000 * t + i);
                right += client.readRegisters(3, address, 1) == Registers{address};
            }
        });
    for (auto& caller : callers) caller.join();
    EXPECT_EQ(right, threads * reads);
}

TEST(ModbusTCPClientDeathTest, WrongFunctionsAndCountsAreProgrammingErrors) {
    ModbusTCPClient client("127.0.0.1", 9, unit, 1s);
    EXPECT_DEATH(client.readRegisters(3, 0, 0), "1 to 125 registers");
    EXPECT_DEATH(client.readRegisters(3, 0, 126), "1 to 125 registers");
    EXPECT_DEATH(client.readRegisters(6, 0, 1), "function 3 or 4");
}

TEST(ModbusTCPClient, Reads125Registers) {
    ScriptedPeer peer({[](ScriptedPeer::Connection& connection) {
        const auto request = connection.read(ModbusFrame::requestSize);
        connection.send(ModbusFrame::encodeReadAnswer(*ModbusFrame::parseHeader(request), 3, Registers(125, 0x1234)));
        connection.waitForClose();
    }});
    ModbusTCPClient client("127.0.0.1", peer.port(), unit, 2s);
    EXPECT_EQ(client.readRegisters(3, 0, 125), Registers(125, 0x1234));
}

}  // namespace metercore
