#include "Kestrelyne/App/SettingKind.hpp"

#include <fmt/format.h>

#include <array>

#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"

namespace kestrelyne {

namespace {

struct KnownKey {
    std::string_view key;
    SettingKind kind;
};
constexpr std::array knownKeys = std::to_array<KnownKey>({
    {"devices.v1", SettingKind::json},        {"dashboards.v1", SettingKind::json},  {"network.v1", SettingKind::json},
    {"push.v1", SettingKind::json},           {"web.v1", SettingKind::json},         {"web.sessions", SettingKind::json},
    {"web.vapid", SettingKind::json},         {"web.push", SettingKind::json},       {"discovery.onLaunch", SettingKind::boolean},
    {"live.minMaxSource", SettingKind::text}, {"dmx.universe", SettingKind::number}, {"patch.tab", SettingKind::text},
    {"lighting.tab", SettingKind::text},      {"network.tab", SettingKind::text},    {"ss.selected", SettingKind::text},
    {"ss.distributorMap", SettingKind::text}, {"reg.address", SettingKind::number},  {"reg.count", SettingKind::number},
    {"reg.function", SettingKind::number},    {"reset.focus", SettingKind::text},    {"update.auto", SettingKind::boolean},
});
/// One key a meter: the prefix and the meter's identifier.
constexpr std::array<std::string_view, 3> knownPrefixes = {"alarms.", "alarmlog.", "submeters."};

bool isJSON(std::string_view text) {
    try {
        base::parseJSON(text);
        return true;
    } catch (const base::DecodeError&) {
        return false;
    }
}

}  // namespace

SettingKind kindOf(const SettingValue& value) { return static_cast<SettingKind>(value.index()); }
static_assert(std::is_same_v<std::variant_alternative_t<static_cast<int>(SettingKind::json), SettingValue>, SettingBlob>);
static_assert(std::is_same_v<std::variant_alternative_t<static_cast<int>(SettingKind::text), SettingValue>, std::string>);
static_assert(std::is_same_v<std::variant_alternative_t<static_cast<int>(SettingKind::number), SettingValue>, double>);
static_assert(std::is_same_v<std::variant_alternative_t<static_cast<int>(SettingKind::boolean), SettingValue>, bool>);

namespace {
constexpr std::array<const char*, 4> names = {"json", "text", "number", "bool"};
}

const char* kindName(SettingKind kind) { return names[static_cast<std::size_t>(kind)]; }

std::optional<SettingKind> settingKind(std::string_view name) {
    for (std::size_t i = 0; i < names.size(); ++i)
        if (name == names[i]) return static_cast<SettingKind>(i);
    return std::nullopt;
}

std::optional<SettingKind> kindOfKnownKey(std::string_view key) {
    for (const auto& known : knownKeys)
        if (known.key == key) return known.kind;
    for (const auto& prefix : knownPrefixes)
        if (key.starts_with(prefix)) return SettingKind::json;
    return std::nullopt;
}

SettingKind guessedKind(std::string_view word) {
    const auto text = base::trimmed(word);
    if ((text.starts_with('{') || text.starts_with('[')) && isJSON(text)) return SettingKind::json;
    if (word == "true" || word == "false") return SettingKind::boolean;
    if (base::parseDouble(word)) return SettingKind::number;
    return SettingKind::text;
}

SettingValue settingFromWord(SettingKind kind, std::string_view word) {
    switch (kind) {
        case SettingKind::json:
            if (!isJSON(word)) throw WrongKind("der Wert ist kein JSON");
            return SettingBlob{std::string(word)};
        case SettingKind::number:
            if (const auto number = base::parseDouble(word)) return *number;
            throw WrongKind("der Wert ist keine Zahl (Dezimalpunkt, keine Tausenderzeichen)");
        case SettingKind::boolean:
            if (word == "true" || word == "false") return word == "true";
            throw WrongKind("der Wert ist weder „true“ noch „false“");
        case SettingKind::text: break;
    }
    if (base::repairUTF8(word) != word) throw WrongKind("der Text ist kein gültiges UTF-8");
    return std::string(word);
}

std::string wordOf(const SettingValue& value) {
    if (const auto* blob = std::get_if<SettingBlob>(&value)) return blob->bytes;
    if (const auto* text = std::get_if<std::string>(&value)) return *text;
    if (const auto* number = std::get_if<double>(&value)) return fmt::format("{}", *number);
    return std::get<bool>(value) ? "true" : "false";
}

}  // namespace kestrelyne
