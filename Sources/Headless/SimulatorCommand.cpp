#include <iostream>

#include "Base/JSONFields.hpp"
#include "Commands.hpp"
#include "Kestrelyne/App/SimulatorVerbs.hpp"
#include "NetworkRequests.hpp"

namespace kestrelyne {

ExitCode simulatorCommand(const Where& where, const SimulatorWords& words) {
    base::JSON request = {{"verb", "simulator.show"}};
    if (words.verb != SimulatorWords::Verb::show) {
        const bool fault = words.verb == SimulatorWords::Verb::fault;
        request = {{"verb", fault ? "simulator.fault" : "simulator.switch"}, {"name", words.name}, {"on", words.on}};
    }
    std::cout << simulatorReport(askRunningProgram(where, request));
    return ExitCode::done;
}

}  // namespace kestrelyne
