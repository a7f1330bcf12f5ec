#include "Kestrelyne/Lighting/GDTFReader.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "Base/Text.hpp"
#include "Kestrelyne/Lighting/GDTFGeometry.hpp"
#include "Kestrelyne/Lighting/ImportXML.hpp"

namespace kestrelyne {

namespace {

using ImportXML::attribute;
using DMXValue = PatchFixture::DMXValue;

constexpr auto description = "description.xml";
constexpr int full = 255, slots = 512;           // of a channel, of a universe
constexpr std::size_t widest = 8;                // bytes of a channel that are looked at
constexpr int largestOffset = 65536;             // further channels are not counted
constexpr std::size_t mostChannels = 1'000'000;  // of all modes and instances together

// What a channel does for a bright lamp.
enum class Purpose { other, dimmer, shutter, color };

Purpose purposeOf(const std::string& attributeName) {
    constexpr std::string_view additive[] = {"coloradd_", "colorrgb_red", "colorrgb_green", "colorrgb_blue"};
    const auto lower = base::lowerASCII(attributeName);
    if (lower == "dimmer") return Purpose::dimmer;
    if (lower.find("shutter") != std::string::npos) return Purpose::shutter;
    const bool color = std::ranges::any_of(additive, [&](std::string_view each) { return lower.starts_with(each); });
    return color ? Purpose::color : Purpose::other;
}

// A channel as the mode lists it, before its instances.
struct Channel {
    pugi::xml_node node;
    std::vector<int> offsets;  // from 1, the coarse one first; empty for a virtual channel
    Purpose purpose = Purpose::other;
};

std::vector<int> offsetsOf(pugi::xml_node channel) {
    std::vector<int> offsets;
    for (const auto piece : base::split(channel.attribute("Offset").value(), ',', false)) {
        const auto offset = base::parseInteger(base::trimmed(piece));
        if (offset && *offset >= 1 && *offset <= largestOffset && offsets.size() < widest)
            offsets.push_back(static_cast<int>(*offset));
    }
    return offsets;
}

Channel channelOf(pugi::xml_node node) {
    Channel channel{.node = node, .offsets = offsetsOf(node)};
    for (const auto logical : node.children("LogicalChannel")) {
        const auto purpose = purposeOf(attribute(logical, "Attribute"));
        // A dimmer that shares its channel with a shutter stays one.
        if (channel.purpose != Purpose::dimmer && purpose != Purpose::other) channel.purpose = purpose;
    }
    return channel;
}

// How surely a name says that light comes out, 0 the best: "Open" alone, then such a word among others, then one of several states.
std::optional<int> openness(std::string_view name) {
    const auto lower = base::lowerASCII(name);
    const auto has = [&](std::string_view word) { return lower.find(word) != std::string::npos; };
    if (!has("open") && !has("offen")) return std::nullopt;
    if (lower == "open" || lower == "offen") return 0;
    const auto other = {"clos", "geschl", "zu", "strob", "puls", "rand", "opening"};
    return std::ranges::any_of(other, has) ? 2 : 1;
}

// The value of an open shutter: of the function or set that says so, else what the type names for highlighting, else what the
// channel has at rest.
std::string openValue(pugi::xml_node channel) {
    std::string value;
    int best = 3;
    for (const auto logical : channel.children("LogicalChannel"))
        ImportXML::forEachBelow(logical, [&](pugi::xml_node node) {
            const std::string_view kind = node.name();
            if (kind != "ChannelFunction" && kind != "ChannelSet") return;
            const auto rank = openness(node.attribute("Name").value());
            if (!rank || *rank >= best) return;
            best = *rank;
            value = node.attribute("DMXFrom").as_string("0/1");
        });
    if (best < 3) return value;
    value = attribute(channel, "Highlight");
    if (PatchImport::dmxByte(value)) return value;
    const auto initial = attribute(channel, "InitialFunction");
    const auto function = initial.substr(initial.find_last_of('.') + 1);
    for (const auto logical : channel.children("LogicalChannel"))
        for (const auto each : logical.children("ChannelFunction"))
            if (function.empty() || attribute(each, "Name") == function) return attribute(each, "Default");
    return {};
}

std::vector<DMXValue> levels(const Channel& channel, bool hasDimmer) {
    std::vector<DMXValue> values;
    if (channel.purpose == Purpose::other) return values;
    if (channel.purpose != Purpose::shutter) {
        // Every byte follows the brightness: the same level in all of them is that share of the whole range.
        const bool fixed = channel.purpose == Purpose::color && hasDimmer;
        for (const int offset : channel.offsets) values.push_back({.offset = offset - 1, .value = full, .fixed = fixed});
        return values;
    }
    const auto bytes = PatchImport::dmxBytes(openValue(channel.node), channel.offsets.size());
    for (std::size_t at = 0; bytes && at < channel.offsets.size(); ++at)
        values.push_back({.offset = channel.offsets[at] - 1, .value = (*bytes)[at], .fixed = (*bytes)[at] == full});
    return values;
}

class ModeReader {
public:
    ModeReader(pugi::xml_node fixtureType, std::string errorText)
        : geometry_(fixtureType, errorText), errorText_(std::move(errorText)) {}

