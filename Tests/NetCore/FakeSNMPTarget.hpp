#pragma once
// An agent made of a table, for the readers' tests.

#include <algorithm>
#include <cstdint>
#include <map>
#include <ranges>
#include <set>
#include <string>
#include <vector>

#include "NetCore/SNMPTarget.hpp"

namespace netcore {

/// Rows stand in the order of their numbers, as an agent has them. Not thread-safe.
class FakeSNMPTarget final : public SNMPTarget {
public:
    void set(const std::string& oid, SNMPValue value) { table_.insert_or_assign(arcs(oid), SNMPRow{oid, std::move(value)}); }
    void set(const std::string& oid, std::int64_t value) { set(oid, SNMPValue(value)); }
    void set(const std::string& oid, const char* text) {
        const std::string_view view(text);
        set(oid, SNMPValue(SNMPValue::String(view.begin(), view.end())));
    }
    /// A GET that asks for this OID, or a walk from it, fails.
    void fail(const std::string& oid) { failing_.insert(oid); }
    void failAll() { silent_ = true; }

    std::map<std::string, SNMPValue> get(const std::vector<std::string>& oids) const override {
        gets.push_back(oids);
        if (silent_ || std::ranges::any_of(oids, [this](const auto& oid) { return failing_.contains(oid); }))
            throw NetError::timeout();
        std::map<std::string, SNMPValue> values;
        for (const auto& oid : oids) {
            const auto found = table_.find(arcs(oid));
            values.insert_or_assign(oid, found == table_.end() ? SNMPValue(SNMPValue::NoSuch{}) : found->second.value);
        }
        return values;
    }
    std::vector<SNMPRow> walk(const std::string& base, int maxRows) const override {
        walks.push_back(base);
        limits.push_back(maxRows);
        if (silent_ || failing_.contains(base)) throw NetError::timeout();
        std::vector<SNMPRow> rows;
        for (const auto& row : table_ | std::views::values)
            if (row.oid.starts_with(base + ".")) rows.push_back(row);
        return rows;
    }

    mutable std::vector<std::vector<std::string>> gets;
    mutable std::vector<std::string> walks;
    mutable std::vector<int> limits;

private:
    static std::vector<std::uint64_t> arcs(const std::string& oid) {
        std::vector<std::uint64_t> numbers;
        for (const auto piece : oid | std::views::split('.'))
            numbers.push_back(std::stoull(std::string(piece.begin(), piece.end())));
        return numbers;
    }

    std::map<std::vector<std::uint64_t>, SNMPRow> table_;
    std::set<std::string> failing_;
    bool silent_ = false;
};

}  // namespace netcore
