// What an agent's answers cost to read and our requests to write, on one core: rows a second, and how often each row asks for
// memory.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "NetCore/BER.hpp"
#include "NetCore/SNMPMessage.hpp"
#include "Support/AllocationCounter.hpp"

namespace {

using namespace netcore;

constexpr int rowsPerPage = 25;
constexpr std::int32_t id = 0x12345678;

void append(BER::Encoded& bytes, const BER::Encoded& more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

/// The answer to one GETBULK: 25 rows of one column, each with this value.
BER::Encoded page(const std::string& column, const BER::Encoded& value) {
    BER::Encoded list;
    for (int row = 0; row < rowsPerPage; ++row) {
        auto binding = BER::oid(column + "." + std::to_string(10101 + row));
        append(binding, value);
        append(list, BER::element(BER::Tag::sequence, binding));
    }
    auto fields = BER::integer(id);
    append(fields, BER::integer(0));
    append(fields, BER::integer(0));
    append(fields, BER::element(BER::Tag::sequence, list));
    auto message = BER::integer(1);
    const std::string_view community = "public";
    append(message, BER::element(BER::Tag::octetString, BER::Encoded(community.begin(), community.end())));
    append(message, BER::element(SNMPMessage::PDU::response, fields));
    return BER::element(BER::Tag::sequence, message);
}

void readPage(benchmark::State& state, const BER::Encoded& datagram) {
    const auto before = support::allocations();
    for (auto _ : state) {
        auto rows = SNMPMessage::parseResponse(datagram, id);
        if (rows.size() != rowsPerPage) return state.SkipWithError("rows are missing");
        benchmark::DoNotOptimize(rows);
    }
    const auto rows = static_cast<double>(state.iterations()) * rowsPerPage;
    state.counters["allocations/row"] = static_cast<double>(support::allocations() - before) / rows;
    state.counters["rows"] = benchmark::Counter(rows, benchmark::Counter::kIsRate);
}

void SNMPReadCounters(benchmark::State& state) {
    readPage(state, page("1.3.6.1.2.1.31.1.1.1.6", BER::unsignedNumber(BER::Tag::counter64, 0x0000'1234'5678'9ABC)));
}
BENCHMARK(SNMPReadCounters);

void SNMPReadStrings(benchmark::State& state) {
    const std::string_view name = "GigabitEthernet1/0/24 Saal links";
    readPage(state, page("1.3.6.1.2.1.31.1.1.1.18", BER::element(BER::Tag::octetString, BER::Encoded(name.begin(), name.end()))));
}
BENCHMARK(SNMPReadStrings);

void SNMPReadOIDs(benchmark::State& state) {
    readPage(state, page("1.3.6.1.2.1.47.1.1.1.1.3", BER::oid("1.3.6.1.4.1.9.12.3.1.9.47.47.33")));
}
BENCHMARK(SNMPReadOIDs);

void SNMPBuildGetBulk(benchmark::State& state) {
    const std::vector<std::string> cursor{"1.3.6.1.2.1.31.1.1.1.6.10125"};
    const auto before = support::allocations();
    for (auto _ : state) {
        auto request = SNMPMessage::build(
            {.pdu = SNMPMessage::PDU::getBulk, .community = "public", .id = id, .a = 0, .b = 25, .oids = cursor});
        benchmark::DoNotOptimize(request);
    }
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(support::allocations() - before), benchmark::Counter::kAvgIterations);
    state.counters["requests"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(SNMPBuildGetBulk);

}  // namespace
