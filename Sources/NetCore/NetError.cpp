#include "NetCore/NetError.hpp"

#include <utility>

namespace netcore {

NetError::NetError(Case kind, std::string text, const std::string& description)
    : std::runtime_error(description), kind_(kind), text_(std::move(text)) {}

NetError NetError::socket(std::string text) {
    const auto description = "Netzwerkfehler: " + text;
    return NetError(Case::socket, std::move(text), description);
}

NetError NetError::protocolError(std::string text) {
    const auto description = text;
    return NetError(Case::protocolError, std::move(text), description);
}

NetError NetError::timeout() { return NetError(Case::timeout, {}, "Zeitüberschreitung"); }

}  // namespace netcore
