#include "Base/JSONFields.hpp"

namespace base {

namespace {

constexpr int deepestLevel = 64;

const char* kindOf(const JSON& value) { return value.type_name(); }

[[noreturn]] void wrong(const char* wanted, const JSON& value) {
    throw DecodeError(std::string("expected ") + wanted + ", found " + kindOf(value));
}

bool nestsTooDeep(std::string_view text) {
    int depth = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > deepestLevel) return true;
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return false;
}

template <class Json>
std::string dumpAny(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

JSON parseJSON(std::string_view text) {
    // Not by a callback of the parser: with one it walks a list again for each object in it, which a long list makes minutes of.
    if (nestsTooDeep(text)) throw DecodeError("JSON nests too deep");
    try {
        return JSON::parse(text);
    } catch (const JSON::exception& error) {
        throw DecodeError(error.what());
    }
}

bool asBool(const JSON& value) {
    if (!value.is_boolean()) wrong("a boolean", value);
    return value.get<bool>();
}

long long asInteger(const JSON& value) {
    constexpr auto most = std::numeric_limits<long long>::max();
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number > static_cast<std::uint64_t>(most)) wrong("an integer of 64 bits", value);
        return static_cast<long long>(number);
    }
    if (value.is_number_integer()) return value.get<long long>();
    if (!value.is_number_float()) wrong("an integer", value);
    constexpr double limit = 9223372036854775808.0;  // 2^63, the first double that does not fit
    const auto number = value.get<double>();
    if (!(number >= -limit && number < limit) || std::trunc(number) != number) wrong("an integer of 64 bits", value);
    return static_cast<long long>(number);
}

double asNumber(const JSON& value) {
    if (!value.is_number()) wrong("a number", value);
    return value.get<double>();
}

std::string asText(const JSON& value) {
    if (!value.is_string()) wrong("a text", value);
    return value.get<std::string>();
}

UUID asUUID(const JSON& value) {
    const auto id = UUID::parse(asText(value));
    if (!id) throw DecodeError("expected a UUID");
    return *id;
}

WallTime asDate(const JSON& value) {
    const auto time = wallTimeSince2001(asNumber(value));
    if (!time) throw DecodeError("expected a date");
    return *time;
}

const JSON* member(const JSON& object, const char* key) {
    if (!object.is_object()) wrong("an object", object);
    const auto found = object.find(key);
    return found == object.end() || found->is_null() ? nullptr : &*found;
}

const JSON& required(const JSON& object, const char* key) {
    const auto* value = member(object, key);
    if (value == nullptr) throw DecodeError(std::string("\"") + key + "\" is missing");
    return *value;
}

OrderedJSON numberOrNull(std::optional<double> value) {
    if (!value || !std::isfinite(*value)) return nullptr;
    return *value;
}

std::string dump(const JSON& value) { return dumpAny(value); }

std::string dump(const OrderedJSON& value) { return dumpAny(value); }

}  // namespace base
