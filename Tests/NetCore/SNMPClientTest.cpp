#include "NetCore/SNMPClient.hpp"

#include <pthread.h>

#include <atomic>
#include <csignal>
#include <set>

#include "Base/Clock.hpp"
#include "NetCore/LoopbackAgent.hpp"
#include "NetCore/NetError.hpp"
#include "NetCore/SNMPMessage.hpp"
#include "Support/WithoutSockets.hpp"

using namespace netcore;
using namespace std::chrono_literals;
using snmp::LoopbackAgent;
using Octets = std::vector<std::uint8_t>;
using Request = LoopbackAgent::Request;

namespace {

constexpr double patience = 5, shortly = 0.03;  // seconds
const Octets seven{0x02, 1, 7}, endOfView{0x82, 0};

SNMPClient clientOf(const LoopbackAgent& agent, double timeout = patience, int retries = 0) {
    return {"127.0.0.1", "public", timeout, retries, agent.port()};
}

// What a call failed with; "none" when it did not.
template <class Call>
std::string failureOf(Call call) {
    try {
        call();
    } catch (const NetError& error) {
        return error.description();
    }
    return "none";
}

base::Seconds timeOf(const std::function<void()>& function) {
    const auto begun = base::SystemClock::shared().steadyNow();
    function();
    return base::SystemClock::shared().steadyNow() - begun;
}

/// A table with rows <base>.1 … <base>.<rows> and nothing else, answered page by page.
LoopbackAgent::Script tableOf(const std::string& base, int rows) {
    return [base, rows](LoopbackAgent& agent, const Request& request) {
        const auto& cursor = request.oids.at(0);
        const int last = cursor == base ? 0 : std::stoi(cursor.substr(base.size() + 1));
        Octets list;
        for (int row = last + 1; row <= last + request.b; ++row) {
            const auto next = snmp::binding(base + "." + std::to_string(row), row <= rows ? seven : endOfView);
            list.insert(list.end(), next.begin(), next.end());
            if (row > rows) break;
        }
        agent.answer(request, list);
    };
}

std::vector<SNMPRow> sevens(const std::string& base, int count) {
    std::vector<SNMPRow> rows;
    for (int row = 1; row <= count; ++row) rows.push_back({base + "." + std::to_string(row), SNMPValue(std::int64_t(7))});
    return rows;
}

LoopbackAgent::Script silent() {
    return [](LoopbackAgent&, const Request&) {};
}

}  // namespace

TEST(SNMPClient, GetsAllInOneRequest) {
    LoopbackAgent agent([](LoopbackAgent& self, const Request& request) {
        self.answer(request, snmp::join({snmp::binding("1.3.6.1.1", seven), snmp::binding("1.3.6.1.2", endOfView)}));
    });
    const SNMPClient client("127.0.0.1", "bühne", patience, 0, agent.port());
    const auto values = client.get({"1.3.6.1.1", "1.3.6.1.2"});
    EXPECT_EQ(values, (std::map<std::string, SNMPValue>{{"1.3.6.1.1", SNMPValue(std::int64_t(7))},
                                                        {"1.3.6.1.2", SNMPValue(SNMPValue::NoSuch{})}}));
    const auto requests = agent.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].community, "bühne");
    EXPECT_EQ(requests[0].pdu, 0xA0);
    EXPECT_EQ(requests[0].a, 0);
    EXPECT_EQ(requests[0].b, 0);
    EXPECT_EQ(requests[0].oids, (std::vector<std::string>{"1.3.6.1.1", "1.3.6.1.2"}));
}

TEST(SNMPClient, KeepsWhatTheAgentReturnedAndTheLaterOfTwo) {
    LoopbackAgent agent([](LoopbackAgent& self, const Request& request) {
        self.answer(request, snmp::join({snmp::binding("1.3.6.9", {0x02, 1, 1}), snmp::binding("1.3.6.9", {0x02, 1, 2})}));
    });
    EXPECT_EQ(clientOf(agent).get({"1.3.6.1.1"}), (std::map<std::string, SNMPValue>{{"1.3.6.9", SNMPValue(std::int64_t(2))}}));
}

