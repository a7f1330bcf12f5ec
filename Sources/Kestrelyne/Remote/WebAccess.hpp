#pragma once
// Who may act: the sessions that the PIN has opened, and how often an address has tried it. State without clock and store.

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Base/Clock.hpp"

namespace kestrelyne {

class WebAccess {
public:
    /// Sessions beyond this are dropped, the oldest first.
    static constexpr std::size_t mostSessions = 10000;
    /// Attempts remembered over all addresses; beyond it the oldest are forgotten.
    static constexpr std::size_t mostAttempts = 10000;
    /// So many attempts of one address within the window, right or wrong; the next is refused.
    static constexpr std::size_t attemptsAllowed = 5;
    static constexpr base::Seconds attemptWindow{60};

    WebAccess() = default;
    /// With the sessions of an earlier run, the oldest first.
    explicit WebAccess(const std::vector<std::string>& sessions);

    bool hasSession(const std::string& token) const { return known_.contains(token); }
    /// The oldest first.
    const std::deque<std::string>& sessions() const { return sessions_; }
    void endAllSessions();

    bool tooManyAttempts(const std::string& address, base::SteadyTime now);
    /// Counts the attempt. The token of a new session (64 hexadecimal digits from the system's random source) when the PIN is
    /// right; absent when it is wrong, when none is set or when the address has tried too often. Takes the same time whatever the
    /// guess.
    std::optional<std::string> login(std::string_view given, std::string_view pin, const std::string& address,
                                     base::SteadyTime now);

    /// Attempts within the window, over all addresses, as of the last call.
    std::size_t rememberedAttempts() const { return attempts_.size(); }

private:
    struct Attempt {
        base::SteadyTime time;
        std::string address;
    };
    void forgetAttempts(base::SteadyTime now);
    void forgetOldestAttempt();
    void addSession(std::string token);

    std::deque<std::string> sessions_;
    std::unordered_set<std::string> known_;
    std::deque<Attempt> attempts_;                          // the oldest first
    std::unordered_map<std::string, std::size_t> countOf_;  // of `attempts_` by address
};

}  // namespace kestrelyne
