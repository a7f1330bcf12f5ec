#include "Kestrelyne/Remote/FixtureJSON.hpp"

#include <fmt/format.h>

#include <string_view>

#include "Kestrelyne/Lighting/DMXFrames.hpp"
#include "Kestrelyne/Lighting/DMXRequest.hpp"
#include "Kestrelyne/Remote/NetworkJSON.hpp"

namespace kestrelyne {

using base::JSONWriter;

namespace {

void writeCount(JSONWriter& json, std::string_view key, const std::optional<std::uint32_t>& value) {
    json.key(key);
    if (value)
        json.integer(*value);
    else
        json.null();
}

bool isHot(const RDMSensor& sensor) { return sensor.value && sensor.normalMax && *sensor.value >= *sensor.normalMax; }

// What a list shows of a device.
void writeDevice(JSONWriter& json, const RDMDeviceState& device, bool lit) {
    const auto* hottest = device.hottest();
    json.key("uid").text(device.uid.text());
    json.key("online").boolean(device.responding);
    json.key("identify").boolean(device.identifying);
    json.key("lit").boolean(lit);
    json.key("temp").number(hottest != nullptr ? hottest->value : std::nullopt);
    json.key("hot").boolean(hottest != nullptr && isHot(*hottest));
    json.key("firmware").text(device.software);
    writeCount(json, "hours", device.deviceHours);
}

void writeDeviceDetail(JSONWriter& json, const RDMDeviceState& device, bool lit, bool writeEnabled) {
    writeDevice(json, device, lit);
    const auto ofInfo = [&](std::string_view key, int netcore::RDM::DeviceInfo::*member) {
        writeOptional(json, key, device.info ? std::optional((*device.info).*member) : std::nullopt);
    };
    json.key("manufacturer").text(device.manufacturer);
    json.key("model").text(device.model);
    json.key("label").text(device.label);
    json.key("node").text(device.nodeName);
    ofInfo("startAddress", &netcore::RDM::DeviceInfo::startAddress);
    ofInfo("footprint", &netcore::RDM::DeviceInfo::footprint);
    ofInfo("personality", &netcore::RDM::DeviceInfo::personality);
    writeArray(json, "personalities", device.personalities, [&](const netcore::RDM::Personality& personality) {
        json.key("number").integer(personality.number);
        json.key("name").text(personality.description);
        json.key("footprint").integer(personality.footprint);
    });
    writeCount(json, "lampHours", device.lampHours);
    writeOptional(json, "lampState", device.lampState);
    writeArray(json, "sensors", device.sensors, [&](const RDMSensor& sensor) {
        json.key("name").text(sensor.name);
        json.key("value").number(sensor.value);
        json.key("unit").text(sensor.unit);
        json.key("max").number(sensor.normalMax);
        json.key("hot").boolean(sensor.isTemperature && isHot(sensor));
    });
    writeOptional(json, "factory", device.atFactoryDefaults);
    json.key("writeEnabled").boolean(writeEnabled);
}

void writePatch(JSONWriter& json, const PatchFixture& fixture, bool lit) {
    json.key("id").text(fixture.id.text());
    json.key("fid").text(fixture.fixtureID);
    json.key("name").text(fixture.name);
    json.key("type").text(fixture.typeText());
    json.key("mode").text(fixture.mode);
    json.key("universe").integer(fixture.universe);
    json.key("address").integer(fixture.address);
    json.key("footprint").integer(fixture.footprint);
    json.key("addressText").text(fixture.addressText());
    json.key("position").text(fixture.position);
    json.key("distributor").text(fixture.distributor);
    json.key("plugbox").text(fixture.plugbox);
    json.key("socket").text(fixture.socket);
    json.key("breaker").text(fixture.breaker);
    json.key("phase").text(fixture.phase);
    json.key("power").number(fixture.powerW);
    json.key("notes").text(fixture.notes);
    json.key("lit").boolean(lit);
}

// A member that is an object, or null without a device.
template <class Write>
void writeRDM(JSONWriter& json, const RDMDeviceState* device, Write write) {
    json.key("rdm");
    if (device == nullptr) {
        json.null();
        return;
    }
    json.beginObject();
    write(*device);
    json.endObject();
}

/// What is lit; where follows behind it.
struct Telling {
    const DMXOutput& output;
    std::string operator()(const DMXOutput::Off&) const { return {}; }
    std::string operator()(const DMXOutput::Fixtures& fixtures) const {
        return fixtures.ids.size() == 1 ? "1 Lampe hell" : fmt::format("{} Lampen hell", fixtures.ids.size());
    }
    std::string operator()(const DMXOutput::Raw& raw) const { return fmt::format("Kanal {} auf {}", raw.channel, raw.value); }
    std::string operator()(const DMXOutput::All&) const { return "Alle Lampen hell"; }
    std::string operator()(const DMXOutput::Chase&) const {
        const auto& lamp = *output.currentFixture();
        return lamp ? "Lauflicht: " + lamp->displayName() : "Lauflicht";
    }
};

std::string textOf(const DMXOutput& output) {
    if (!output.sending()) return {};
    const bool sacn = output.options()->proto == DMXOutput::Proto::sacn;
    auto told = std::visit(Telling{output}, *output.mode()) + " – " +
                std::string(text(sacn ? NetProtocol::sacn : NetProtocol::artnet)) + ", " +
                DMXFrames::universeText(output.universes());
    if (!output.universesWithoutNode().empty()) told += "; ohne Node: " + DMXFrames::universeText(output.universesWithoutNode());
    return told;
}

}  // namespace

void writeFixtureSummary(JSONWriter& json, const PatchFixture& fixture, const FixtureSurroundings& around) {
    writePatch(json, fixture, around.lit);
    writeRDM(json, around.device, [&](const RDMDeviceState& device) { writeDevice(json, device, around.lit); });
}

void writeFixtureDetail(JSONWriter& json, const PatchFixture& fixture, const FixtureSurroundings& around, bool writeEnabled,
                        const std::optional<std::string>& failure) {
    writePatch(json, fixture, around.lit);
    json.key("layer").text(fixture.layer);
    json.key("estimated").boolean(fixture.footprintEstimated);
    writeRDM(json, around.device, [&](const RDMDeviceState& device) { writeDeviceDetail(json, device, around.lit, writeEnabled); });
    writeOptional(json, "failure", failure);
}

void writeTestLight(JSONWriter& json, const DMXOutput& output) {
    const auto& options = *output.options();
    const auto& lamp = *output.currentFixture();
    json.key("sending").boolean(output.sending());
    json.key("mode").text(word(*output.mode()));
    json.key("text").text(textOf(output));
    writeOptional(json, "blockedBy", *output.blockedBy());
    json.key("proto").text(options.proto == DMXOutput::Proto::sacn ? "sacn" : "artnet");
    json.key("level").number(options.level);
    json.key("priority").number(options.sacnPriority);
    json.key("step").number(options.chaseStep);
    json.key("universes").beginArray();
    for (const int universe : options.universeFilter) json.integer(universe);
    json.endArray();
    writeOptional(json, "current", lamp ? std::optional(lamp->id.text()) : std::nullopt);
}

}  // namespace kestrelyne