TEST(SNMPClient, DrawsAnIDForEachRequest) {
    LoopbackAgent agent([](LoopbackAgent& self, const Request& request) { self.answer(request, {}); });
    std::set<std::int64_t> ids;
    for (int i = 0; i < 20; ++i) clientOf(agent).get({"1.3.6.1.1"});
    for (const auto& request : agent.requests()) {
        EXPECT_GE(request.id, 1);
        EXPECT_LE(request.id, 0x7FFFFFFF);
        ids.insert(request.id);
    }
    EXPECT_GT(ids.size(), 15u);
}

TEST(SNMPClient, TriesAgainOnlyAfterATimeout) {
    LoopbackAgent agent([](LoopbackAgent& self, const Request& request) {
        if (self.requests().size() == 3) self.answer(request, snmp::binding("1.3.6.1.1", seven));
    });
    EXPECT_EQ(clientOf(agent, shortly, 2).get({"1.3.6.1.1"}).size(), 1u);
    const auto requests = agent.requests();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[0].id, requests[1].id) << "tries of one request share its id";
    EXPECT_EQ(requests[1].id, requests[2].id);
}

TEST(SNMPClient, GivesUpAfterTheLastTry) {
    LoopbackAgent agent(silent());
    std::string failure;
    const auto time = timeOf([&] { failure = failureOf([&] { clientOf(agent, shortly, 1).get({"1.3.6.1.1"}); }); });
    EXPECT_EQ(failure, "Zeitüberschreitung");
    EXPECT_EQ(agent.requests().size(), 2u);
    EXPECT_GE(time, 60ms);
    EXPECT_LT(time, 2s);
}

TEST(SNMPClient, HearsNoLateAnswerToAnEarlierTry) {
    std::optional<Request> first;  // on the agent's thread alone
    LoopbackAgent agent([&first](LoopbackAgent& self, const Request& request) {
        if (!first) {
            first = request;
            return;
        }
        self.answer(*first, snmp::binding("1.3.6.1.1", {0x02, 1, 1}));
        self.answer(request, snmp::binding("1.3.6.1.1", {0x02, 1, 2}));
    });
    EXPECT_EQ(clientOf(agent, 0.1, 1).get({"1.3.6.1.1"}).at("1.3.6.1.1").integer(), 2);
}

TEST(SNMPClient, FailsAtOnceOnWhatIsNoAnswer) {
    struct Row {
        std::function<Octets(const Request&)> answer;
        const char* failure;
    };
    for (const auto& [answer, failure] : std::initializer_list<Row>{
             {[](const Request& request) { return snmp::message(snmp::responsePDU(request.id ^ 1, 0, 0, {})); },
              "SNMP: falsche Antwort-ID"},
             {[](const Request& request) { return snmp::message(snmp::responsePDU(request.id, 2, 1, {})); }, "SNMP-Fehler 2"},
             {[](const Request&) { return Octets{0x30}; }, "SNMP: Paket zu kurz"},
             {[](const Request&) {
                  return Octets{0x30, 0x7F, 0x02};
              },
              "SNMP: Länge"},
             {[](const Request&) {
                  return Octets{0x31, 0x00};
              },
              "SNMP: unerwartetes Tag 49"}}) {
        LoopbackAgent agent([&answer](LoopbackAgent& self, const Request& request) { self.send(request, answer(request)); });
        EXPECT_EQ(failureOf([&] { clientOf(agent, patience, 3).get({"1.3.6.1.1"}); }), failure);
        EXPECT_EQ(agent.requests().size(), 1u) << failure;
    }
}

TEST(SNMPClient, TakesAnEmptyDatagramForNoAnswer) {
    LoopbackAgent agent([](LoopbackAgent& self, const Request& request) {
        if (self.requests().size() == 1)
            self.send(request, {});
        else
            self.answer(request, snmp::binding("1.3.6.1.1", seven));
    });
    const auto time = timeOf([&] { EXPECT_EQ(clientOf(agent, patience, 1).get({"1.3.6.1.1"}).size(), 1u); });
    EXPECT_EQ(agent.requests().size(), 2u);
    EXPECT_LT(time, base::Seconds(patience / 2)) << "the next try follows at once";
}

