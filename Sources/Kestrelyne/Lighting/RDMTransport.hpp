#pragma once
// Request and reply over Art-Net's datagrams: who waits for which answer, and which devices the nodes have named.

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "Base/Completion.hpp"
#include "Base/Mutex.hpp"
#include "Base/Task.hpp"
#include "Kestrelyne/Network/RDMReceiver.hpp"
#include "NetCore/ArtNetRDM.hpp"
#include "NetCore/RDM.hpp"

namespace kestrelyne {

/// One mutex, held for operations on the two maps alone: never across a send, a wait or the resuming of a waiter.
class RDMTransport final : public RDMReceiver {
public:
    /// Device lists together hold no more: a node that invents devices does not fill the memory.
    static constexpr std::size_t mostDevices = 65536;

    /// A place among those who wait, taken when it is made and left when it dies, also with a cancelled task. Main thread; does not
    /// outlive the transport.
    class Waiter {
    public:
        Waiter(RDMTransport& transport, const netcore::RDM::UID& uid, std::uint8_t transaction);
        Waiter(const Waiter&) = delete;
        Waiter& operator=(const Waiter&) = delete;
        ~Waiter();
        /// The response that has come since this place was taken; absent when the time, from now on, has passed first.
        base::Co<std::optional<netcore::RDM::Response>> answer(base::Seconds timeout) const { return completion_.wait(timeout); }

    private:
        RDMTransport& transport_;
        const std::string key_;
        const base::Completion<netcore::RDM::Response> completion_;
        std::uint64_t number_ = 0;
    };

    /// Waits for the response of this device to this transaction; absent when the time has passed first. One that came before is
    /// lost. Main thread.
    base::Co<std::optional<netcore::RDM::Response>> wait(netcore::RDM::UID uid, std::uint8_t transaction, base::Seconds timeout);
    /// Resumes who waits for it, exactly once; dropped when nobody does. Any thread.
    void deliver(netcore::RDM::Response response);
    /// Adds to the list of a node's universe. Any thread.
    void deliver(const netcore::ArtNet::TodData& tod, int universe, const std::string& from);

    /// The devices that a node has named on a universe. Any thread.
    std::set<netcore::RDM::UID> devices(const std::string& node, int universe) const;
    /// How many wait. Any thread.
    std::size_t waiting() const;

    /// What arrives; any thread.
    void handleTod(const netcore::ArtNet::TodData& tod, const std::string& sender) override;
    void handleRdm(const netcore::ArtNet::RdmData& rdm) override;
    /// Forgets the lists; waiters stay.
    void clear() override;

private:
    struct Pending {
        std::uint64_t number;  // of its Waiter: a later one may have taken the same key
        base::Completion<netcore::RDM::Response> completion;
    };

    mutable base::Mutex lock_;
    std::map<std::string, Pending> pending_ KESTRELYNE_GUARDED_BY(lock_);                   // by "UID/transaction"
    std::map<std::string, std::set<netcore::RDM::UID>> tods_ KESTRELYNE_GUARDED_BY(lock_);  // by "IP#universe"
    std::size_t named_ KESTRELYNE_GUARDED_BY(lock_) = 0;                                    // devices in all lists
    std::uint64_t lastNumber_ KESTRELYNE_GUARDED_BY(lock_) = 0;
};

}  // namespace kestrelyne
