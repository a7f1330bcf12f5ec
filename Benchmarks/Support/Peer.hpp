#pragma once
// A process of its own that a benchmark measures against.

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string>
#include <vector>

extern char** environ;

namespace support {

/// Runs while it lives. Throws when the program does not say by a line on its standard output that it is ready.
class Peer {
public:
    explicit Peer(std::vector<std::string> words) {
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("no pipe for " + words.front());
        output_ = ends[0];
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, ends[0]);
        std::vector<char*> arguments;
        for (auto& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        const int failed = posix_spawn(&process_, words.front().c_str(), &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        char said = 0;
        while (failed == 0 && said != '\n' && read(output_, &said, 1) == 1) continue;
        if (said == '\n') return;
        close(output_);
        throw std::runtime_error(words.front() + " does not start");
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer() {
        close(output_);
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
    }

    /// What else it says until it closes its standard output; waits for that.
    std::string rest() {
        std::string text;
        std::array<char, 256> piece;
        for (ssize_t size; (size = read(output_, piece.data(), piece.size())) > 0;)
            text.append(piece.data(), static_cast<std::size_t>(size));
        return text;
    }

private:
    pid_t process_ = 0;
    int output_ = -1;
};

}  // namespace support
