#pragma once
// Calls one route of the JSON interface as the server would.

#include <map>
#include <string>
#include <utility>

#include "Base/Task.hpp"
#include "Kestrelyne/Remote/WebAPI.hpp"
#include "Support/TestLoop.hpp"

namespace kestrelyne {

/// Of a route that answers at once.
inline HTTPResponse answerOf(TestLoop& loop, const APIRoute& route, std::map<std::string, std::string> query = {}) {
    HTTPResponse response;
    const auto body = [](APIRoute::Handler handler, APICall call, HTTPResponse& result) -> base::Co<> {
        result = co_await handler(std::move(call));
    };
    APICall call;
    call.pieces = {"api"};
    call.pieces.insert(call.pieces.end(), route.pieces.begin(), route.pieces.end());
    call.request.query = std::move(query);
    const base::Task task("request", body(route.handler, std::move(call), response));
    loop.runTurns();
    return response;
}

}  // namespace kestrelyne
