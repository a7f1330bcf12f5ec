#include <iostream>

#include "Base/JSONFields.hpp"
#include "Commands.hpp"
#include "Kestrelyne/App/NetworkText.hpp"
#include "NetworkRequests.hpp"

namespace kestrelyne {

ExitCode versionsCommand(const Where& where, const VersionsWords& words) {
    const auto answer = askRunningProgram(where, {{"verb", "versions"}});
    if (words.json)
        printJSON(answer);
    else
        std::cout << versionTable(answer);
    return ExitCode::done;
}

}  // namespace kestrelyne
