#pragma once
// The real program, started as a user or a service manager starts it, in an environment of its own.

#include <signal.h>
#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Support/TemporaryFolder.hpp"

/// Folders and environment of one test: a home folder without XDG variables, a folder for temporary files, nothing else of the
/// user's.
class Home {
public:
    Home();

    const std::filesystem::path& path() const { return folder_.path(); }
    std::filesystem::path operator/(const std::string& name) const { return folder_ / name; }
    std::filesystem::path settings() const { return folder_ / "home/.config/Kestrelyne"; }
    std::filesystem::path data() const { return folder_ / "home/.local/share/Kestrelyne"; }

    std::map<std::string, std::string> environment;

private:
    TemporaryFolder folder_;
};

/// One run of it; killed at the end when it still runs.
class BinaryRun {
public:
    BinaryRun(const Home& home, std::vector<std::string> words, const std::string& input = "");
    BinaryRun(const BinaryRun&) = delete;
    BinaryRun& operator=(const BinaryRun&) = delete;
    ~BinaryRun();

    pid_t pid() const { return pid_; }
    void signal(int number);
    /// Its exit code, 128 + n when signal n ended it; absent when it has not ended in time.
    std::optional<int> wait(std::chrono::milliseconds limit = std::chrono::seconds(20));
    /// What it has written so far.
    std::string output() const;
    std::string errors() const;
    /// False when the text does not appear on standard output in time.
    [[nodiscard]] bool prints(const std::string& text, std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

private:
    std::filesystem::path output_, errors_;
    pid_t pid_ = 0;  // 0 when it could not be started
    std::optional<int> code_;
};

/// Runs it to its end.
struct Outcome {
    int code;
    std::string output, errors;
};
Outcome runBinary(const Home& home, std::vector<std::string> words, const std::string& input = "");

/// How many lines the text has.
int linesOf(const std::string& text);

/// A TCP port of loopback that nobody listens on at this moment.
int unusedPort();
