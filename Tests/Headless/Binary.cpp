#include "Headless/Binary.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <thread>

#include "Base/File.hpp"
#include "Base/FileDescriptor.hpp"

namespace {

std::string binary() {
    const char* path = std::getenv("KESTRELYNE_BINARY");
    EXPECT_NE(path, nullptr) << "KESTRELYNE_BINARY names the program";
    return path ? path : "";
}

}  // namespace

Home::Home() {
    for (const auto* name : {"PATH", "LC_ALL", "TZ", "ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"})
        if (const char* value = std::getenv(name)) environment[name] = value;
    environment["HOME"] = folder_ / "home";
    environment["TMPDIR"] = folder_ / "tmp";
    std::filesystem::create_directory(folder_ / "home");
    std::filesystem::create_directory(folder_ / "tmp");
}

BinaryRun::BinaryRun(const Home& home, std::vector<std::string> words, const std::string& input) {
    static std::atomic<int> runs = 0;
    const auto name = "run." + std::to_string(++runs);
    output_ = home / (name + ".output");
    errors_ = home / (name + ".errors");
    base::replaceFile(home / (name + ".input"), input);

    words.insert(words.begin(), binary());
    std::vector<char*> arguments, variables;
    for (auto& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    std::vector<std::string> environment;
    for (const auto& [key, value] : home.environment) environment.push_back(key + "=" + value);
    for (auto& variable : environment) variables.push_back(variable.data());
    variables.push_back(nullptr);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 0, (home / (name + ".input")).c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, 1, output_.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&files, 2, errors_.c_str(), O_WRONLY | O_CREAT, 0600);
    pid_t started = 0;
    const int failure = posix_spawn(&started, arguments[0], &files, nullptr, arguments.data(), variables.data());
    posix_spawn_file_actions_destroy(&files);
    EXPECT_EQ(failure, 0) << "cannot start „" << words[0] << "“";
    if (failure == 0) pid_ = started;
}

void BinaryRun::signal(int number) {
    // 0 and below would mean whole groups of processes.
    if (pid_ > 0) kill(pid_, number);
}

BinaryRun::~BinaryRun() {
    if (pid_ <= 0 || code_) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

std::optional<int> BinaryRun::wait(std::chrono::milliseconds limit) {
    if (pid_ <= 0) return std::nullopt;
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!code_) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            code_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
            break;
        }
        if (std::chrono::steady_clock::now() > end) return std::nullopt;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return code_;
}

std::string BinaryRun::output() const { return base::readFile(output_).value_or(""); }
std::string BinaryRun::errors() const { return base::readFile(errors_).value_or(""); }

bool BinaryRun::prints(const std::string& text, std::chrono::milliseconds limit) const {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (output().find(text) == std::string::npos) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

Outcome runBinary(const Home& home, std::vector<std::string> words, const std::string& input) {
    BinaryRun started(home, std::move(words), input);
    const auto code = started.wait();
    EXPECT_TRUE(code) << "it does not end";
    return {code.value_or(-1), started.output(), started.errors()};
}

int linesOf(const std::string& text) { return static_cast<int>(std::count(text.begin(), text.end(), '\n')); }

int unusedPort() {
    const base::FileDescriptor probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(probe.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
    getsockname(probe.get(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}