TEST(SNMPClient, ResolvesNoNames) {
    for (const auto* host : {"switch.local", "localhost", "", "10.0.0", "::1", "127.0.0.1 "}) {
        const SNMPClient client(host, "public", patience, 3, 161);
        const auto time =
            timeOf([&] { EXPECT_EQ(failureOf([&] { client.get({"1.3.6.1.1"}); }), std::string("Ungültige IP ") + host); });
        EXPECT_LT(time, 1s);
    }
}

TEST(SNMPClient, TellsWhatTheSystemRefuses) {
    std::vector<std::string> tooMany(8000, "1.3.6.1.2.1.1.1.0");
    const SNMPClient client("127.0.0.1", "public", patience, 3, 161);
    EXPECT_EQ(failureOf([&] { client.get(tooMany); }), "Netzwerkfehler: Message too long");
    const SNMPClient nowhere("switch.local", "public", patience, 3, 161);
    std::string failure;
    if (!withoutSockets([&] { failure = failureOf([&] { nowhere.get({"1.3.6.1.1"}); }); }))
        GTEST_SKIP() << "this system cannot refuse sockets";
    EXPECT_EQ(failure, "Netzwerkfehler: Too many open files") << "the socket comes before the address";
}

TEST(SNMPClient, WalksATablePageByPage) {
    LoopbackAgent agent(tableOf("1.3.6.1.9", 60));
    EXPECT_EQ(clientOf(agent).walk("1.3.6.1.9", 2000), sevens("1.3.6.1.9", 60));
    const auto requests = agent.requests();
    ASSERT_EQ(requests.size(), 3u);
    const char* cursors[] = {"1.3.6.1.9", "1.3.6.1.9.25", "1.3.6.1.9.50"};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(requests[i].pdu, 0xA5);
        EXPECT_EQ(requests[i].a, 0);
        EXPECT_EQ(requests[i].b, 25);
        EXPECT_EQ(requests[i].oids, std::vector<std::string>{cursors[i]});
    }
}

TEST(SNMPClient, LooksAtTheLimitOnlyBetweenPages) {
    struct Row {
        int rows, limit, expected;
        std::size_t requests;
    };
    for (const auto& [rows, limit, expected, count] : std::initializer_list<Row>{
             {30, 10, 25, 1}, {30, 25, 25, 1}, {30, 26, 30, 2}, {30, 1, 25, 1}, {3, 1, 3, 1}, {60, 49, 50, 2}}) {
        LoopbackAgent agent(tableOf("1.3.6.1.9", rows));
        EXPECT_EQ(clientOf(agent).walk("1.3.6.1.9", limit), sevens("1.3.6.1.9", expected)) << limit;
        EXPECT_EQ(agent.requests().size(), count) << limit;
    }
}

TEST(SNMPClient, SendsNothingForNoRows) {
    LoopbackAgent agent(tableOf("1.3.6.1.9", 30));
    for (const int limit : {0, -1}) EXPECT_TRUE(clientOf(agent).walk("1.3.6.1.9", limit).empty());
    EXPECT_TRUE(agent.requests().empty());
}

TEST(SNMPClient, EndsAWalkWhereTheTableEnds) {
    const auto row = [](const std::string& oid, const Octets& value) { return snmp::binding(oid, value); };
    struct Row {
        const char* what;
        Octets page;
        int expected;
    };
    for (const auto& [what, page, expected] : std::initializer_list<Row>{
             {"an empty page", {}, 0},
             {"the end of the view", row("1.3.6.1.2.1.2.2.1.1.1", endOfView), 0},
             {"no such object", snmp::join({row("1.3.6.1.2.1.2.2.1.1.1", seven), row("1.3.6.1.2.1.2.2.1.1.2", {0x80, 0})}), 1},
             {"no such instance", row("1.3.6.1.2.1.2.2.1.1.1", {0x81, 0}), 0},
             {"another table whose number begins with the same digits", row("1.3.6.1.2.1.2.2.1.10.1", seven), 0},
             {"the base itself", row("1.3.6.1.2.1.2.2.1.1", seven), 0},
             {"no OID at all", {0x30, 5, 0x06, 0, 0x02, 1, 7}, 0},
             {"the next column amid a page",
              snmp::join(
                  {row("1.3.6.1.2.1.2.2.1.1.1", seven), row("1.3.6.1.2.1.2.2.1.2.1", seven), row("1.3.6.1.2.1.2.2.1.1.2", seven)}),
              1}}) {
        LoopbackAgent agent([&page](LoopbackAgent& self, const Request& request) { self.answer(request, page); });
        EXPECT_EQ(clientOf(agent).walk("1.3.6.1.2.1.2.2.1.1", 2000), sevens("1.3.6.1.2.1.2.2.1.1", expected)) << what;
        EXPECT_EQ(agent.requests().size(), 1u) << what;
    }
}

