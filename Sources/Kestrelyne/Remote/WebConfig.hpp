#pragma once
// The settings of the web interface, stored as JSON under `web.v1`, and what follows from them alone.

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace kestrelyne {

struct WebConfig {
    /// What somebody who has logged in may do. One setting for the whole installation.
    enum class Control { view, find, full };

    bool enabled = false;
    long long port = 8470;  // as stored; `listeningPort` is what counts
    bool allowLAN = true;   // all adapters; off: loopback and Tailscale only
    std::string publicURL;  // as typed in: the address outside, of a reverse proxy or a tunnel
    Control control = Control::find;
    std::string pin;          // free text, kept in clear; empty: nobody can log in
    std::string pushSubject;  // subject of the signature of Web Push messages

    bool operator==(const WebConfig&) const = default;

    /// The port clamped into 0…65535.
    std::uint16_t listeningPort() const;
    /// `publicURL` without white space and slashes at both ends; absent unless it begins with "http://" or "https://".
    std::optional<std::string> usablePublicURL() const;
    /// The host of that, in lower case; "" when there is none.
    std::string publicHost() const;

    /// All fields, in the order above.
    nlohmann::ordered_json toJSON() const;
    /// Missing fields and nulls keep their defaults. Throws base::DecodeError when the value is no object, or a field has another
    /// type or an unknown level.
    static WebConfig fromJSON(const nlohmann::json& value);
    /// From the stored bytes; the defaults when they do not decode.
    static WebConfig fromStored(std::string_view bytes);
};

/// The stored text, which is also what people read: "Nur ansehen", "Suchen & Identify / Hellmachen", "Voller RDM-Zugriff".
std::string_view label(WebConfig::Control control);
std::optional<WebConfig::Control> controlOfLabel(std::string_view label);
/// The word of the JSON interface and the command line: "view", "find", "full".
std::string_view word(WebConfig::Control control);
std::optional<WebConfig::Control> controlOfWord(std::string_view word);

}  // namespace kestrelyne
