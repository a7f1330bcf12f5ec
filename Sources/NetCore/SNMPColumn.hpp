#pragma once
// Columns of an agent's tables, where a failure is an empty table. Blocking calls; background only.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "NetCore/SNMPTarget.hpp"

namespace netcore {

/// Values by the last number of each row's OID: a table with two indices is keyed by the second, and the later row wins.
using SNMPColumn = std::map<std::int64_t, SNMPValue>;

/// Long tables are cut off rather than read for minutes.
inline constexpr int mostTableRows = 2000;

/// The rows below `base`.
std::vector<SNMPRow> rowsOrNone(const SNMPTarget& client, const std::string& base);
/// The column of the table `base`. Rows whose OID does not end in a number are dropped.
SNMPColumn column(const SNMPTarget& client, const std::string& base);
/// The same, but absent when the table is not answered: for what would be taken for a state when it is missing.
std::optional<SNMPColumn> columnIfAnswered(const SNMPTarget& client, const std::string& base);
/// One GET.
std::map<std::string, SNMPValue> valuesOrNone(const SNMPTarget& client, const std::vector<std::string>& oids);

/// A whole number within `int`; what lies outside becomes the nearer end, nothing 0.
int clampedInt(std::optional<double> number);

// What stands under a key, absent when it is missing or of another kind.

template <class Key>
const SNMPValue* valueAt(const std::map<Key, SNMPValue>& values, const std::type_identity_t<Key>& key) {
    const auto found = values.find(key);
    return found == values.end() ? nullptr : &found->second;
}
template <class Key>
std::optional<double> numberAt(const std::map<Key, SNMPValue>& values, const std::type_identity_t<Key>& key) {
    const auto* value = valueAt(values, key);
    return value == nullptr ? std::nullopt : value->number();
}
template <class Key>
std::optional<std::int64_t> integerAt(const std::map<Key, SNMPValue>& values, const std::type_identity_t<Key>& key) {
    const auto* value = valueAt(values, key);
    return value == nullptr ? std::nullopt : value->integer();
}
template <class Key>
std::optional<std::string> textAt(const std::map<Key, SNMPValue>& values, const std::type_identity_t<Key>& key) {
    const auto* value = valueAt(values, key);
    return value == nullptr ? std::nullopt : std::optional(value->text());
}

}  // namespace netcore
