#pragma once
// The kinds of setting as people name them, and how a word becomes a value.

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Kestrelyne/App/SettingsStore.hpp"

namespace kestrelyne {

enum class SettingKind { json, text, number, boolean };

SettingKind kindOf(const SettingValue& value);
/// "json", "text", "number", "bool".
const char* kindName(SettingKind kind);
std::optional<SettingKind> settingKind(std::string_view name);

/// The kind that the program itself gives this key; absent for a key it does not know.
std::optional<SettingKind> kindOfKnownKey(std::string_view key);
/// For a key that nobody knows: an object or list of JSON is json, "true" and "false" are bool, a decimal number is number, all
/// else text.
SettingKind guessedKind(std::string_view word);

/// A word that does not fit its kind, with a German text.
class WrongKind : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
/// JSON is kept byte for byte, however it is laid out. Throws WrongKind.
SettingValue settingFromWord(SettingKind kind, std::string_view word);
/// The inverse: JSON and texts as they are, the shortest decimal form of a number, "true" or "false".
std::string wordOf(const SettingValue& value);

}  // namespace kestrelyne
