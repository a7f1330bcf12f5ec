#include "Kestrelyne/App/PatchEdits.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/App/ControlFields.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"
#include "Kestrelyne/App/PatchChanges.hpp"
#include "NetCore/RDMUID.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

constexpr int lastUniverse = 63999;  // ANSI E1.31-2018, 6.2.7: the highest of data
constexpr int lastChannel = 512, longestFootprint = 65535;
constexpr int furthestOffset = 32767;  // the highest Port-Address of Art-Net
constexpr double mostWatts = 1e6, mostAmps = 10000, mostVolts = 10000;
constexpr std::string_view everyFixture = "all";

struct TextField {
    const char* key;
    std::string PatchFixture::*text;
};
constexpr TextField textFields[] = {{"name", &PatchFixture::name},          {"manufacturer", &PatchFixture::manufacturer},
                                    {"model", &PatchFixture::model},        {"mode", &PatchFixture::mode},
                                    {"layer", &PatchFixture::layer},        {"position", &PatchFixture::position},
                                    {"phase", &PatchFixture::phase},        {"distributor", &PatchFixture::distributor},
                                    {"plugbox", &PatchFixture::plugbox},    {"socket", &PatchFixture::socket},
                                    {"breaker", &PatchFixture::breaker},    {"notes", &PatchFixture::notes},
                                    {"fixtureID", &PatchFixture::fixtureID}};

[[noreturn]] void refuse(const std::string& text) { throw ControlError(text, ExitCode::wrongWords); }

std::optional<int> wholeNumber(const JSON& request, const char* key, int least, int most, const char* remark = "") {
    const auto number = optionalInteger(request, key);
    if (!number) return std::nullopt;
    if (*number < least || *number > most)
        refuse(fmt::format("„{}“ muss eine Zahl von {} bis {} sein{}.", key, least, most, remark));
    return static_cast<int>(*number);
}

// Above 0 and at most `most`.
std::optional<double> positiveNumber(const JSON& request, const char* key, double most) {
    const auto* value = base::member(request, key);
    if (value == nullptr) return std::nullopt;
    if (!value->is_number() || !(value->get<double>() > 0) || !(value->get<double>() <= most))
        refuse(fmt::format("„{}“ muss eine Zahl über 0 bis {:.0f} sein.", key, most));
    return value->get<double>();
}

/// The fixtures that words mean, each once.
class Named {
public:
    explicit Named(const Patch& patch) : patch_(patch) {
        for (const auto& fixture : patch.fixtures) {
            byID_.emplace(fixture.id, &fixture);
            byNumber_[fixture.fixtureID].push_back(&fixture);
        }
    }

    std::set<base::UUID> of(const std::vector<std::string>& words) const {
        std::set<base::UUID> ids;
        for (const auto& word : words) {
            if (word == everyFixture)
                for (const auto& fixture : patch_.fixtures) ids.insert(fixture.id);
            else
                ids.insert(one(word));
        }
        return ids;
    }

private:
    base::UUID one(const std::string& word) const {
        if (const auto id = base::UUID::parse(word); id && byID_.contains(*id)) return *id;
        const auto found = word.empty() ? byNumber_.end() : byNumber_.find(word);
        if (found == byNumber_.end()) throw ControlError("Es gibt keine Lampe „" + word + "“.");
        const auto& lamps = found->second;
        if (lamps.size() == 1) return lamps.front()->id;
        std::string lines;
        for (const auto* lamp : lamps)
            lines += (lines.empty() ? "" : "; ") + lamp->displayName() + " (" + lamp->addressText() + ", " + lamp->id.text() + ")";
        refuse("„" + word + "“ meint mehrere Lampen, bitte mit der Kennung nennen: " + lines + ".");
    }

    const Patch& patch_;
    std::unordered_map<base::UUID, const PatchFixture*> byID_;
    std::unordered_map<std::string_view, std::vector<const PatchFixture*>> byNumber_;
};

/// The values of a request, checked, with what they do to a fixture.
class FixtureEdit {
public:
    explicit FixtureEdit(const JSON& request) {
        for (const auto& [key, field] : textFields)
            if (const auto text = optionalText(request, key)) texts_.emplace_back(field, base::trimmed(*text));
        universe_ = wholeNumber(request, "universe", 1, lastUniverse);
        address_ = wholeNumber(request, "address", 0, lastChannel, " (0: nicht gepatcht)");
        footprint_ = wholeNumber(request, "footprint", 0, longestFootprint);
        readPower(request);
        readLink(request);
    }

    bool empty() const { return texts_.empty() && !universe_ && !address_ && !footprint_ && !power_ && !link_; }
    /// Sets what no two lamps can share.
    bool isForOne() const {
        return (link_ && *link_) || std::ranges::any_of(texts_, [](const auto& text) {
                   return text.first == &PatchFixture::fixtureID && !text.second.empty();
               });
    }
    void carryOut(PatchFixture& fixture) const {
        for (const auto& [field, text] : texts_) fixture.*field = text;
        if (universe_) fixture.universe = *universe_;
        if (address_) fixture.address = *address_;
        if (footprint_) {
            fixture.footprint = *footprint_;
            fixture.footprintEstimated = false;
        }
        if (power_) fixture.powerW = *power_;
        if (link_) fixture.rdmUID = *link_;
    }

private:
    void readPower(const JSON& request) {
        const auto found = request.find("powerW");
        if (found == request.end()) return;
        const bool none = found->is_null();
        if (!none && (!found->is_number() || !(found->get<double>() >= 0) || !(found->get<double>() <= mostWatts)))
            refuse(fmt::format("„powerW“ muss eine Zahl von 0 bis {:.0f} sein.", mostWatts));
        power_ = none ? std::nullopt : std::optional(found->get<double>());
    }
    void readLink(const JSON& request) {
        const auto text = optionalText(request, "rdmUID");
        if (!text) return;
        const auto given = base::trimmed(*text);
        const auto uid = netcore::RDM::UID::parse(given);
        if (!given.empty() && !uid)
            refuse("„" + *text + "“ ist keine RDM-Kennung: vier und acht hexadezimale Ziffern, etwa 4D41:00001234.");
        link_ = uid ? std::optional(uid->text()) : std::nullopt;
    }

