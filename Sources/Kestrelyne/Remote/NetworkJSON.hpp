#pragma once
// Pieces that the answers about the network are written from.

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "Base/Clock.hpp"
#include "Base/JSONWriter.hpp"

namespace kestrelyne {

inline base::Seconds ageOf(base::Moment seen, base::SteadyTime now) {
    return std::max(base::Seconds(now - seen.steady), base::Seconds(0));
}

inline void writeTexts(base::JSONWriter& json, const auto& list) {
    json.beginArray();
    for (const auto& text : list) json.text(text);
    json.endArray();
}

/// An array of objects; `write` writes the members of one.
template <class List, class Write>
void writeArray(base::JSONWriter& json, std::string_view key, const List& list, Write write) {
    json.key(key).beginArray();
    for (const auto& entry : list) {
        json.beginObject();
        write(entry);
        json.endObject();
    }
    json.endArray();
}

/// Null when it is absent.
inline void writeOptional(base::JSONWriter& json, std::string_view key, std::optional<int> value) {
    json.key(key);
    if (value)
        json.integer(*value);
    else
        json.null();
}
inline void writeOptional(base::JSONWriter& json, std::string_view key, std::optional<bool> value) {
    json.key(key);
    if (value)
        json.boolean(*value);
    else
        json.null();
}
inline void writeOptional(base::JSONWriter& json, std::string_view key, const std::optional<std::string>& value) {
    json.key(key);
    if (value)
        json.text(*value);
    else
        json.null();
}

}  // namespace kestrelyne
