#include "Base/ChildProcess.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>

#include "Base/FileDescriptor.hpp"
#include "Base/Text.hpp"

namespace base {

namespace {

constexpr std::size_t mostOutput = std::size_t{8} << 20;
constexpr Seconds graceAfterTerminate{1};
// A killed child is gone at once, unless it hangs in the kernel or others hold its output open.
constexpr Seconds graceAfterKill{1};

// The function in glibc 2.36's <sys/pidfd.h> is not declared for C++. The descriptor is close-on-exec by itself.
int openProcess(pid_t id) { return static_cast<int>(syscall(SYS_pidfd_open, id, 0)); }

struct Pipe {
    FileDescriptor reading, writing;
};

std::optional<Pipe> makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return std::nullopt;
    return Pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

std::optional<pid_t> spawn(const std::string& path, const std::vector<std::string>& arguments, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    if (posix_spawn_file_actions_init(&actions) != 0) return std::nullopt;
    if (posix_spawnattr_init(&attributes) != 0) {
        posix_spawn_file_actions_destroy(&actions);
        return std::nullopt;
    }
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);

    // This program's threads block all signals and it ignores SIGPIPE; both would be inherited. A group of its own lets
    // a time limit reach what the child has started.
    sigset_t none, pipeSignal;
    sigemptyset(&none);
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &pipeSignal);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);

    std::vector<char*> words;
    words.push_back(const_cast<char*>(path.c_str()));
    for (const auto& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    pid_t child = -1;
    const int error = posix_spawn(&child, path.c_str(), &actions, &attributes, words.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) return std::nullopt;
    return child;
}

/// One running child: its output is gathered while its end is awaited.
class Child {
public:
    Child(pid_t id, FileDescriptor output) : id_(id), output_(std::move(output)), end_(openProcess(id)) {}

    /// True when the output is at its end and the child has exited before the time has passed.
    bool awaitEnd(Seconds limit) {
        const auto deadline = SystemClock::shared().steadyNow() + nanoseconds(limit);
        while (output_ || !reap()) {
            const Seconds left = deadline - SystemClock::shared().steadyNow();
            if (left.count() <= 0) return false;
            step(left);
        }
        return true;
    }
    /// To the whole group, so that what the child has started ends too.
    void signal(int number) { kill(-id_, number); }
    /// Reads no further: what the child has started and is out of reach may hold the output open for ever.
    void dropOutput() { output_.reset(); }

    ChildResult result(bool timedOut) const { return {repairUTF8(text_), exitCode_, timedOut}; }

private:
    bool reap() {
        int status = 0;
        const auto ended = waitpid(id_, &status, WNOHANG);
        if (ended == 0 || (ended < 0 && errno == EINTR)) return false;
        if (ended == id_ && WIFEXITED(status)) exitCode_ = WEXITSTATUS(status);
        return true;
    }
    // Waits for output, the child's end or the time, whichever is first.
    void step(Seconds left) {
        // Without a descriptor for the process (a container may forbid it) its end is looked for now and then.
        constexpr Seconds lookAgain{0.01};
        if (!output_ && !end_) left = std::min(left, lookAgain);
        std::array<pollfd, 2> events = {{{output_.get(), POLLIN, 0}, {output_ ? -1 : end_.get(), POLLIN, 0}}};
        const auto milliseconds = static_cast<int>(std::min(std::ceil(left.count() * 1000), 1e9));
        if (poll(events.data(), events.size(), milliseconds) > 0 && events[0].revents != 0) readOutput();
    }
    void readOutput() {
        std::array<char, 65536> piece;
        const auto got = read(output_.get(), piece.data(), piece.size());
        if (got < 0 && errno == EINTR) return;
        if (got <= 0) {
            output_.reset();
            return;
        }
        text_.append(piece.data(), std::min(static_cast<std::size_t>(got), mostOutput - text_.size()));
    }

    pid_t id_;
    FileDescriptor output_, end_;
    std::string text_;
    int exitCode_ = -1;
};

}  // namespace

std::optional<ChildResult> runChild(const std::string& path, const std::vector<std::string>& arguments, Seconds timeout) {
    auto pipe = makePipe();
    if (!pipe) return std::nullopt;
    const auto id = spawn(path, arguments, pipe->writing.get());
    if (!id) return std::nullopt;
    pipe->writing.reset();
    Child child(*id, std::move(pipe->reading));
    if (child.awaitEnd(timeout)) return child.result(false);
    child.signal(SIGTERM);
    if (!child.awaitEnd(graceAfterTerminate)) {
        child.signal(SIGKILL);
        if (!child.awaitEnd(graceAfterKill)) {
            child.dropOutput();
            child.awaitEnd(graceAfterKill);
        }
    }
    return child.result(true);
}

}  // namespace base
