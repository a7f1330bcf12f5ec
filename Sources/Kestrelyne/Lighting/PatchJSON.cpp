// The stored form of the patch.

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_set>

#include "Base/JSONFields.hpp"
#include "Base/JSONWriter.hpp"
#include "Kestrelyne/Lighting/Patch.hpp"
#include "Kestrelyne/Lighting/PatchEncoder.hpp"

namespace kestrelyne {

namespace {

using base::JSON;
using base::JSONWriter;
using base::OrderedJSON;

constexpr int highestLevel = 255;
constexpr std::size_t bytesOfAFixture = 640;  // about

/// All fields of a fixture in their order, for whoever reads or writes them.
template <class Fixture, class Visitor>
void visitFields(Fixture& fixture, Visitor visit) {
    visit("id", fixture.id);
    visit("fixtureID", fixture.fixtureID);
    visit("name", fixture.name);
    visit("manufacturer", fixture.manufacturer);
    visit("model", fixture.model);
    visit("mode", fixture.mode);
    visit("universe", fixture.universe);
    visit("address", fixture.address);
    visit("footprint", fixture.footprint);
    visit("layer", fixture.layer);
    visit("position", fixture.position);
    visit("distributor", fixture.distributor);
    visit("plugbox", fixture.plugbox);
    visit("socket", fixture.socket);
    visit("breaker", fixture.breaker);
    visit("phase", fixture.phase);
    visit("powerW", fixture.powerW);
    visit("notes", fixture.notes);
    visit("highlight", fixture.highlight);
    visit("rdmUID", fixture.rdmUID);
    visit("footprintEstimated", fixture.footprintEstimated);
}

// --- Reading: a value of a wrong type or outside its range counts as missing.

void read(const JSON& value, std::string& text) {
    if (value.is_string()) text = value.get_ref<const std::string&>();
}
void read(const JSON& value, bool& flag) {
    if (value.is_boolean()) flag = value.get<bool>();
}
void read(const JSON& value, int& number) {
    if (!value.is_number()) return;
    try {
        const auto given = base::asInteger(value);
        if (std::in_range<int>(given)) number = static_cast<int>(given);
    } catch (const base::DecodeError&) {}
}
void read(const JSON& value, double& number) {
    if (value.is_number()) number = value.get<double>();
}
void read(const JSON& value, base::UUID& id) {
    if (!value.is_string()) return;
    if (const auto given = base::UUID::parse(value.get_ref<const std::string&>())) id = *given;
}
void read(const JSON& value, std::optional<double>& number) {
    if (value.is_number()) number = value.get<double>();
}
void read(const JSON& value, std::optional<std::string>& text) {
    if (value.is_string()) text = value.get<std::string>();
}
void read(const JSON& value, std::vector<PatchFixture::DMXValue>& levels) {
    if (!value.is_array()) return;
    levels.clear();
    for (const auto& entry : value) {
        if (!entry.is_object()) continue;
        PatchFixture::DMXValue level{.offset = -1, .value = -1};
        if (const auto* offset = base::member(entry, "offset")) read(*offset, level.offset);
        if (const auto* given = base::member(entry, "value")) read(*given, level.value);
        if (const auto* fixed = base::member(entry, "fixed")) read(*fixed, level.fixed);
        if (level.offset >= 0 && level.value >= 0 && level.value <= highestLevel) levels.push_back(level);
    }
}

// --- Writing into a tree. What is unset is left out.

template <class Json>
struct Tree {
    Json& json;
    void operator()(const char* key, const base::UUID& id) { json[key] = id.text(); }
    void operator()(const char* key, const std::string& text) { json[key] = text; }
    void operator()(const char* key, int number) { json[key] = number; }
    void operator()(const char* key, bool flag) { json[key] = flag; }
    void operator()(const char* key, const std::optional<double>& number) {
        if (number && std::isfinite(*number)) json[key] = *number;
    }
    void operator()(const char* key, const std::optional<std::string>& text) {
        if (text) json[key] = *text;
    }
    void operator()(const char* key, const std::vector<PatchFixture::DMXValue>& levels) {
        auto& list = json[key] = Json::array();
        for (const auto& level : levels) {
            Json entry = {{"offset", level.offset}, {"value", level.value}};
            if (level.fixed) entry["fixed"] = true;
            list.push_back(std::move(entry));
        }
    }
};

// --- Writing the text itself.

struct Text {
    JSONWriter& writer;
    void operator()(const char* key, const base::UUID& id) { writer.key(key).text(id.text()); }
    void operator()(const char* key, const std::string& text) { writer.key(key).text(text); }
    void operator()(const char* key, int number) { writer.key(key).integer(number); }
    void operator()(const char* key, bool flag) { writer.key(key).boolean(flag); }
    void operator()(const char* key, const std::optional<double>& number) {
        if (number && std::isfinite(*number)) writer.key(key).number(number);
    }
    void operator()(const char* key, const std::optional<std::string>& text) {
        if (text) writer.key(key).text(*text);
    }
    void operator()(const char* key, const std::vector<PatchFixture::DMXValue>& levels) {
        writer.key(key).beginArray();
        for (const auto& level : levels) {
            writer.beginObject();
            writer.key("offset").integer(level.offset);
            writer.key("value").integer(level.value);
            if (level.fixed) writer.key("fixed").boolean(true);
            writer.endObject();
        }
        writer.endArray();
    }
};

// Two lamps of one id could not be told apart; both are kept.
void makeUnique(std::vector<PatchFixture>& fixtures) {
    std::unordered_set<base::UUID> known;
    for (auto& fixture : fixtures)
        while (!known.insert(fixture.id).second) fixture.id = base::UUID::random();
}

}  // namespace

void from_json(const JSON& json, PatchFixture& fixture) {
    if (!json.is_object()) throw base::DecodeError("a fixture is no object");
    fixture = PatchFixture();
    visitFields(fixture, [&json](const char* key, auto& field) {
        if (const auto* value = base::member(json, key)) read(*value, field);
    });
}

void to_json(JSON& json, const PatchFixture& fixture) {
    json = JSON::object();
    visitFields(fixture, Tree<JSON>{json});
}

void to_json(OrderedJSON& json, const PatchFixture& fixture) {
    json = OrderedJSON::object();
    visitFields(fixture, Tree<OrderedJSON>{json});
}

void from_json(const JSON& json, PatchSettings& settings) {
    settings = PatchSettings();
    if (const auto* value = base::member(json, "artNetOffset")) read(*value, settings.artNetOffset);
    if (const auto* value = base::member(json, "breakerAmps")) read(*value, settings.breakerAmps);
    if (const auto* value = base::member(json, "voltage")) read(*value, settings.voltage);
    const auto* devices = base::member(json, "distributorDevices");
    if (devices == nullptr || !devices->is_object()) return;
    for (const auto& [name, value] : devices->items()) {
        const auto id = value.is_string() ? base::UUID::parse(value.get_ref<const std::string&>()) : std::nullopt;
        if (id) settings.distributorDevices[name] = *id;
    }
}

void to_json(OrderedJSON& json, const PatchSettings& settings) {
    json = OrderedJSON::object();
    json["artNetOffset"] = settings.artNetOffset;
    json["breakerAmps"] = base::numberOrNull(settings.breakerAmps);
    json["voltage"] = base::numberOrNull(settings.voltage);
    auto& devices = json["distributorDevices"] = OrderedJSON::object();
    for (const auto& [name, id] : settings.distributorDevices) devices[name] = id.text();
}

void from_json(const JSON& json, Patch& patch) {
    patch = Patch();
    if (const auto* list = base::member(json, "fixtures")) {
        // Taken for an empty one, it would be lost with the next save.
        if (!list->is_array()) throw base::DecodeError("\"fixtures\" is no list");
        for (const auto& entry : *list)
            if (entry.is_object()) patch.fixtures.push_back(entry.get<PatchFixture>());
    }
    if (const auto* settings = base::member(json, "settings"); settings != nullptr && settings->is_object())
        from_json(*settings, patch.settings);
    if (const auto* source = base::member(json, "sourceName")) read(*source, patch.sourceName);
    makeUnique(patch.fixtures);
    patch.sort();
}

void to_json(OrderedJSON& json, const Patch& patch) {
    json = OrderedJSON::object();
    auto& fixtures = json["fixtures"] = OrderedJSON::array();
    for (const auto& fixture : patch.fixtures) fixtures.push_back(OrderedJSON(fixture));
    json["settings"] = OrderedJSON(patch.settings);
    if (!patch.sourceName.empty()) json["sourceName"] = patch.sourceName;
}

PatchEncoder::PatchEncoder(const Patch& patch) : patch_(patch), writer_(patch.fixtures.size() * bytesOfAFixture) {
    writer_.beginObject();
    writer_.key("fixtures").beginArray();
}

bool PatchEncoder::step(std::size_t fixtures) {
    if (ended_) return true;
    const auto end = next_ + std::min(fixtures, patch_.fixtures.size() - next_);
    for (; next_ < end; ++next_) {
        writer_.beginObject();
        visitFields(patch_.fixtures[next_], Text{writer_});
        writer_.endObject();
    }
    if (next_ < patch_.fixtures.size()) return false;
    writer_.endArray();
    const auto& settings = patch_.settings;
    writer_.key("settings").beginObject();
    writer_.key("artNetOffset").integer(settings.artNetOffset);
    writer_.key("breakerAmps").number(settings.breakerAmps);
    writer_.key("voltage").number(settings.voltage);
    writer_.key("distributorDevices").beginObject();
    // Names are any text: escaped as values are.
    for (const auto& [name, id] : settings.distributorDevices) writer_.textKey(name).text(id.text());
    writer_.endObject();
    writer_.endObject();
    if (!patch_.sourceName.empty()) writer_.key("sourceName").text(patch_.sourceName);
    writer_.endObject();
    ended_ = true;
    return true;
}

std::string PatchEncoder::take() { return writer_.take(); }

std::string PatchEncoder::text(const Patch& patch) {
    PatchEncoder encoder(patch);
    encoder.step(std::numeric_limits<std::size_t>::max());
    return encoder.take();
}

}  // namespace kestrelyne
