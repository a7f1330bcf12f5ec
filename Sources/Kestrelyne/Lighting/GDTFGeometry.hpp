#pragma once
// How often the geometries of a fixture type stand in a mode (DIN SPEC 15800, "Geometry Collect" and "DMX Channel Collect"): a
// geometry that is referred to stands there once a reference, with its channels moved by the reference's breaks.

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kestrelyne {

/// Where the channels of one instance of a geometry are.
struct GDTFPlace {
    struct Overwrite {
        int dmxBreak = 1, shift = 0;
    };
    std::map<int, int> shifts{};             // by break: added to the offset of a channel
    std::optional<Overwrite> overwrite{};    // of channels whose break is "Overwrite"
    std::vector<std::string_view> inside{};  // geometries that were referred to on the way, against circles

    int shift(int dmxBreak) const;
};

/// The geometries of one fixture type. Points into its document. Work is bounded: what refers to itself, and what would stand there
/// more often than any lamp has channels, is an ImportError of `errorText`.
class GDTFGeometry {
public:
    GDTFGeometry(pugi::xml_node fixtureType, std::string errorText);

    using Places = std::unordered_map<std::string_view, std::vector<std::shared_ptr<const GDTFPlace>>>;
    /// The places of all geometries by name, for a mode of this top geometry. A mode that names none has all that nobody refers to.
    const Places& places(std::string_view topGeometry);

private:
    Places walked(const std::vector<pugi::xml_node>& tops);

    std::string errorText_;
    std::unordered_map<std::string_view, pugi::xml_node> tops_;
    std::vector<pugi::xml_node> unreferenced_;
    std::unordered_map<std::string, Places> known_;
    std::size_t visited_ = 0;
};

}  // namespace kestrelyne
