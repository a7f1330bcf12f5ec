#include "Kestrelyne/App/DMXVerbs.hpp"

#include <utility>
#include <vector>

#include "Base/JSONFields.hpp"
#include "Base/NumberText.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/App/AnswerText.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"
#include "Kestrelyne/Lighting/DMXFrames.hpp"
#include "Kestrelyne/Lighting/DMXRequest.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

struct Details {
    JSON& state;
    void operator()(const DMXOutput::Fixtures& chosen) const {
        auto& ids = state["fixtures"] = JSON::array();
        for (const auto& id : chosen.ids) ids.push_back(id.text());
    }
    void operator()(const DMXOutput::Raw& raw) const {
        state["universe"] = raw.universe;
        state["channel"] = raw.channel;
        state["value"] = raw.value;
    }
    template <class Other>
    void operator()(const Other&) const {}
};

JSON lampOf(const std::optional<PatchFixture>& fixture) {
    if (!fixture) return nullptr;
    return {{"id", fixture->id.text()}, {"name", fixture->displayName()}, {"address", fixture->addressText()}};
}

base::Co<JSON> start(DMXOutput& output, const PatchStore& patch, JSON request) {
    std::optional<DMXRequest> wanted;
    try {
        wanted = dmxRequest(request, *patch.patch(), *output.options());
    } catch (const DMXRequestError& error) {
        throw ControlError(error.what(), ExitCode::wrongWords);
    }
    if (!output.start(std::move(wanted->mode), std::move(wanted->options))) throw ControlError(output.blockedBy()->value_or(""));
    co_return dmxState(output);
}

base::Co<JSON> stop(DMXOutput& output) {
    output.stop();
    co_return dmxState(output);
}

base::Co<JSON> status(DMXOutput& output) { co_return dmxState(output); }

std::string number(const JSON& state, const char* key) {
    return std::to_string(static_cast<long long>(answer::numberOr(state, key, 0)));
}

std::string modeText(const JSON& state) {
    const auto mode = answer::textOr(state, "mode", "");
    if (mode == "all") return "alle Lampen";
    if (mode == "chase") return "Lauflicht";
    if (mode == "fixtures") {
        const auto count = answer::part(state, "fixtures").size();
        return count == 1 ? "eine Lampe" : std::to_string(count) + " Lampen";
    }
    if (mode == "raw")
        return "Universum " + number(state, "universe") + ", Kanal " + number(state, "channel") + " auf " + number(state, "value");
    return "aus";
}

std::string universes(const JSON& list) {
    std::set<int> numbers;
    if (list.is_array())
        for (const auto& entry : list)
            if (entry.is_number_integer()) numbers.insert(entry.get<int>());
    return DMXFrames::universeText(numbers);
}

std::string orNone(const std::string& text) { return text.empty() ? "–" : text; }

}  // namespace

void addDMXVerbs(ControlServer& server, DMXOutput& output, const PatchStore& patch) {
    server.add("dmx.start", [&output, &patch](JSON request) { return start(output, patch, std::move(request)); });
    server.add("dmx.stop", [&output](JSON) { return stop(output); });
    server.add("dmx.status", [&output](JSON) { return status(output); });
}

JSON dmxState(const DMXOutput& output) {
    const auto& options = *output.options();
    const auto& blocked = *output.blockedBy();
    JSON state = {{"sending", output.sending()},
                  {"mode", word(*output.mode())},
                  {"level", options.level},
                  {"proto", options.proto == DMXOutput::Proto::sacn ? "sacn" : "artnet"},
                  {"priority", options.sacnPriority},
                  {"step", options.chaseStep},
                  {"universes", options.universeFilter},
                  {"blockedBy", blocked ? JSON(*blocked) : JSON(nullptr)},
                  {"currentFixture", lampOf(*output.currentFixture())},
                  {"chaseIndex", *output.chaseIndex()},
                  {"sent", output.universes()},
                  {"withoutNode", output.universesWithoutNode()}};
    std::visit(Details{state}, *output.mode());
    return state;
}

std::string dmxReport(const JSON& state) {
    constexpr double whole = 100;
    constexpr int decimals = 2;
    const bool sacn = answer::textOr(state, "proto", "") == "sacn";
    std::vector<std::vector<std::string>> rows = {
        {"Testausgabe", modeText(state)},
        {"Helligkeit", base::formatDecimal(answer::numberOr(state, "level", 0) * whole, 0) + " %"},
        {"Protokoll", sacn ? "sACN, Priorität " + number(state, "priority") : "Art-Net"},
        {"Zeit je Lampe", base::formatDecimal(answer::numberOr(state, "step", 0), decimals) + " s"},
        {"Nur", orNone(universes(answer::part(state, "universes")))}};
    if (answer::isTrue(state, "sending")) rows.push_back({"Gesendet", orNone(universes(answer::part(state, "sent")))});
    if (const auto without = universes(answer::part(state, "withoutNode")); !without.empty())
        rows.push_back({"Ohne Node", without});
    if (const auto& lamp = answer::part(state, "currentFixture"); lamp.is_object())
        rows.push_back({"Lampe", answer::textOr(lamp, "name", "") + " (" + answer::textOr(lamp, "address", "") + ")"});
    if (const auto blocked = answer::textOr(state, "blockedBy", ""); !blocked.empty()) rows.push_back({"Hinweis", blocked});
    return alignedTable(rows, "");
}

}  // namespace kestrelyne
