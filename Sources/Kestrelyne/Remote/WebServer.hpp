#pragma once
// The one long-lived object behind the web interface: settings, listeners, PIN and sessions, Host check, Tailscale.
// Main thread, where nothing else is said.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Base/BackgroundPool.hpp"
#include "Base/ChildProcess.hpp"
#include "Base/HostAddresses.hpp"
#include "Base/Observable.hpp"
#include "Base/Task.hpp"
#include "Kestrelyne/App/SettingsStore.hpp"
#include "Kestrelyne/Remote/HTTPServer.hpp"
#include "Kestrelyne/Remote/TailscaleInfo.hpp"
#include "Kestrelyne/Remote/WebAccess.hpp"
#include "Kestrelyne/Remote/WebConfig.hpp"

namespace kestrelyne {

class WebServer {
public:
    /// Answers a request below "/api/". Main thread.
    using Route = std::function<base::Co<HTTPResponse>(HTTPRequest)>;

    struct Dependencies {
        SettingsStore& settings;
        base::BackgroundPool& pool;  // for the Tailscale program and for reading files
        std::function<std::vector<base::HostAddress>()> hostAddresses = base::hostAddresses;
        base::ChildRunner child = base::runChild;
        std::filesystem::path webRoot;
        std::vector<std::string> tailscalePaths = TailscaleInfo::programPaths();
        HTTPServer::Options server = {};
    };

    static constexpr base::Seconds watchInterval{30};

    /// Loads settings and sessions; listens to nothing before attach(). What it is given outlives it.
    explicit WebServer(Dependencies dependencies);
    ~WebServer();
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    /// The application's one; a programming error when none is registered.
    static WebServer& shared();
    /// Makes this the shared one until it is destroyed.
    void registerShared();

    /// Who answers below "/api/"; without one the connection is closed. An exception of the route is told on standard error and
    /// answered with status 500.
    void setRoute(Route route) { route_ = std::move(route); }

    /// Asks Tailscale, listens when enabled, and watches the Tailscale address from now on.
    void attach();
    /// Makes the listening state match the settings; nothing listens before attach().
    void restart();

    const base::Observable<WebConfig>& config() const { return config_; }
    /// Saves; ends all sessions when the PIN differs; listens anew only when `enabled`, `port` or `allowLAN` differ, and not before
    /// attach().
    void setConfig(WebConfig config);

    /// At least one listener stands.
    const base::Observable<bool>& running() const { return running_; }
    /// What people should know, each a whole German text.
    const base::Observable<std::vector<std::string>>& errors() const { return errors_; }
    const base::Observable<TailscaleInfo>& tailscale() const { return tailscale_; }
    /// Requests below "/api/" since the start of the program, and who sent the last.
    const base::Observable<std::uint64_t>& requestCount() const { return requestCount_; }
    const base::Observable<std::optional<std::string>>& lastClient() const { return lastClient_; }
    /// A change of `tailscale serve` is under way.
    const base::Observable<bool>& busy() const { return busy_; }

    /// The request carries a valid session; never without a PIN.
    bool isAuthed(const HTTPRequest& request) const;
    bool tooManyAttempts(const std::string& address);
    /// The token of a new session; absent when the PIN is wrong or the address has tried too often.
    std::optional<std::string> login(const std::string& pin, const std::string& address);
    void logoutAll();

    std::optional<std::string> publicURL() const { return config_->usablePublicURL(); }
    std::optional<std::string> httpsURL() const;
    /// The addresses for people, the best first, "http://localhost:<port>" always last.
    std::vector<std::string> urls() const;
    /// The port of the first listener (it differs from the setting when that is 0); absent while none stands.
    std::optional<std::uint16_t> boundPort() const;

    /// Asks the Tailscale program off the main thread; `tailscale()` tells when it has answered.
    void refreshTailscale();
    /// Switches `tailscale serve` for our port on or off. Nothing happens without the program or while a change is under way.
    void setTailscaleServe(bool on);

private:
    struct Front;

    void saveSessions();
    void sharePublicHost();
    void addError(std::string text);
    std::function<TailscaleInfo()> detection() const;
    base::Co<> watch();
    base::Co<> refresh();
    base::Co<> changeServe(bool on);
    void take(HTTPRequest request, HTTPReply reply);
    base::Co<> answer(HTTPRequest request, HTTPReply reply);

    Dependencies dependencies_;
    base::Observable<WebConfig> config_;
    base::Observable<bool> running_{false};
    base::Observable<std::vector<std::string>> errors_;
    base::Observable<TailscaleInfo> tailscale_;
    base::Observable<std::uint64_t> requestCount_{0};
    base::Observable<std::optional<std::string>> lastClient_;
    base::Observable<bool> busy_{false};
    WebAccess access_;
    Route route_;
    bool attached_ = false;
    std::optional<std::string> boundTailscaleIP_;
    std::shared_ptr<Front> front_;  // what requests touch off the main thread
    std::unique_ptr<HTTPServer> server_;
    base::TaskGroup requests_;
    base::Task watch_, refresh_, serve_;
};

}  // namespace kestrelyne
