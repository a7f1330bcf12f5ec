#include "Kestrelyne/App/SettingsPlist.hpp"

#include <plist/plist.h>

#include <cmath>
#include <cstdlib>
#include <memory>

#include "Base/Text.hpp"

namespace kestrelyne {

namespace {

struct FreeNode {
    void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, FreeNode>;
struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};
template <class T>
using Memory = std::unique_ptr<T, FreeMemory>;

constexpr double largestWhole = 9007199254740992.0;  // 2^53: every whole number below is exact

/// XML 1.0, 2.2 "Char": no control character but tab and line feed (a carriage return is allowed but not kept, 2.11), and UTF-8 at
/// all.
bool fitsXML(const std::string& text) {
    for (const char c : text)
        if (static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\n') return false;
    return base::repairUTF8(text) == text && text.find("\xEF\xBF\xBE") == std::string::npos &&
           text.find("\xEF\xBF\xBF") == std::string::npos;
}

plist_t nodeOf(const std::string& key, const SettingValue& value) {
    if (const auto* blob = std::get_if<SettingBlob>(&value)) return plist_new_data(blob->bytes.data(), blob->bytes.size());
    if (const auto* text = std::get_if<std::string>(&value)) {
        if (!fitsXML(*text)) throw PlistError("Der Text von „" + key + "“ enthält Zeichen, die XML nicht tragen kann.");
        return plist_new_string(text->c_str());
    }
    if (const auto* number = std::get_if<double>(&value)) {
        const bool whole = *number >= 0 && *number <= largestWhole && std::trunc(*number) == *number && !std::signbit(*number);
        return whole ? plist_new_uint(static_cast<std::uint64_t>(*number)) : plist_new_real(*number);
    }
    return plist_new_bool(std::get<bool>(value) ? 1 : 0);
}

SettingValue valueOf(const std::string& key, plist_t node) {
    switch (plist_get_node_type(node)) {
        case PLIST_DATA: {
            std::uint64_t size = 0;
            const char* data = plist_get_data_ptr(node, &size);
            return SettingBlob{data ? std::string(data, size) : std::string()};
        }
        case PLIST_STRING: {
            std::uint64_t size = 0;
            const char* text = plist_get_string_ptr(node, &size);
            std::string value = text ? std::string(text, size) : std::string();
            if (base::repairUTF8(value) != value) throw PlistError("Der Text von „" + key + "“ ist kein gültiges UTF-8.");
            return value;
        }
        case PLIST_UINT: {
            std::uint64_t number = 0;
            plist_get_uint_val(node, &number);
            // Negative whole numbers come as their two's complement.
            return static_cast<double>(static_cast<std::int64_t>(number));
        }
        case PLIST_REAL: {
            double number = 0;
            plist_get_real_val(node, &number);
            if (!std::isfinite(number)) throw PlistError("Die Zahl von „" + key + "“ ist nicht endlich.");
            return number;
        }
        case PLIST_BOOLEAN: {
            std::uint8_t flag = 0;
            plist_get_bool_val(node, &flag);
            return flag != 0;
        }
        default: throw PlistError("„" + key + "“ ist weder Daten noch Text, Zahl oder Wahrheitswert.");
    }
}

}  // namespace

std::string settingsToPlist(const std::map<std::string, SettingValue>& values) {
    const Node root(plist_new_dict());
    for (const auto& [key, value] : values) {
        if (!fitsXML(key))
            throw PlistError("Der Schlüssel „" + base::repairUTF8(key) + "“ enthält Zeichen, die XML nicht tragen kann.");
        plist_dict_set_item(root.get(), key.c_str(), nodeOf(key, value));
    }
    char* text = nullptr;
    std::uint32_t size = 0;
    plist_to_xml(root.get(), &text, &size);
    const Memory<char> owner(text);
    if (!text) throw PlistError("Die Eigenschaftsliste konnte nicht erzeugt werden.");
    return std::string(text, size);
}

std::map<std::string, SettingValue> settingsFromPlist(std::string_view xml) {
    plist_t parsed = nullptr;
    plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &parsed);
    const Node root(parsed);
    if (!parsed) throw PlistError("Die Datei ist keine Eigenschaftsliste (XML).");
    if (plist_get_node_type(parsed) != PLIST_DICT) throw PlistError("Die Eigenschaftsliste ist kein Verzeichnis von Schlüsseln.");

    std::map<std::string, SettingValue> values;
    plist_dict_iter found = nullptr;
    plist_dict_new_iter(parsed, &found);
    const Memory<void> iterator(found);
    for (;;) {
        char* key = nullptr;
        plist_t node = nullptr;
        plist_dict_next_item(parsed, found, &key, &node);
        const Memory<char> owner(key);
        if (!node || !key) return values;
        values.insert_or_assign(key, valueOf(key, node));
    }
}

}  // namespace kestrelyne
