#include "Kestrelyne/Lighting/ImportXML.hpp"

#include <algorithm>
#include <utility>

#include "Base/Text.hpp"
#include "Kestrelyne/Lighting/ImportError.hpp"

namespace kestrelyne::ImportXML {

namespace {

// A node takes some hundred bytes of memory, an attribute half of it; a show of 5,000 lamps has half a million.
constexpr std::ptrdiff_t mostTags = 4'000'000, mostAttributes = 8'000'000;

std::string cleaned(const char* text) { return base::repairUTF8(base::trimmed(text)); }

}  // namespace

Document::Document(std::string text, const std::string& name, const std::string& archive) : text_(std::move(text)) {
    if (std::ranges::count(text_, '<') > mostTags || std::ranges::count(text_, '=') > mostAttributes)
        throw ImportError(name + " in " + archive + " ist zu umfangreich.");
    if (!document_.load_buffer_inplace(text_.data(), text_.size())) throw ImportError(name + " in " + archive + " ist beschädigt.");
}

std::string attribute(pugi::xml_node node, const char* name) { return cleaned(node.attribute(name).value()); }

std::string childText(pugi::xml_node node, const char* name) {
    for (const auto child : node.children(name))
        if (auto text = cleaned(child.child_value()); !text.empty()) return text;
    return {};
}

void forEachBelow(pugi::xml_node node, const std::function<void(pugi::xml_node)>& call) {
    auto at = node.first_child();
    while (at && at != node) {
        if (at.type() == pugi::node_element) call(at);
        if (at.first_child()) {
            at = at.first_child();
            continue;
        }
        while (at != node && !at.next_sibling()) at = at.parent();
        if (at != node) at = at.next_sibling();
    }
}

}  // namespace kestrelyne::ImportXML
