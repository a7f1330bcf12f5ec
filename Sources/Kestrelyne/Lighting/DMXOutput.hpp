#pragma once
// The test light: lamps lit without a console. It sends only where nobody else does, and goes as soon as somebody begins.

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Observable.hpp"
#include "Base/Task.hpp"
#include "Kestrelyne/Lighting/DMXSender.hpp"
#include "Kestrelyne/Lighting/PatchStore.hpp"
#include "Kestrelyne/Network/LightingStates.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"

namespace kestrelyne {

/// What the test light asks of the network; main thread.
struct DMXNetwork {
    std::function<bool()> running;
    /// The senders of a universe at this moment; of what is lost or has ended, too.
    std::function<std::vector<DMXSourceView>(const UniverseKey& key)> sources;
    /// Addresses of the nodes that put out an Art-Net universe.
    std::function<std::vector<std::string>(int universe)> nodes;
    /// Adapters that sACN goes out of; none: the routing table decides.
    std::function<std::vector<std::uint32_t>()> adapters;
    /// From now on these sACN universes are heard: asked before the check at a start, so that the guard sees who sends there.
    std::function<void(const std::set<int>& universes)> hear{};
    /// sACN goes to this computer alone instead of to the universe's group.
    bool loopbackOnly = false;
    /// Under the source "Netzwerk".
    std::function<void(NetEvent::Level level, std::string text)> log;
    std::function<base::SteadyTime()> now;
};

/// Main thread.
class DMXOutput {
public:
    struct Off {
        bool operator==(const Off&) const = default;
    };
    struct Fixtures {
        std::set<base::UUID> ids;
        bool operator==(const Fixtures&) const = default;
    };
    struct Raw {
        int universe = 1, channel = 1, value = 0;
        bool operator==(const Raw&) const = default;
    };  // the console's universe
    struct All {
        bool operator==(const All&) const = default;
    };
    struct Chase {
        bool operator==(const Chase&) const = default;
    };
    using Mode = std::variant<Off, Fixtures, Raw, All, Chase>;
    enum class Proto { artnet, sacn };

    /// How it sends; counts from the next start or at once while it sends.
    struct Options {
        double level = 1;  // 0…1
        Proto proto = Proto::artnet;
        double sacnPriority = 100;       // 0…200
        double chaseStep = 1;            // seconds a lamp, at least 0.05
        std::set<int> universeFilter{};  // console universes of `all` and `chase`; empty: all
        bool operator==(const Options&) const = default;
    };

    static constexpr base::Seconds guardInterval{2};

    DMXOutput(PatchStore& patch, DMXNetwork network, DMXSender::Ports ports);
    /// What is lit is blacked out and released, as by stop().
    ~DMXOutput();
    DMXOutput(const DMXOutput&) = delete;
    DMXOutput& operator=(const DMXOutput&) = delete;

    static DMXOutput& shared();
    void registerShared();

    const base::Observable<Mode>& mode() const { return mode_; }
    const base::Observable<Options>& options() const { return options_; }
    const base::Observable<int>& chaseIndex() const { return chaseIndex_; }
    /// Why sending was refused or ended; absent when nothing stood against it.
    const base::Observable<std::optional<std::string>>& blockedBy() const { return blockedBy_; }
    /// The lamp of a chase at this moment.
    const base::Observable<std::optional<PatchFixture>>& currentFixture() const { return currentFixture_; }
    /// Console universes that are sent now; and those of the mode that no Art-Net node puts out, which are left out.
    const std::set<int>& universes() const { return universes_; }
    const std::set<int>& universesWithoutNode() const { return withoutNode_; }

    /// Clamped to their ranges; what is being sent follows. When that would send where somebody else does, it ends.
    void setOptions(Options options);
    /// False when it was refused: blockedBy() tells why, and what was being sent goes on as it was.
    bool start(Mode mode) { return start(std::move(mode), *options_); }
    bool start(Mode mode, Options options);
    void stop();
    /// Resumes when everything that was sent is dark and released, some 90 ms after stop().
    base::Co<> finished() const { return sender_.finished(); }
    bool sending() const { return !std::holds_alternative<Off>(*mode_); }
    /// The test light is on this lamp now. A raw channel is nobody's.
    bool lit(const PatchFixture& fixture) const;
    std::uint16_t senderPort() const { return sender_.port(); }

private:
    /// What a mode means at this moment.
    struct Plan {
        std::vector<const PatchFixture*> lamps{};                 // that can be lit, in the order of the patch
        std::set<int> universes{};                                // of the mode, as the console counts
        std::map<int, std::vector<DMXSender::Target>> targets{};  // by console universe; only of those that somebody takes
        std::set<int> withoutNode() const;
    };
    /// What stands against sending.
    struct Obstacle {
        std::string refusal, end;  // what is said of a start, and of what was being sent
    };
    Plan plan(const Mode& mode, const Options& options) const;
    std::optional<Obstacle> obstacle(const Mode& mode, const Options& options, const Plan& plan) const;
    /// Hands what is to be sent now to the sender.
    void refresh();
    /// Looks whether it may still send, and refreshes or ends.
    void reconsider();
    void showLamp(std::size_t index);
    base::Co<> chase();
    base::Co<> guard();

    PatchStore& patch_;
    const DMXNetwork network_;
    DMXSender sender_;
    base::Observable<Mode> mode_;
    base::Observable<Options> options_;
    base::Observable<int> chaseIndex_{0};
    base::Observable<std::optional<std::string>> blockedBy_;
    base::Observable<std::optional<PatchFixture>> currentFixture_;
    std::set<int> universes_, withoutNode_;
    base::Subscription patchChanged_;
    base::Task chaseTask_, guardTask_;
};

}  // namespace kestrelyne
