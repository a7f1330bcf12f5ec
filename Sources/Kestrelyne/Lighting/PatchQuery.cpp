#include <algorithm>
#include <array>

#include "Base/LowerCase.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/Lighting/PatchFixture.hpp"

namespace kestrelyne {

namespace {

bool isDigit(char character) { return character >= '0' && character <= '9'; }
bool isDigitOrDot(char character) { return isDigit(character) || character == '.'; }

}  // namespace

PatchQuery::PatchQuery(std::string_view text) : text_(base::lowerCase(base::trimmedBlanks(text))) {
    if (text_.empty()) return;
    if (std::ranges::all_of(text_, isDigit)) {
        kind_ = Kind::number;
    } else if (std::ranges::all_of(text_, isDigitOrDot)) {
        // "2." while "2.41" is being typed holds one number still.
        std::vector<long long> numbers;
        for (const auto piece : base::split(text_, '.', false))
            if (const auto number = base::parseInteger(piece)) numbers.push_back(*number);
        kind_ = numbers.size() == 2 ? Kind::address : Kind::dotted;
        if (kind_ == Kind::address) {
            universe_ = numbers[0];
            address_ = numbers[1];
        }
    } else {
        kind_ = Kind::words;
    }
}

bool PatchQuery::matches(const PatchFixture& fixture) const {
    switch (kind_) {
        case Kind::everything: return true;
        case Kind::number:
        case Kind::dotted: return fixture.fixtureID.starts_with(text_);
        case Kind::address:
            if (base::equalsLower(fixture.fixtureID, text_)) return true;
            return fixture.patched() && fixture.universe == universe_ && fixture.address <= address_ &&
                   address_ <= fixture.lastAddress();
        case Kind::words: break;
    }
    for (const auto* text : {&fixture.fixtureID, &fixture.name, &fixture.manufacturer, &fixture.model, &fixture.mode,
                             &fixture.position, &fixture.layer, &fixture.distributor, &fixture.plugbox, &fixture.breaker})
        if (base::containsLower(*text, text_)) return true;
    return base::containsLower(PatchAddressText(fixture).view(), text_) ||
           (fixture.rdmUID && base::containsLower(*fixture.rdmUID, text_));
}

}  // namespace kestrelyne
