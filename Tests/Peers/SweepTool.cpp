// Sweeps the addresses on standard input, one a line, as a search does: range by range. Prints a line for each that answers, and
// last the figures of the whole.
//   SweepTool ADDRESSES-OF-A-RANGE SECONDS-OF-A-RANGE

#include <fmt/format.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "NetCore/Ping.hpp"

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// The rest of a range's time is for sending and for the load of the machine.
constexpr double waitingShare = 0.9;

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

int main(int count, char** words) {
    if (count != 3) return 2;
    const auto size = std::strtoul(words[1], nullptr, 10);
    const Seconds period(std::strtod(words[2], nullptr));
    if (size == 0) return 2;

    std::vector<std::string> addresses;
    for (std::string line; std::getline(std::cin, line);) addresses.push_back(line);

    const auto begun = Clock::now();
    std::size_t answers = 0;
    for (auto next = addresses.cbegin(); next != addresses.cend();) {
        const auto started = Clock::now();
        const auto end = next + std::min(static_cast<std::ptrdiff_t>(size), addresses.cend() - next);
        const auto swept = netcore::Ping::sweep({next, end}, period * waitingShare);
        next = end;
        if (!swept) {
            fmt::print(stderr, "{}\n", netcore::Ping::missingRight());
            return 1;
        }
        for (const auto& [ip, seconds] : *swept) fmt::print("{} {:.6f}\n", ip, seconds);
        answers += swept->size();
        if (next != addresses.cend()) std::this_thread::sleep_until(started + std::chrono::duration_cast<Clock::duration>(period));
    }
    fmt::print("answers {} time {:.3f} cpu {:.4f}\n", answers, Seconds(Clock::now() - begun).count(), cpuSeconds());
}
