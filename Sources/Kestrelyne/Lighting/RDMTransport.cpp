#include "Kestrelyne/Lighting/RDMTransport.hpp"

namespace kestrelyne {

namespace RDM = netcore::RDM;

namespace {

std::string keyOf(const RDM::UID& uid, std::uint8_t transaction) { return uid.text() + "/" + std::to_string(transaction); }
std::string keyOf(const std::string& node, int universe) { return node + "#" + std::to_string(universe); }

// Of all devices, or of all of one maker (ANSI E1.20, 5.1.4): no device has it, and a command to it would reach all of them.
bool isBroadcast(const RDM::UID& uid) { return uid.device == 0xFFFFFFFF; }

}  // namespace

RDMTransport::Waiter::Waiter(RDMTransport& transport, const RDM::UID& uid, std::uint8_t transaction)
    : transport_(transport), key_(keyOf(uid, transaction)) {
    base::Lock lock(transport_.lock_);
    number_ = ++transport_.lastNumber_;
    transport_.pending_.insert_or_assign(key_, Pending{.number = number_, .completion = completion_});
}

RDMTransport::Waiter::~Waiter() {
    base::Lock lock(transport_.lock_);
    const auto found = transport_.pending_.find(key_);
    if (found != transport_.pending_.end() && found->second.number == number_) transport_.pending_.erase(found);
}

base::Co<std::optional<RDM::Response>> RDMTransport::wait(RDM::UID uid, std::uint8_t transaction, base::Seconds timeout) {
    const Waiter waiter(*this, uid, transaction);
    auto response = co_await waiter.answer(timeout);
    co_return response;
}

void RDMTransport::deliver(RDM::Response response) {
    decltype(pending_)::node_type waiter;
    {
        base::Lock lock(lock_);
        waiter = pending_.extract(keyOf(response.source, response.transaction));
    }
    // Who has taken the entry out resumes its waiter, and nobody else can: a response that comes twice finds none.
    if (waiter) waiter.mapped().completion.complete(std::move(response));
}

void RDMTransport::deliver(const netcore::ArtNet::TodData& tod, int universe, const std::string& from) {
    base::Lock lock(lock_);
    for (const auto& uid : tod.uids) {
        if (named_ >= mostDevices) return;
        if (!isBroadcast(uid) && tods_[keyOf(from, universe)].insert(uid).second) ++named_;
    }
}

std::set<RDM::UID> RDMTransport::devices(const std::string& node, int universe) const {
    base::Lock lock(lock_);
    const auto found = tods_.find(keyOf(node, universe));
    return found == tods_.end() ? std::set<RDM::UID>() : found->second;
}

std::size_t RDMTransport::waiting() const {
    base::Lock lock(lock_);
    return pending_.size();
}

void RDMTransport::handleTod(const netcore::ArtNet::TodData& tod, const std::string& sender) { deliver(tod, tod.universe, sender); }

void RDMTransport::handleRdm(const netcore::ArtNet::RdmData& rdm) {
    if (auto response = RDM::parse(rdm.packet)) deliver(std::move(*response));
}

void RDMTransport::clear() {
    base::Lock lock(lock_);
    tods_.clear();
    named_ = 0;
}

}  // namespace kestrelyne
