#include <fmt/format.h>

#include <iostream>

#include "Base/JSONFields.hpp"
#include "Commands.hpp"
#include "Kestrelyne/App/StatusText.hpp"
#include "RunningProgram.hpp"
#include "Say.hpp"

namespace kestrelyne {

ExitCode statusCommand(const Where& where, const StatusWords& words) {
    const auto running = findRunningProgram(where);
    if (!running)
        throw ControlError("Es läuft kein Programm mit den Einstellungen in „" + foldersOf(where).settings.string() + "“.",
                           ExitCode::notRunning);
    const auto status = running->client->request({{"verb", "status"}});
    say(stderr, "{}\n", running->description);
    if (words.json)
        std::cout << status.dump(2, ' ', false, base::JSON::error_handler_t::replace) << '\n';
    else
        std::cout << statusReport(status, base::SystemClock::shared().now());
    return ExitCode::done;
}

}  // namespace kestrelyne
