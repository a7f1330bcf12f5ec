#include <fmt/format.h>

#include <iostream>

#include "Base/JSONFields.hpp"
#include "Commands.hpp"
#include "Kestrelyne/App/StatusText.hpp"
#include "NetworkRequests.hpp"
#include "RunningProgram.hpp"
#include "Say.hpp"

namespace kestrelyne {

ExitCode statusCommand(const Where& where, const StatusWords& words) {
    const auto running = needRunningProgram(where);
    const auto status = running.client->request({{"verb", "status"}});
    say(stderr, "{}\n", running.description);
    if (words.json)
        printJSON(status);
    else
        std::cout << statusReport(status, base::SystemClock::shared().now());
    return ExitCode::done;
}

}  // namespace kestrelyne
