#include "Kestrelyne/Remote/WebAccess.hpp"

#include <cstdint>
#include <span>

#include "Base/Text.hpp"
#include "Base/UUID.hpp"

namespace kestrelyne {

namespace {

constexpr std::size_t tokenBytes = 32;

std::string freshToken() {
    const auto bytes = base::randomBytes(tokenBytes);
    return base::hex({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

}  // namespace

WebAccess::WebAccess(const std::vector<std::string>& sessions) {
    for (const auto& token : sessions) addSession(token);
}

void WebAccess::endAllSessions() {
    sessions_.clear();
    known_.clear();
}

bool WebAccess::tooManyAttempts(const std::string& address, base::SteadyTime now) {
    forgetAttempts(now);
    const auto found = countOf_.find(address);
    return found != countOf_.end() && found->second >= attemptsAllowed;
}

std::optional<std::string> WebAccess::login(std::string_view given, std::string_view pin, const std::string& address,
                                            base::SteadyTime now) {
    if (tooManyAttempts(address, now)) return std::nullopt;
    if (attempts_.size() >= mostAttempts) forgetOldestAttempt();
    attempts_.push_back({now, address});
    ++countOf_[address];

    const bool right = base::equalInConstantTime(pin, given);
    if (pin.empty() || !right) return std::nullopt;
    auto token = freshToken();
    addSession(token);
    return token;
}

void WebAccess::forgetAttempts(base::SteadyTime now) {
    while (!attempts_.empty() && now - attempts_.front().time >= attemptWindow) forgetOldestAttempt();
}

void WebAccess::forgetOldestAttempt() {
    const auto found = countOf_.find(attempts_.front().address);
    if (--found->second == 0) countOf_.erase(found);
    attempts_.pop_front();
}

void WebAccess::addSession(std::string token) {
    if (!known_.insert(token).second) return;
    sessions_.push_back(std::move(token));
    if (sessions_.size() <= mostSessions) return;
    known_.erase(sessions_.front());
    sessions_.pop_front();
}

}  // namespace kestrelyne
