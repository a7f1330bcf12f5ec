#include "Kestrelyne/App/ControlFields.hpp"

#include "Base/JSONFields.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

template <class Read>
auto field(const JSON& request, const char* key, Read read, const std::string& fault) {
    try {
        return read(base::required(request, key));
    } catch (const base::DecodeError&) {
        throw ControlError(fault, ExitCode::wrongWords);
    }
}

std::string quoted(const char* key) { return std::string("„") + key + "“"; }

std::vector<std::string> asTexts(const JSON& value) {
    if (!value.is_array()) throw base::DecodeError("no list of texts");
    std::vector<std::string> texts;
    for (const auto& element : value) texts.push_back(base::asText(element));
    return texts;
}

bool has(const JSON& request, const char* key) { return request.is_object() && base::member(request, key) != nullptr; }

}  // namespace

std::string textField(const JSON& request, const char* key) {
    return field(request, key, base::asText, "Es fehlt der Text " + quoted(key) + ".");
}

bool switchField(const JSON& request, const char* key) {
    return field(request, key, base::asBool, "Es fehlt " + quoted(key) + " (true oder false).");
}

std::vector<std::string> textListField(const JSON& request, const char* key) {
    return field(request, key, asTexts, "Es fehlt die Liste " + quoted(key) + ".");
}

std::optional<std::string> optionalText(const JSON& request, const char* key) {
    if (!has(request, key)) return std::nullopt;
    return field(request, key, base::asText, quoted(key) + " muss ein Text sein.");
}

std::optional<bool> optionalSwitch(const JSON& request, const char* key) {
    if (!has(request, key)) return std::nullopt;
    return field(request, key, base::asBool, quoted(key) + " muss true oder false sein.");
}

std::optional<long long> optionalInteger(const JSON& request, const char* key) {
    if (!has(request, key)) return std::nullopt;
    return field(request, key, base::asInteger, quoted(key) + " muss eine ganze Zahl sein.");
}

}  // namespace kestrelyne
