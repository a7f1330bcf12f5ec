#include "Kestrelyne/Remote/WebAPI.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

#include "Base/File.hpp"
#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/App/AppInfo.hpp"
#include "Kestrelyne/Remote/WebServer.hpp"

namespace kestrelyne {

namespace {

constexpr std::string_view anyPiece = "*";
constexpr std::size_t mostPieces = 16;  // more than any route has: what lies behind decides nothing
constexpr const char* machineInfoPath = "/etc/machine-info";
constexpr const char* namelessMachine = "Brantholme";
constexpr const char* sessionLifetime = "2592000";  // seconds: 30 days, after which the device forgets its cookie

HTTPResponse unknown() { return HTTPResponse::error("unbekannt", 404); }

bool fits(const APIRoute& route, const APICall& call) {
    if (route.method != call.request.method || route.pieces.size() + 1 != call.pieces.size()) return false;
    return std::equal(route.pieces.begin(), route.pieces.end(), call.pieces.begin() + 1,
                      [](const std::string& wanted, const std::string& given) { return wanted == anyPiece || wanted == given; });
}

// Without quotes; a backslash within double quotes takes the next character as it is (machine-info(5), os-release(5)).
std::string unquoted(std::string_view text) {
    const bool quoted = text.size() >= 2 && (text.front() == '"' || text.front() == '\'') && text.back() == text.front();
    if (!quoted) return std::string(text);
    const bool escapes = text.front() == '"';
    text = text.substr(1, text.size() - 2);
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (escapes && text[i] == '\\' && i + 1 < text.size()) ++i;
        result += text[i];
    }
    return result;
}

HTTPResponse logout(const APICall&) {
    auto response = HTTPResponse::json({{"ok", true}});
    response.headers["Set-Cookie"] = "kestrelyne_session=; Path=/; Max-Age=0";
    return response;
}

}  // namespace

nlohmann::json APICall::body() const {
    try {
        auto value = base::parseJSON(request.body);
        if (value.is_object()) return value;
    } catch (const base::DecodeError&) {
        // Counts as an empty object.
    }
    return nlohmann::json::object();
}

APIRoute quickRoute(std::string method, std::vector<std::string> pieces, std::function<HTTPResponse(const APICall&)> handler) {
    struct AtOnce {
        static base::Co<HTTPResponse> answer(std::function<HTTPResponse(const APICall&)> handler, APICall call) {
            co_return handler(call);
        }
    };
    return {std::move(method), std::move(pieces),
            [handler = std::move(handler)](APICall call) { return AtOnce::answer(handler, std::move(call)); }};
}

WebAPI::WebAPI(WebServer& server, std::vector<APIRoute> more) : server_(server), machineName_(machineName()) {
    routes_.push_back(quickRoute("GET", {"info"}, [this](const APICall& call) { return info(call); }));
    routes_.push_back(quickRoute("POST", {"login"}, [this](const APICall& call) { return login(call); }));
    routes_.push_back(quickRoute("POST", {"logout"}, logout));
    std::ranges::move(more, std::back_inserter(routes_));
}

base::Co<HTTPResponse> WebAPI::route(HTTPRequest request) {
    APICall call;
    call.authed = server_.isAuthed(request);
    for (const auto piece : base::split(request.path, '/', false)) {
        if (call.pieces.size() == mostPieces) break;
        call.pieces.emplace_back(piece);
    }
    call.request = std::move(request);
    if (call.pieces.size() < 2) co_return unknown();
    // A page of a stranger cannot send this type without asking first, so that no forged form changes anything.
    if (call.request.method == "POST" && call.request.header("content-type").find("application/json") == std::string::npos)
        co_return HTTPResponse::error("JSON erwartet", 400);
    const auto found = std::ranges::find_if(routes_, [&](const APIRoute& candidate) { return fits(candidate, call); });
    if (found == routes_.end()) co_return unknown();
    auto response = co_await found->handler(std::move(call));
    co_return response;
}

HTTPResponse WebAPI::info(const APICall& call) const {
    const auto& request = call.request;
    const auto& config = *server_.config();
    const auto httpsURL = server_.httpsURL();
    const auto userName = request.header("tailscale-user-name");
    nlohmann::ordered_json answer;
    answer["name"] = machineName_;
    answer["control"] = word(config.control);
    answer["authed"] = call.authed;
    answer["pinSet"] = !config.pin.empty();
    answer["https"] = cameOverHTTPS(request);
    answer["httpsURL"] = httpsURL ? nlohmann::ordered_json(*httpsURL) : nlohmann::ordered_json(nullptr);
    answer["vapidKey"] = "";
    answer["user"] = userName.empty() ? request.header("tailscale-user-login") : userName;
    answer["time"] = base::secondsSince1970(base::MainLoop::current().clock().now());
    answer["version"] = AppInfo::version();
    answer["build"] = AppInfo::build();
    answer["copyright"] = AppInfo::copyright();
    answer["platform"] = "macOS";
    return HTTPResponse::json(answer);
}

HTTPResponse WebAPI::login(const APICall& call) {
    const auto& address = call.request.remoteIP;
    if (server_.tooManyAttempts(address)) return HTTPResponse::error("Zu viele Versuche – eine Minute warten", 429);
    const auto body = call.body();
    const auto* pin = base::member(body, "pin");
    const auto token = server_.login(pin && pin->is_string() ? pin->get<std::string>() : std::string(), address);
    if (!token) return HTTPResponse::error("PIN falsch", 401);
    auto response = HTTPResponse::json({{"ok", true}});
    response.headers["Set-Cookie"] = "kestrelyne_session=" + *token + "; Path=/; Max-Age=" + sessionLifetime +
                                     "; HttpOnly; SameSite=Strict" + (cameOverHTTPS(call.request) ? "; Secure" : "");
    return response;
}

bool cameOverHTTPS(const HTTPRequest& request) {
    return request.header("x-forwarded-proto") == "https" || request.headers.contains("tailscale-user-login");
}

std::string prettyHostName(std::string_view machineInfo) {
    constexpr std::string_view key = "PRETTY_HOSTNAME=";
    std::string name;
    for (const auto line : base::split(machineInfo, '\n', false)) {
        const auto text = base::trimmed(line);
        if (text.starts_with(key)) name = unquoted(base::trimmed(text.substr(key.size())));
    }
    return base::repairUTF8(base::trimmed(name));
}

std::string machineName() {
    constexpr std::size_t largestMachineInfo = 65536;
    if (const auto text = base::readFile(machineInfoPath, largestMachineInfo))
        if (auto name = prettyHostName(*text); !name.empty()) return name;
    std::array<char, 256> host{};  // HOST_NAME_MAX is 64
    if (gethostname(host.data(), host.size() - 1) == 0 && host[0] != '\0') return base::repairUTF8(host.data());
    return namelessMachine;
}

}  // namespace kestrelyne
