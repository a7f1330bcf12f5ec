#pragma once
// The JSON interface below "/api/": a table of routes, tried in order. Main thread.

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Task.hpp"
#include "Kestrelyne/Remote/HTTPMessage.hpp"

namespace kestrelyne {

class WebServer;

/// One call of the interface.
struct APICall {
    HTTPRequest request;
    std::vector<std::string> pieces;  // of the path, empty ones dropped; piece 0 is "api"
    bool authed = false;              // a valid session

    /// The body as a JSON object; an empty object when it is none.
    nlohmann::json body() const;
};

/// A method and the pieces behind "api"; "*" stands for any one piece.
struct APIRoute {
    using Handler = std::function<base::Co<HTTPResponse>(APICall)>;
    std::string method;
    std::vector<std::string> pieces;
    Handler handler;
};

/// A route that answers at once.
APIRoute quickRoute(std::string method, std::vector<std::string> pieces, std::function<HTTPResponse(const APICall&)> handler);

class WebAPI {
public:
    /// `more` is tried behind info, login and logout, in its order. The server outlives this.
    WebAPI(WebServer& server, std::vector<APIRoute> more);

    /// Answers a request whose path begins with "/api/"; 404 "unbekannt" when no route fits. This outlives the call.
    base::Co<HTTPResponse> route(HTTPRequest request);

private:
    HTTPResponse info(const APICall& call) const;
    HTTPResponse login(const APICall& call);

    WebServer& server_;
    std::vector<APIRoute> routes_;
    std::string machineName_;
};

/// The request came over HTTPS, by what the proxy in front says.
bool cameOverHTTPS(const HTTPRequest& request);

/// The name people gave this computer (PRETTY_HOSTNAME of the text of /etc/machine-info, see machine-info(5)); "" when it has none.
/// Pure.
std::string prettyHostName(std::string_view machineInfo);
/// That name, else the host name, else "Brantholme".
std::string machineName();

}  // namespace kestrelyne
