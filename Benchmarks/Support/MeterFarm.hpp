#pragma once
// The meters that benchmarks read: a process of its own with fixed answers.

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <string>

extern char** environ;

namespace support {

/// Listens on `count` ports of 127.0.0.1 from `firstPort` on while it lives.
class MeterFarm {
public:
    MeterFarm(std::uint16_t firstPort, int count) : firstPort_(firstPort) {
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("no pipe for the meter farm");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, ends[0]);
        std::string program = KESTRELYNE_METERFARM, port = std::to_string(firstPort), number = std::to_string(count);
        char* words[] = {program.data(), port.data(), number.data(), nullptr};
        const int failed = posix_spawn(&process_, program.c_str(), &actions, nullptr, words, environ);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        // It says one line when it listens, and nothing when it cannot.
        char said;
        const bool ready = failed == 0 && read(ends[0], &said, 1) == 1;
        close(ends[0]);
        if (!ready) throw std::runtime_error("the meter farm does not start");
    }
    MeterFarm(const MeterFarm&) = delete;
    MeterFarm& operator=(const MeterFarm&) = delete;
    ~MeterFarm() {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
    }

    std::uint16_t firstPort() const { return firstPort_; }

private:
    const std::uint16_t firstPort_;
    pid_t process_ = 0;
};

}  // namespace support