TEST(SNMPClient, StopsAnAgentThatRepeatsItselfAtTheLimit) {
    LoopbackAgent agent(
        [](LoopbackAgent& self, const Request& request) { self.answer(request, snmp::binding("1.3.6.1.9.1", seven)); });
    EXPECT_EQ(clientOf(agent).walk("1.3.6.1.9", 40).size(), 40u);
    EXPECT_EQ(agent.requests().size(), 40u);
}

TEST(SNMPClient, DropsTheRowsOfAWalkThatFails) {
    LoopbackAgent agent([page = tableOf("1.3.6.1.9", 60)](LoopbackAgent& self, const Request& request) {
        if (self.requests().size() < 3) page(self, request);
    });
    EXPECT_EQ(failureOf([&] { clientOf(agent, shortly, 1).walk("1.3.6.1.9", 2000); }), "Zeitüberschreitung");
    const auto requests = agent.requests();
    ASSERT_EQ(requests.size(), 4u);
    EXPECT_EQ(requests[3].oids, std::vector<std::string>{"1.3.6.1.9.50"}) << "the page that went unanswered is asked for again";
}

TEST(SNMPClient, ReadsTheLargestDatagrams) {
    LoopbackAgent agent([](LoopbackAgent& self, const Request& request) {
        Octets list;
        for (int row = 1; list.size() < 65000; ++row) {
            const auto next = snmp::binding("1.3.6.1.9." + std::to_string(row), seven);
            list.insert(list.end(), next.begin(), next.end());
        }
        self.answer(request, list);
    });
    const auto rows = clientOf(agent).walk("1.3.6.1.9", 1);
    EXPECT_GT(rows.size(), 4000u);
    EXPECT_EQ(rows, sevens("1.3.6.1.9", static_cast<int>(rows.size())));
}

TEST(SNMPClient, LeavesAnAgentWhoseTextsWouldFillTheMemory) {
    LoopbackAgent agent([](LoopbackAgent& self, const Request& request) {
        static int row = 0;
        const Octets text(60000, 'x');
        self.answer(request, snmp::binding("1.3.6.1.9." + std::to_string(++row), netcore::BER::element(0x04, text)));
    });
    const auto rows = clientOf(agent).walk("1.3.6.1.9", 2000);
    EXPECT_EQ(rows.size(), 70u) << "the first that begin below four megabytes";
}

TEST(SNMPClient, WaitsOnlyItsTimeHoweverOftenItIsInterrupted) {
    struct sigaction noted {};
    struct sigaction before {};
    noted.sa_handler = [](int) {};
    sigaction(SIGUSR1, &noted, &before);
    LoopbackAgent agent(silent());
    std::atomic<bool> done = false;
    std::thread nuisance([&done, target = pthread_self()] {
        while (!done) {
            pthread_kill(target, SIGUSR1);
            std::this_thread::sleep_for(2ms);
        }
    });
    std::string failure;
    const auto time = timeOf([&] { failure = failureOf([&] { clientOf(agent, 0.1, 0).get({"1.3.6.1.1"}); }); });
    done = true;
    nuisance.join();
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(failure, "Zeitüberschreitung");
    EXPECT_GE(time, 100ms);
    EXPECT_LT(time, 1s);
}

TEST(SNMPClient, ServesManyThreadsAtOnce) {
    LoopbackAgent agent(tableOf("1.3.6.1.9", 30));
    const auto client = clientOf(agent);
    std::atomic<int> whole = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int walk = 0; walk < 20; ++walk)
                if (client.walk("1.3.6.1.9", 2000).size() == 30) ++whole;
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(whole, 80);
}
