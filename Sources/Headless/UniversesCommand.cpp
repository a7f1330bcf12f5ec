#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <thread>

#include "Base/JSONFields.hpp"
#include "Commands.hpp"
#include "Kestrelyne/App/NetworkText.hpp"
#include "NetworkRequests.hpp"
#include "RunningProgram.hpp"
#include "Say.hpp"

namespace kestrelyne {

namespace {

constexpr auto pause = std::chrono::seconds(1);
constexpr std::size_t usualRows = 24, usualColumns = 80;

// ECMA-48: CUP and ED. Drawn over the last picture, so that nothing flickers; what was longer goes.
constexpr const char* toTheTop = "\x1B[H";
constexpr const char* clearAll = "\x1B[2J";
constexpr const char* clearRest = "\x1B[J";
constexpr const char* clearLine = "\x1B[K";

struct TerminalSize {
    std::size_t rows = usualRows, columns = usualColumns;
};
TerminalSize terminalSize() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) return {};
    return {size.ws_row, size.ws_col};
}

void redraw(const std::string& report) {
    const auto size = terminalSize();
    // The last row stays free: a line end in it would scroll.
    const auto shown = fitted(report, size.rows - 1, size.columns);
    std::string drawn = toTheTop;
    for (const char c : shown) drawn += c == '\n' ? std::string(clearLine) + c : std::string(1, c);
    std::cout << drawn << clearRest << std::flush;
}

ExitCode watch(RunningProgram& program) {
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    if (terminal) std::cout << clearAll;
    for (;;) {
        const auto answer = program.client->request({{"verb", "universes"}});
        const auto report = universeReport(answer, base::SystemClock::shared().now());
        if (terminal)
            redraw(report);
        else
            std::cout << report << '\n' << std::flush;
        if (!std::cout) return ExitCode::failed;
        std::this_thread::sleep_for(pause);
    }
}

ExitCode watchAsJSON(RunningProgram& program) {
    for (;;) {
        printJSON(program.client->request({{"verb", "universes"}}), -1);
        std::cout << std::flush;
        if (!std::cout) return ExitCode::failed;
        std::this_thread::sleep_for(pause);
    }
}

}  // namespace

ExitCode universesCommand(const Where& where, const UniversesWords& words) {
    if (words.watch) {
        auto program = needRunningProgram(where);
        say(stderr, "{}\n", program.description);
        return words.json ? watchAsJSON(program) : watch(program);
    }
    const auto answer = askRunningProgram(where, {{"verb", "universes"}});
    if (words.json)
        printJSON(answer);
    else
        std::cout << universeReport(answer, base::SystemClock::shared().now());
    return ExitCode::done;
}

}  // namespace kestrelyne
