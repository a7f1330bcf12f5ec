#pragma once
// How the sockets and readers of the network fail.

#include <stdexcept>
#include <string>

namespace netcore {

class NetError : public std::runtime_error {
public:
    enum class Case { socket, protocolError, timeout };

    /// "Netzwerkfehler: " and the text.
    static NetError socket(std::string text);
    /// The text alone.
    static NetError protocolError(std::string text);
    /// "Zeitüberschreitung"
    static NetError timeout();

    Case kind() const { return kind_; }
    /// Of `socket` and `protocolError` what they were made with; else empty.
    const std::string& text() const { return text_; }
    /// The German sentence that users read; the same as what().
    std::string description() const { return what(); }

private:
    NetError(Case kind, std::string text, const std::string& description);

    Case kind_;
    std::string text_;
};

}  // namespace netcore