    PatchImport::GDTFInfo::Mode read(pugi::xml_node node) {
        PatchImport::GDTFInfo::Mode mode{.name = attribute(node, "Name")};
        std::vector<Channel> channels;
        for (const auto each : node.child("DMXChannels").children("DMXChannel")) channels.push_back(channelOf(each));
        const bool hasDimmer = std::ranges::any_of(
            channels, [](const Channel& each) { return each.purpose == Purpose::dimmer && !each.offsets.empty(); });
        const auto& places = geometry_.places(node.attribute("Geometry").value());
        for (const auto& channel : channels) {
            const auto values = levels(channel, hasDimmer);
            const std::string_view geometry = channel.node.attribute("Geometry").value();
            const auto found = places.find(geometry);
            if (geometry.empty() || found == places.end())
                add(mode, channel, values, GDTFPlace{});
            else
                for (const auto& place : found->second) add(mode, channel, values, *place);
        }
        for (auto& [number, range] : mode.breaks) {
            mode.footprint += range.channels;
            for (const auto& [offset, value] : lit_[number]) range.highlight.push_back(value);
        }
        lit_.clear();
        return mode;
    }

private:
    void add(PatchImport::GDTFInfo::Mode& mode, const Channel& channel, const std::vector<DMXValue>& values,
             const GDTFPlace& place) {
        if (channel.offsets.empty()) return;
        if (++channels_ > mostChannels) throw ImportError(errorText_);
        const auto text = attribute(channel.node, "DMXBreak");
        int dmxBreak = 1, shift = 0;
        if (base::lowerASCII(text) == "overwrite") {
            const auto overwrite = place.overwrite.value_or(GDTFPlace::Overwrite{});
            dmxBreak = overwrite.dmxBreak;
            shift = overwrite.shift;
        } else {
            const auto number = base::parseInteger(text);
            if (number && *number >= 1 && *number <= largestOffset) dmxBreak = static_cast<int>(*number);
            shift = place.shift(dmxBreak);
        }
        const int last = std::ranges::max(channel.offsets) + shift;
        if (last > largestOffset) return;
        auto& range = mode.breaks[dmxBreak];
        range.channels = std::max(range.channels, last);
        auto& lit = lit_[dmxBreak];
        for (auto value : values) {
            value.offset += shift;
            if (value.offset < slots) lit.try_emplace(value.offset, value);
        }
    }

    GDTFGeometry geometry_;
    std::string errorText_;
    std::size_t channels_ = 0;
    // By break and offset: of two channels on one offset the first is meant.
    std::map<int, std::map<int, DMXValue>> lit_;
};

pugi::xml_node firstBelow(pugi::xml_node root, std::string_view name) {
    pugi::xml_node found;
    ImportXML::forEachBelow(root, [&](pugi::xml_node node) {
        if (!found && node.name() == name) found = node;
    });
    return found;
}

std::optional<double> powerOf(pugi::xml_node root) {
    double sum = 0;
    ImportXML::forEachBelow(root, [&](pugi::xml_node node) {
        if (std::string_view(node.name()) != "PowerConsumption") return;
        const auto watts = base::parseDouble(attribute(node, "Value"));
        if (watts && *watts > 0) sum += *watts;
    });
    // Nothing at all is what editors write for a type whose power nobody has entered.
    return sum > 0 && std::isfinite(sum) ? std::optional(sum) : std::nullopt;
}

}  // namespace

std::optional<std::vector<int>> PatchImport::dmxBytes(std::string_view text, std::size_t width) {
    constexpr int bits = 8;
    text = base::trimmed(text);
    const auto slash = text.find('/');
    auto count = slash == std::string_view::npos ? std::string_view("1") : base::trimmed(text.substr(slash + 1));
    const bool shifted = count.ends_with('s');
    if (shifted) count.remove_suffix(1);
    const auto value = base::parseInteger(base::trimmed(text.substr(0, slash))), given = base::parseInteger(count);
    constexpr int mostBytes = 7;  // of a value that fits a signed number of 64 bits
    if (!value || !given || *value < 0 || *given < 1 || *given > mostBytes || *value >> (bits * *given) != 0) return std::nullopt;
    std::vector<int> bytes(width);
    const auto own = static_cast<std::size_t>(*given);
    for (std::size_t at = 0; at < width; ++at)
        if (at < own || !shifted) bytes[at] = static_cast<int>(*value >> (bits * (own - 1 - at % own)) & full);
    return bytes;
}

std::optional<int> PatchImport::dmxByte(std::string_view text) {
    const auto bytes = dmxBytes(text, 1);
    return bytes ? std::optional(bytes->front()) : std::nullopt;
}

PatchImport::GDTFInfo PatchImport::parseGDTF(std::string xml, const std::string& fileName) {
    const ImportXML::Document document(std::move(xml), description, fileName);
    const auto type = firstBelow(document.root(), "FixtureType");
    if (!type) throw ImportError("GDTF ohne FixtureType");
    GDTFInfo info{
        .manufacturer = attribute(type, "Manufacturer"), .model = attribute(type, "LongName"), .powerW = powerOf(document.root())};
    if (info.model.empty()) info.model = attribute(type, "Name");
    ModeReader reader(type, std::string(description) + " in " + fileName + " hat zu viele Verweise auf Geometrien.");
    for (const auto modes : type.children("DMXModes"))
        for (const auto mode : modes.children("DMXMode")) info.modes.push_back(reader.read(mode));
    return info;
}

PatchImport::GDTFInfo PatchImport::readGDTF(ZipArchive& archive) {
    const auto entry = archive.find(description);
    if (!entry) throw ImportError("Keine description.xml in der GDTF-Datei gefunden.");
    return parseGDTF(archive.read(*entry, largestDocument), archive.name());
}

PatchImport::GDTFInfo PatchImport::readGDTF(const std::filesystem::path& file) {
    ZipArchive archive(file, {.entries = mostEntries, .unpacked = largestUnpacked});
    return readGDTF(archive);
}

}  // namespace kestrelyne
