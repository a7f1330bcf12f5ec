#include "NetCore/SNMPColumn.hpp"

#include <algorithm>
#include <limits>

#include "Base/Text.hpp"

namespace netcore {

std::vector<SNMPRow> rowsOrNone(const SNMPTarget& client, const std::string& base) {
    try {
        return client.walk(base, mostTableRows);
    } catch (const NetError&) {
        return {};
    }
}

namespace {

SNMPColumn keyed(std::vector<SNMPRow> rows) {
    SNMPColumn values;
    for (auto& row : rows) {
        // The dot behind the base is the first that can be the last.
        if (const auto key = base::parseInteger(std::string_view(row.oid).substr(row.oid.rfind('.') + 1)))
            values.insert_or_assign(*key, std::move(row.value));
    }
    return values;
}

}  // namespace

SNMPColumn column(const SNMPTarget& client, const std::string& base) { return keyed(rowsOrNone(client, base)); }

std::optional<SNMPColumn> columnIfAnswered(const SNMPTarget& client, const std::string& base) {
    try {
        return keyed(client.walk(base, mostTableRows));
    } catch (const NetError&) {
        return std::nullopt;
    }
}

std::map<std::string, SNMPValue> valuesOrNone(const SNMPTarget& client, const std::vector<std::string>& oids) {
    try {
        return client.get(oids);
    } catch (const NetError&) {
        return {};
    }
}

int clampedInt(std::optional<double> number) {
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<double>(number.value_or(0), Limits::min(), Limits::max()));
}

}  // namespace netcore
