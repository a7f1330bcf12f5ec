#pragma once
// One lamp of the lighting patch: what it is, where it listens, and where its power comes from.

#include <array>
#include <limits>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/UUID.hpp"

namespace kestrelyne {

struct PatchFixture {
    /// A level that makes the lamp bright.
    struct DMXValue {
        int offset = 0;      // channel inside the footprint, from 0
        int value = 0;       // 0…255
        bool fixed = false;  // 255 of a channel that is no intensity (an open shutter): never scaled; stored only when true

        /// The brightness of the test light scales this channel.
        bool isIntensity() const { return value == 255 && !fixed; }
        bool operator==(const DMXValue&) const = default;
    };

    base::UUID id = base::UUID::random();  // identity inside this program
    std::string fixtureID;                 // the console's number, a text: "101", "12.3"
    std::string name, manufacturer, model, mode;
    int universe = 0;   // the console's number, from 1
    int address = 0;    // 1…512; below 1 it is not patched. A value beyond 512 is kept as it is
    int footprint = 0;  // channels; 0 counts as 1 where ranges are compared
    std::string layer, position;
    std::string distributor, plugbox, socket, breaker;
    std::string phase;  // "L1", "L2", "L3" or as imported
    std::optional<double> powerW{};
    std::string notes;
    std::vector<DMXValue> highlight{};
    std::optional<std::string> rdmUID{};  // a fixed link to a device, in the form of RDM::UID::text()
    bool footprintEstimated = false;      // by the importer

    /// The name, else the type; behind the console's number and " · " where there is one.
    std::string displayName() const;
    /// "2.041"; "–" when it is not patched.
    std::string addressText() const;
    /// Manufacturer and model.
    std::string typeText() const;
    /// It is what somebody who types this looks for. For many fixtures use PatchQuery.
    bool matches(std::string_view query) const;

    bool patched() const { return address >= 1; }
    /// Channels taken, at least 1.
    int channels() const { return footprint > 1 ? footprint : 1; }
    /// The last channel taken; the largest integer where it lies beyond.
    int lastAddress() const {
        constexpr int most = std::numeric_limits<int>::max();
        return address > most - channels() ? most : address + channels() - 1;
    }

    bool operator==(const PatchFixture&) const = default;
};

/// The address of a fixture as PatchFixture::addressText has it, without memory of its own.
class PatchAddressText {
public:
    explicit PatchAddressText(const PatchFixture& fixture);
    std::string_view view() const { return {text_.data(), length_}; }

private:
    std::array<char, 32> text_{};
    std::size_t length_ = 0;
};

/// Every key is optional: a missing text is empty, a missing number 0, a missing id fresh. A value of a wrong type counts as
/// missing, a level that no channel can have is left out. Throws base::DecodeError when the value is no object.
void from_json(const nlohmann::json& json, PatchFixture& fixture);
void to_json(nlohmann::json& json, const PatchFixture& fixture);
/// Keys in their order, as the file has them.
void to_json(nlohmann::ordered_json& json, const PatchFixture& fixture);

/// A search over many fixtures: what depends on the query alone is done once. matches() asks for no memory.
class PatchQuery {
public:
    explicit PatchQuery(std::string_view text);
    bool matches(const PatchFixture& fixture) const;

private:
    enum class Kind { everything, number, address, dotted, words };
    Kind kind_ = Kind::everything;
    std::string text_;  // trimmed, in lower case
    long long universe_ = 0, address_ = 0;
};

/// The order of the list: numbers of the console first and by value, then other texts as people order them; then by universe and
/// address.
bool patchLess(const PatchFixture& left, const PatchFixture& right);

/// The place of a fixture in that order, its number read once. Points to the fixture.
struct PatchOrder {
    explicit PatchOrder(const PatchFixture& given);
    bool operator<(const PatchOrder& other) const;

    const PatchFixture* fixture;
    std::optional<double> number;
};

}  // namespace kestrelyne
