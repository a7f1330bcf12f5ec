#pragma once
// The settings as an XML property list: JSON blobs as data, texts as string, numbers as integer or real, booleans.

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Kestrelyne/App/SettingsStore.hpp"

namespace kestrelyne {

/// With a German text.
class PlistError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Throws PlistError when a key or text holds a character that XML 1.0 cannot carry.
std::string settingsToPlist(const std::map<std::string, SettingValue>& values);

/// Throws PlistError when the text is no property list, its root is no dictionary, or a value has none of the kinds above.
std::map<std::string, SettingValue> settingsFromPlist(std::string_view xml);

}  // namespace kestrelyne