    std::vector<std::pair<std::string PatchFixture::*, std::string>> texts_;
    std::optional<int> universe_, address_, footprint_;
    // What is set to nothing is removed.
    std::optional<std::optional<double>> power_;
    std::optional<std::optional<std::string>> link_;
};

struct Edited {
    Patch patch;
    JSON answer;
};
Edited changed(const Patch& before, Patch after) {
    auto answer = patchChanges(before, after, mostPatchRows);
    return {std::move(after), std::move(answer)};
}

Edited edit(const Patch& patch, const JSON& request) {
    const FixtureEdit change(request);
    if (change.empty()) refuse("Es ist kein Feld genannt, das geändert werden soll.");
    const auto ids = Named(patch).of(textListField(request, "fixtures"));
    if (ids.empty()) throw ControlError("Es ist keine Lampe genannt.");
    if (ids.size() > 1 && change.isForOne()) refuse("Fixture-ID und RDM-Kennung lassen sich nur für eine einzelne Lampe setzen.");
    auto after = patch;
    for (auto& fixture : after.fixtures)
        if (ids.contains(fixture.id)) change.carryOut(fixture);
    after.sort();
    return changed(patch, std::move(after));
}

Edited remove(const Patch& patch, const JSON& request) {
    auto after = patch;
    if (optionalSwitch(request, "all").value_or(false)) {
        after.fixtures.clear();
    } else {
        const auto words = textListField(request, "fixtures");
        if (words.empty()) refuse("Es ist keine Lampe genannt.");
        // Everything goes by the switch alone, never by a word among others.
        if (std::ranges::find(words, everyFixture) != words.end()) refuse("Alle Lampen löscht nur die Angabe „all“: true.");
        after.remove(Named(patch).of(words));
    }
    return changed(patch, std::move(after));
}

Edited settings(const Patch& patch, const JSON& request) {
    auto edited = patch;
    auto& after = edited.settings;
    if (const auto offset = wholeNumber(request, "artNetOffset", -furthestOffset, furthestOffset)) after.artNetOffset = *offset;
    if (const auto amperes = positiveNumber(request, "breakerAmps", mostAmps)) after.breakerAmps = *amperes;
    if (const auto volts = positiveNumber(request, "voltage", mostVolts)) after.voltage = *volts;
    const auto distributor = optionalText(request, "distributor"), device = optionalText(request, "device");
    if (distributor.has_value() != device.has_value()) refuse("„distributor“ und „device“ gehören zusammen.");
    if (distributor) {
        const auto id = base::UUID::parse(*device);
        if (distributor->empty()) refuse("Der Name des Verteilers ist leer.");
        if (!device->empty() && !id) refuse("„" + *device + "“ ist keine Kennung eines Messgeräts.");
        if (id)
            after.distributorDevices[*distributor] = *id;
        else
            after.distributorDevices.erase(*distributor);
    }
    auto answer = JSON(base::OrderedJSON(after));
    return {std::move(edited), std::move(answer)};
}

Edited import(const Patch& patch, const JSON& request) {
    const auto* list = base::member(request, "fixtures");
    if (list == nullptr || !list->is_array()) refuse("Es fehlt die Liste „fixtures“.");
    // With "replace" it would take everything away.
    if (list->empty()) refuse("Die Liste „fixtures“ ist leer.");
    std::vector<PatchFixture> imported;
    imported.reserve(list->size());
    for (const auto& entry : *list) {
        if (!entry.is_object()) refuse("„fixtures“ enthält etwas, das keine Lampe ist.");
        imported.push_back(entry.get<PatchFixture>());
    }
    const bool replace = optionalSwitch(request, "replace").value_or(false);
    auto after = patch;
    after.apply(std::move(imported), replace, optionalText(request, "source").value_or(""));
    return changed(patch, std::move(after));
}

}  // namespace

JSON editPatch(Patch& patch, const JSON& request) {
    struct Edit {
        std::string_view verb;
        Edited (*carryOut)(const Patch&, const JSON&);
    };
    constexpr Edit edits[] = {
        {"patch.edit", edit}, {"patch.delete", remove}, {"patch.settings", settings}, {"patch.import", import}};
    const auto verb = textField(request, "verb");
    const auto* found = std::ranges::find(edits, std::string_view(verb), &Edit::verb);
    if (found == std::end(edits)) refuse("Unbekannter Befehl „" + verb + "“.");
    const bool dryRun = optionalSwitch(request, "dryRun").value_or(false);
    auto [after, answer] = found->carryOut(patch, request);
    if (!dryRun) patch = std::move(after);
    return answer;
}

}  // namespace kestrelyne
