#pragma once
// Small helpers for types that are stored as JSON: each type decides by itself what a missing key and a wrong type mean.
// Include in .cpp files only.

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "Base/Clock.hpp"
#include "Base/UUID.hpp"

namespace base {

using JSON = nlohmann::json;
using OrderedJSON = nlohmann::ordered_json;

/// A stored value that does not have the form its type needs.
class DecodeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Parses text; throws DecodeError when it is not JSON or nests deeper than 64 levels.
JSON parseJSON(std::string_view text);

/// The strict readers: the value as this type, or DecodeError. Whole numbers accept 5.0 and refuse 5.5 and what does not fit.
bool asBool(const JSON& value);
long long asInteger(const JSON& value);
double asNumber(const JSON& value);
std::string asText(const JSON& value);
UUID asUUID(const JSON& value);
/// A date stored as seconds since 2001-01-01 UTC.
WallTime asDate(const JSON& value);

/// The member, or null when the object lacks it or holds null there. Throws DecodeError when `object` is no object.
const JSON* member(const JSON& object, const char* key);
/// The member; DecodeError when it is missing.
const JSON& required(const JSON& object, const char* key);

/// Reads the member with `read` into `target` when it is there; leaves the target when it is missing or null. Throws DecodeError
/// when a whole number does not fit the target.
template <class T, class Read>
void overlay(const JSON& object, const char* key, T& target, Read read) {
    const JSON* value = member(object, key);
    if (value == nullptr) return;
    auto given = read(*value);
    if constexpr (std::is_same_v<decltype(given), long long> && std::is_integral_v<T>)
        if (!std::in_range<T>(given)) throw DecodeError(std::string("\"") + key + "\" is out of range");
    target = static_cast<T>(std::move(given));
}

/// A number for the JSON interface: null when it is absent or not finite.
OrderedJSON numberOrNull(std::optional<double> value);

/// The text of a JSON value as answers and files have it: no blanks, broken UTF-8 replaced.
std::string dump(const JSON& value);
std::string dump(const OrderedJSON& value);

}  // namespace base
