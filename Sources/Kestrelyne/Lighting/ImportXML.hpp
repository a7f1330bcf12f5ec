#pragma once
// XML documents of foreign files: read within limits, texts trimmed and in valid UTF-8. Entities that a document declares are never
// expanded. Only for the readers' own sources: it brings the XML library with it.

#include <functional>
#include <pugixml.hpp>
#include <string>
#include <string_view>

namespace kestrelyne::ImportXML {

/// A document with the text that it points into.
class Document {
public:
    /// Throws ImportError "<name> in <archive> ist beschädigt." when the text is none, and a like one when it has too many parts.
    Document(std::string text, const std::string& name, const std::string& archive);
    pugi::xml_node root() const { return document_; }

private:
    std::string text_;
    pugi::xml_document document_;
};

/// The value of an attribute, and the text of the first child of this name that has any.
std::string attribute(pugi::xml_node node, const char* name);
std::string childText(pugi::xml_node node, const char* name);
/// Calls for each element below `node`, in the order of the document, at any depth. Without recursion.
void forEachBelow(pugi::xml_node node, const std::function<void(pugi::xml_node)>& call);

}  // namespace kestrelyne::ImportXML
