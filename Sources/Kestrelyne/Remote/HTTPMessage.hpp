#pragma once
// A request and a response of the web interface as plain values, and the way between them and bytes. Pure; any thread.

#include <cstddef>
#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace kestrelyne {

struct HTTPRequest {
    std::string method;                          // exactly as sent
    std::string path;                            // percent-decoded path of the target; the raw target when it cannot be read
    std::map<std::string, std::string> query;    // an item without "=" maps to ""; of a repeated name the last
    std::map<std::string, std::string> headers;  // names in lower case, values trimmed; of a repeated name the last
    std::string body;
    std::string remoteIP;  // the peer's address without a zone; an IPv4 peer of a dual-stack listener as plain IPv4

    /// The header's value, "" when missing.
    std::string header(const std::string& lowerCaseName) const;
    /// The pieces of the header "cookie"; a piece without "=" is skipped.
    std::map<std::string, std::string> cookies() const;
    /// One of them, without making the others: a stranger may send two million bytes of cookies.
    std::optional<std::string> cookie(std::string_view name) const;
};

struct HTTPResponse {
    int status = 200;
    std::map<std::string, std::string> headers;
    std::string body;

    /// Headers `Content-Type` "application/json; charset=utf-8" and `Cache-Control` "no-store". A value that cannot be written
    /// gives "{}".
    static HTTPResponse json(const nlohmann::ordered_json& value, int status = 200);
    /// The same of JSON that is written already.
    static HTTPResponse jsonText(std::string text, int status = 200);
    /// {"error":"<text>"} with the status.
    static HTTPResponse error(std::string_view text, int status);
    /// Status line and headers with the blank line behind them. `Content-Length`, `Connection` "close", `X-Content-Type-Options`
    /// and `Referrer-Policy` override what the handler set under those names in any case.
    std::string head() const;
    /// Head and body as they go over the wire.
    std::string serialized() const { return head() + body; }
};

/// Reads a request from the front of the bytes received so far; absent while it is incomplete (or malformed, which never
/// completes).
std::optional<HTTPRequest> parseHTTPRequest(std::string_view bytes, std::string_view remoteIP);

/// Gathers the bytes of one connection until they make a request, with the same result as parsing all of them anew each time, but
/// every byte is looked at a bounded number of times however small the pieces are. Bytes that can never become a request are only
/// counted.
class HTTPRequestReader {
public:
    /// Head and body together. A connection that brings more is refused, whatever stands in it.
    static constexpr std::size_t largestRequest = 2'000'000;

    enum class State { incomplete, complete, tooLarge };

    /// Takes the next bytes. After `complete` and `tooLarge` nothing more is added.
    State add(std::string_view bytes);
    /// The request, after `complete`; once.
    HTTPRequest take(std::string_view remoteIP);

    /// Bytes of the request that are in memory; what is only counted is not.
    std::size_t held() const { return hopeless_ ? 0 : received_; }
    /// After `complete`: bytes beyond the request came with it.
    bool hasSurplus() const { return surplus_; }

private:
    State readHead(std::string_view bytes);
    State readBody(std::string_view bytes);

    std::string buffer_;
    std::size_t received_ = 0;
    std::size_t searched_ = 0;             // no blank line begins before this
    std::size_t bodyAt_ = 0, needed_ = 0;  // known with `request_`
    std::optional<HTTPRequest> request_;   // the head, then everything
    bool hopeless_ = false;                // never a request, or one too large
    bool surplus_ = false;
};

}  // namespace kestrelyne
