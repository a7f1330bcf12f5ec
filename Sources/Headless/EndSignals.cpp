#include "EndSignals.hpp"

#include <pthread.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <thread>

namespace kestrelyne {

EndSignals::EndSignals() {
    sigemptyset(&set_);
    sigaddset(&set_, SIGINT);
    sigaddset(&set_, SIGTERM);
    struct sigaction hangUp {};
    sigaction(SIGHUP, nullptr, &hangUp);
    if (hangUp.sa_handler != SIG_IGN) sigaddset(&set_, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &set_, nullptr);
}

void EndSignals::watch(base::Function<void()> begin, base::Seconds limit, std::function<void(bool again)> endNow) {
    std::thread([set = set_, begin = std::move(begin), limit, endNow = std::move(endNow)]() mutable {
        pthread_setname_np(pthread_self(), "end.signals");
        int signal = 0;
        while (sigwait(&set, &signal) != 0) {}
        const auto end = std::chrono::steady_clock::now() + limit;
        begin();
        for (;;) {
            const base::Seconds left = std::max(base::Seconds(end - std::chrono::steady_clock::now()), base::Seconds(0));
            double whole = 0;
            const double fraction = std::modf(left.count(), &whole);
            const timespec wait{.tv_sec = static_cast<time_t>(whole), .tv_nsec = static_cast<long>(fraction * 1e9)};
            const int came = sigtimedwait(&set, nullptr, &wait);
            if (came > 0) endNow(true);
            if (errno == EAGAIN) endNow(false);
        }
    }).detach();
}

}  // namespace kestrelyne
