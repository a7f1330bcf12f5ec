#include "Kestrelyne/Remote/HTTPMessage.hpp"

#include <algorithm>
#include <array>

#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/Remote/URLReference.hpp"

namespace kestrelyne {

namespace {

constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view headEnd = "\r\n\r\n";

struct Reason {
    int status;
    std::string_view text;
};
constexpr std::array reasons = {
    Reason{200, "OK"},
    Reason{201, "Created"},
    Reason{204, "No Content"},
    Reason{304, "Not Modified"},
    Reason{400, "Bad Request"},
    Reason{401, "Unauthorized"},
    Reason{403, "Forbidden"},
    Reason{404, "Not Found"},
    Reason{405, "Method Not Allowed"},
    Reason{409, "Conflict"},
    Reason{413, "Payload Too Large"},
    Reason{429, "Too Many Requests"},
    Reason{500, "Internal Server Error"},
    Reason{503, "Service Unavailable"},
};

std::string_view reasonOf(int status) {
    const auto found = std::ranges::find(reasons, status, &Reason::status);
    return found == reasons.end() ? "OK" : found->text;
}

struct FixedHeader {
    std::string_view name, value;
};
constexpr std::array fixedHeaders = {
    FixedHeader{"Connection", "close"},
    FixedHeader{"X-Content-Type-Options", "nosniff"},
    FixedHeader{"Referrer-Policy", "no-referrer"},
};
constexpr std::string_view lengthHeader = "Content-Length";

bool sameName(std::string_view a, std::string_view b) { return a.size() == b.size() && base::lowerASCII(a) == base::lowerASCII(b); }

bool isFixed(std::string_view name) {
    return sameName(name, lengthHeader) ||
           std::ranges::any_of(fixedHeaders, [name](const FixedHeader& header) { return sameName(header.name, name); });
}

void append(std::string& text, std::string_view name, std::string_view value) {
    text.append(name).append(": ").append(value).append(lineEnd);
}

// The text before the blank line; absent when its first line has no method and target.
std::optional<HTTPRequest> parseHead(std::string_view bytes) {
    const std::string text = base::repairUTF8(bytes);
    std::string_view rest = text;
    const auto nextLine = [&rest] {
        const auto end = rest.find(lineEnd);
        const auto line = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + lineEnd.size());
        return line;
    };
    const auto words = base::split(nextLine(), ' ', false);
    if (words.size() < 2) return std::nullopt;

    HTTPRequest request;
    request.method = words[0];
    if (auto target = parseURLReference(words[1])) {
        request.path = std::move(target->path);
        request.query = std::move(target->query);
    } else {
        request.path = words[1];
    }
    while (!rest.empty()) {
        const auto line = nextLine();
        const auto colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        request.headers.insert_or_assign(base::lowerASCII(line.substr(0, colon)), base::trimmedBlanks(line.substr(colon + 1)));
    }
    return request;
}

template <class F>
void eachCookie(const HTTPRequest& request, F take) {
    const auto found = request.headers.find("cookie");
    if (found == request.headers.end()) return;
    for (std::string_view rest = found->second; !rest.empty();) {
        const auto end = std::min(rest.find(';'), rest.size());
        const auto piece = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        const auto equals = piece.find('=');
        if (equals == std::string_view::npos) continue;
        take(base::trimmedBlanks(piece.substr(0, equals)), base::trimmedBlanks(piece.substr(equals + 1)));
    }
}

// A missing, unreadable or negative length counts as none.
std::size_t announcedLength(const HTTPRequest& request) {
    const auto found = request.headers.find("content-length");
    if (found == request.headers.end()) return 0;
    return static_cast<std::size_t>(std::max(base::parseInteger(found->second).value_or(0), 0LL));
}

}  // namespace

std::string HTTPRequest::header(const std::string& lowerCaseName) const {
    const auto found = headers.find(lowerCaseName);
    return found == headers.end() ? std::string() : found->second;
}

std::map<std::string, std::string> HTTPRequest::cookies() const {
    std::map<std::string, std::string> result;
    eachCookie(*this, [&](std::string_view name, std::string_view value) { result.insert_or_assign(std::string(name), value); });
    return result;
}

