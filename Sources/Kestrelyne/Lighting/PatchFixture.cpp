#include "Kestrelyne/Lighting/PatchFixture.hpp"

#include <algorithm>
#include <charconv>

#include "Base/Text.hpp"

namespace kestrelyne {

namespace {
constexpr std::string_view notPatched = "–";
constexpr int addressDigits = 3;
}  // namespace

PatchAddressText::PatchAddressText(const PatchFixture& fixture) {
    char* const begin = text_.data();
    char* const end = begin + text_.size();
    if (!fixture.patched()) {
        length_ = static_cast<std::size_t>(std::ranges::copy(notPatched, begin).out - begin);
        return;
    }
    char* place = std::to_chars(begin, end, fixture.universe).ptr;
    *place++ = '.';
    for (int digit = 1, limit = 10; digit < addressDigits; ++digit, limit *= 10)
        if (fixture.address < limit) *place++ = '0';
    length_ = static_cast<std::size_t>(std::to_chars(place, end, fixture.address).ptr - begin);
}

std::string PatchFixture::addressText() const { return std::string(PatchAddressText(*this).view()); }

std::string PatchFixture::typeText() const {
    return manufacturer.empty() || model.empty() ? manufacturer + model : manufacturer + " " + model;
}

std::string PatchFixture::displayName() const {
    auto text = name.empty() ? typeText() : name;
    return fixtureID.empty() ? text : fixtureID + " · " + text;
}

bool PatchFixture::matches(std::string_view query) const { return PatchQuery(query).matches(*this); }

bool PatchOrder::operator<(const PatchOrder& other) const {
    if (number.has_value() != other.number.has_value()) return number.has_value();
    if (number != other.number) return number < other.number;
    if (fixture->fixtureID != other.fixture->fixtureID) return base::naturalLess(fixture->fixtureID, other.fixture->fixtureID);
    if (fixture->universe != other.fixture->universe) return fixture->universe < other.fixture->universe;
    return fixture->address < other.fixture->address;
}

PatchOrder::PatchOrder(const PatchFixture& given) : fixture(&given), number(base::parseDouble(given.fixtureID)) {}

bool patchLess(const PatchFixture& left, const PatchFixture& right) { return PatchOrder(left) < PatchOrder(right); }

}  // namespace kestrelyne
