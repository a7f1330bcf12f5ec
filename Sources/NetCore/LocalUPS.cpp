#include "NetCore/LocalUPS.hpp"

#include "Base/Mutex.hpp"
#include "Base/SerialQueue.hpp"
#include "NetCore/LocalUPSFinding.hpp"
#include "NetCore/NUTClient.hpp"
#include "NetCore/NUTFacts.hpp"
#include "NetCore/UPowerBus.hpp"
#include "NetCore/UPowerFacts.hpp"

namespace netcore {

/// Its queue belongs to it, and whatever the queue still runs keeps it alive: the last one to let go is the queue's own thread.
class LocalUPS::Session : public std::enable_shared_from_this<Session> {
public:
    explicit Session(Sources sources)
        : sources_(std::move(sources)),
          bus_(sources_.busAddress),
          busRetry_(sources_.retry),
          nutRetry_(sources_.retry),
          queue_("ups.local") {}

    std::vector<Entry> read() {
        std::vector<Entry> entries;
        {
            const base::Lock lock(mutex_);
            entries = entries_;
            if (std::exchange(asking_, true)) return entries;
        }
        queue_.post([self = shared_from_this()] { self->ask(); });
        return entries;
    }

    void end() {
        queue_.post([self = shared_from_this()] {});
    }

private:
    // Everything below: queue thread only.

    // UPower does not see a UPS that NUT holds; so both are asked while the first knows of none.
    void ask() {
        auto findings = ofUPower();
        if (findings.empty()) findings = ofNUT();
        auto entries = numbers_.entries(std::move(findings));
        const base::Lock lock(mutex_);
        entries_ = std::move(entries);
        asking_ = false;
    }

    static base::Moment now() { return base::SystemClock::shared().moment(); }

    template <class Device>
    std::vector<LocalUPSFinding> findingsOf(const std::optional<std::vector<Device>>& devices, ServiceRetry& retry,
                                            std::optional<LocalUPSFinding> (*finding)(const Device&, const base::Moment&)) {
        const auto time = now();
        retry.note(devices.has_value(), time.steady);
        std::vector<LocalUPSFinding> findings;
        if (devices)
            for (const auto& device : *devices)
                if (auto found = finding(device, time)) findings.push_back(std::move(*found));
        return findings;
    }

    std::vector<LocalUPSFinding> ofUPower() {
        if (!busRetry_.due(now().steady)) return {};
        return findingsOf(bus_.devices(sources_.limit), busRetry_, upowerFinding);
    }

    std::vector<LocalUPSFinding> ofNUT() {
        if (!nutRetry_.due(now().steady)) return {};
        return findingsOf(readNUTDevices(sources_.nutPort, sources_.limit), nutRetry_, nutFinding);
    }

    const Sources sources_;
    UPowerBus bus_;
    ServiceRetry busRetry_, nutRetry_;
    LocalUPSNumbers numbers_;
    base::Mutex mutex_;
    std::vector<Entry> entries_ KESTRELYNE_GUARDED_BY(mutex_);
    bool asking_ KESTRELYNE_GUARDED_BY(mutex_) = false;
    base::SerialQueue queue_;
};

LocalUPS::LocalUPS(Sources sources) : session_(std::make_shared<Session>(std::move(sources))) {}

// Not waited for: an asking under way ends by its time limit.
LocalUPS::~LocalUPS() { session_->end(); }

std::vector<LocalUPS::Entry> LocalUPS::read() { return session_->read(); }

}  // namespace netcore
