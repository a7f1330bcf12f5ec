#include "Kestrelyne/Lighting/DMXRequest.hpp"

#include <fmt/format.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "Base/JSONFields.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

constexpr long long highestChannel = 512, highestValue = 255, highestUniverse = 63999;
constexpr double highestPriority = 200, longestStep = 3600;

std::optional<long long> wholeNumber(const JSON& request, const char* key) {
    const auto* value = base::member(request, key);
    if (value == nullptr) return std::nullopt;
    try {
        return base::asInteger(*value);
    } catch (const base::DecodeError&) {
        throw DMXRequestError(fmt::format("„{}“ muss eine ganze Zahl sein.", key));
    }
}

int inRange(const JSON& request, const char* key, const char* name, long long lowest, long long highest) {
    const auto number = wholeNumber(request, key);
    if (!number || *number < lowest || *number > highest)
        throw DMXRequestError(fmt::format("{} muss von {} bis {} sein.", name, lowest, highest));
    return static_cast<int>(*number);
}

void overlayNumber(const JSON& request, const char* key, const char* name, double lowest, double highest, double& target) {
    const auto* value = base::member(request, key);
    if (value == nullptr) return;
    if (!value->is_number() || value->get<double>() < lowest || value->get<double>() > highest)
        throw DMXRequestError(fmt::format("{} muss von {} bis {} sein.", name, lowest, highest));
    target = value->get<double>();
}

std::string textOf(const JSON& request, const char* key) {
    const auto* value = base::member(request, key);
    return value != nullptr && value->is_string() ? value->get<std::string>() : std::string();
}

std::set<base::UUID> fixturesOf(const JSON& request, const Patch& patch) {
    std::set<base::UUID> ids;
    const auto* words = base::member(request, "fixtures");
    if (words == nullptr || !words->is_array() || words->empty()) throw DMXRequestError("Es ist keine Lampe genannt.");
    for (const auto& entry : *words) {
        const auto text = entry.is_string() ? entry.get<std::string>() : std::string();
        const auto id = base::UUID::parse(text);
        bool known = false;
        for (const auto& fixture : patch.fixtures) {
            if (id ? fixture.id != *id : text.empty() || fixture.fixtureID != text) continue;
            ids.insert(fixture.id);
            known = true;
        }
        if (!known) throw DMXRequestError(fmt::format("Es gibt keine Lampe „{}“.", text));
    }
    return ids;
}

DMXOutput::Mode modeOf(const JSON& request, const Patch& patch) {
    const auto mode = textOf(request, "mode");
    if (mode == "all") return DMXOutput::All{};
    if (mode == "chase") return DMXOutput::Chase{};
    if (mode == "fixtures") return DMXOutput::Fixtures{fixturesOf(request, patch)};
    if (mode == "raw")
        return DMXOutput::Raw{.universe = inRange(request, "universe", "Das Universum", 1, highestUniverse),
                              .channel = inRange(request, "channel", "Der Kanal", 1, highestChannel),
                              .value = inRange(request, "value", "Der Wert", 0, highestValue)};
    throw DMXRequestError("Die Art muss fixtures, all, chase oder raw sein.");
}

std::set<int> universesOf(const JSON& list) {
    std::set<int> universes;
    if (!list.is_array()) throw DMXRequestError("„universes“ muss eine Liste von Universen sein.");
    for (const auto& entry : list) {
        if (!entry.is_number_integer() || entry.get<long long>() < 0 || entry.get<long long>() > highestUniverse)
            throw DMXRequestError(fmt::format("Universen sind Zahlen von 0 bis {}.", highestUniverse));
        universes.insert(entry.get<int>());
    }
    return universes;
}

}  // namespace

std::string_view word(const DMXOutput::Mode& mode) {
    // In the order of DMXOutput::Mode.
    constexpr std::array<std::string_view, std::variant_size_v<DMXOutput::Mode>> words{"off", "fixtures", "raw", "all", "chase"};
    return words.at(mode.index());
}

DMXRequest dmxRequest(const JSON& request, const Patch& patch, DMXOutput::Options options) {
    DMXRequest result{.mode = modeOf(request, patch), .options = std::move(options)};
    if (base::member(request, "proto") != nullptr) {
        const auto proto = textOf(request, "proto");
        if (proto != "artnet" && proto != "sacn") throw DMXRequestError("Das Protokoll muss artnet oder sacn sein.");
        result.options.proto = proto == "sacn" ? DMXOutput::Proto::sacn : DMXOutput::Proto::artnet;
    }
    overlayNumber(request, "level", "Die Helligkeit", 0, 1, result.options.level);
    overlayNumber(request, "priority", "Die Priorität", 0, highestPriority, result.options.sacnPriority);
    overlayNumber(request, "step", "Die Zeit je Lampe in Sekunden", 0, longestStep, result.options.chaseStep);
    if (const auto* universes = base::member(request, "universes")) result.options.universeFilter = universesOf(*universes);
    return result;
}

}  // namespace kestrelyne