std::optional<std::string> HTTPRequest::cookie(std::string_view wanted) const {
    std::optional<std::string> result;
    eachCookie(*this, [&](std::string_view name, std::string_view value) {
        if (name == wanted) result = value;
    });
    return result;
}

HTTPResponse HTTPResponse::json(const nlohmann::ordered_json& value, int status) {
    return jsonText(value.is_discarded() ? "{}" : base::dump(value), status);
}

HTTPResponse HTTPResponse::jsonText(std::string text, int status) {
    return {.status = status,
            .headers = {{"Content-Type", "application/json; charset=utf-8"}, {"Cache-Control", "no-store"}},
            .body = std::move(text)};
}

HTTPResponse HTTPResponse::error(std::string_view text, int status) { return json({{"error", text}}, status); }

std::string HTTPResponse::head() const {
    std::string text;
    text.reserve(512);
    text.append("HTTP/1.1 ").append(std::to_string(status)).append(" ").append(reasonOf(status)).append(lineEnd);
    for (const auto& [name, value] : headers)
        if (!isFixed(name)) append(text, name, value);
    append(text, lengthHeader, std::to_string(body.size()));
    for (const auto& header : fixedHeaders) append(text, header.name, header.value);
    text.append(lineEnd);
    return text;
}

std::optional<HTTPRequest> parseHTTPRequest(std::string_view bytes, std::string_view remoteIP) {
    const auto end = bytes.find(headEnd);
    if (end == std::string_view::npos) return std::nullopt;
    auto request = parseHead(bytes.substr(0, end));
    if (!request) return std::nullopt;
    const auto behind = bytes.substr(end + headEnd.size());
    const auto length = announcedLength(*request);
    if (behind.size() < length) return std::nullopt;
    request->body = behind.substr(0, length);
    request->remoteIP = remoteIP.substr(0, remoteIP.find('%'));
    return request;
}

HTTPRequestReader::State HTTPRequestReader::add(std::string_view bytes) {
    received_ += bytes.size();
    if (received_ > largestRequest) {
        buffer_ = {};
        return State::tooLarge;
    }
    if (hopeless_) return State::incomplete;
    // A request that comes in one piece, as nearly all do, is read where it lies.
    std::string_view all = bytes;
    if (!buffer_.empty()) {
        buffer_.append(bytes);
        all = buffer_;
    }
    const auto state = request_ ? readBody(all) : readHead(all);
    if (hopeless_)
        buffer_ = {};
    else if (state == State::incomplete && buffer_.empty())
        buffer_ = bytes;
    return state;
}

HTTPRequestReader::State HTTPRequestReader::readHead(std::string_view bytes) {
    const auto end = bytes.find(headEnd, searched_);
    if (end == std::string_view::npos) {
        // The blank line may have begun in the last bytes.
        searched_ = bytes.size() < headEnd.size() ? 0 : bytes.size() - (headEnd.size() - 1);
        return State::incomplete;
    }
    request_ = parseHead(bytes.substr(0, end));
    if (!request_) {
        hopeless_ = true;
        return State::incomplete;
    }
    bodyAt_ = end + headEnd.size();
    const auto length = announcedLength(*request_);
    if (length > largestRequest - bodyAt_) {
        hopeless_ = true;
        return State::incomplete;
    }
    needed_ = bodyAt_ + length;
    return readBody(bytes);
}

HTTPRequestReader::State HTTPRequestReader::readBody(std::string_view bytes) {
    if (bytes.size() < needed_) return State::incomplete;
    request_->body = bytes.substr(bodyAt_, needed_ - bodyAt_);
    surplus_ = bytes.size() > needed_;
    return State::complete;
}

HTTPRequest HTTPRequestReader::take(std::string_view remoteIP) {
    HTTPRequest request = std::move(*request_);
    request.remoteIP = remoteIP.substr(0, remoteIP.find('%'));
    request_.reset();
    buffer_ = {};
    return request;
}

}  // namespace kestrelyne
