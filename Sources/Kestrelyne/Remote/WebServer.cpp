#include "Kestrelyne/Remote/WebServer.hpp"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "Base/JSONFields.hpp"
#include "Base/Mutex.hpp"
#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/Remote/HostCheck.hpp"
#include "Kestrelyne/Remote/StaticFiles.hpp"

namespace kestrelyne {

namespace {

constexpr const char* configKey = "web.v1";
constexpr const char* sessionsKey = "web.sessions";
constexpr const char* sessionCookie = "kestrelyne_session";
constexpr std::string_view certificatesMark = "HTTPS-Zertifikate";
constexpr const char* certificatesText =
    "HTTPS-Zertifikate sind in deinem Tailnet nicht aktiviert. Im Tailscale-Admin unter DNS → „HTTPS Certificates“ auf „Enable "
    "HTTPS“ "
    "klicken, dann hier erneut einschalten.";
constexpr const char* onlyTailscaleText =
    "Nur Tailscale-Zugang gewählt, Tailscale ist aber nicht verbunden – die Web-App ist nur auf diesem Rechner (localhost) "
    "erreichbar. "
    "„Im lokalen Netz erreichbar“ einschalten oder Tailscale verbinden.";
constexpr std::size_t serveErrorCharacters = 300;

WebServer* sharedServer = nullptr;

std::vector<std::string> storedSessions(const SettingsStore& settings) {
    const auto bytes = settings.blob(sessionsKey);
    if (!bytes) return {};
    try {
        const auto list = base::parseJSON(*bytes);
        if (!list.is_array()) return {};
        std::vector<std::string> tokens;
        for (const auto& item : list) tokens.push_back(base::asText(item));
        return tokens;
    } catch (const base::DecodeError&) {
        return {};
    }
}

}  // namespace

// What requests touch on the server's queue. It outlives the web server as long as connections do.
struct WebServer::Front : std::enable_shared_from_this<WebServer::Front> {
    Front(WebServer& owner, base::BackgroundPool& given, std::filesystem::path webRoot)
        : inbox(base::MainLoop::current().inbox()), files(std::move(webRoot)), server(&owner), pool(&given) {}

    void handle(HTTPRequest request, HTTPReply reply);
    bool allows(const HTTPRequest& request) {
        base::Lock lock(mutex);
        return hostAllowed(request.header("host"), publicHost);
    }

    const std::shared_ptr<base::Inbox> inbox;
    StaticFiles files;
    WebServer* server;  // main thread; null when it is gone
    base::Mutex mutex;
    base::BackgroundPool* pool KESTRELYNE_GUARDED_BY(mutex);  // null when the web server is gone
    std::string publicHost KESTRELYNE_GUARDED_BY(mutex);
};

// On the server's queue; the order of the checks is part of the interface.
void WebServer::Front::handle(HTTPRequest request, HTTPReply reply) {
    if (!allows(request)) return reply(HTTPResponse::error("Host nicht erlaubt", 403));
    if (request.path.starts_with("/api/")) {
        inbox->post([front = shared_from_this(), request = std::move(request), reply = std::move(reply)]() mutable {
            if (front->server) front->server->take(std::move(request), std::move(reply));
        });
        return;
    }
    if (auto response = files.quick(request.path)) return reply(std::move(*response));
    base::Function<void()> work = [front = shared_from_this(), path = std::move(request.path), reply = std::move(reply)]() mutable {
        reply(front->files.read(path));
    };
    base::Lock lock(mutex);
    if (pool) pool->post(std::move(work));
}

WebServer::WebServer(Dependencies dependencies)
    : dependencies_(std::move(dependencies)),
      config_(WebConfig::fromStored(dependencies_.settings.blob(configKey).value_or("{}"))),
      access_(storedSessions(dependencies_.settings)),
      front_(std::make_shared<Front>(*this, dependencies_.pool, dependencies_.webRoot)) {
    sharePublicHost();
}

WebServer::~WebServer() {
    if (sharedServer == this) sharedServer = nullptr;
    front_->server = nullptr;
    base::Lock lock(front_->mutex);
    front_->pool = nullptr;
}

WebServer& WebServer::shared() {
    KESTRELYNE_REQUIRE(sharedServer != nullptr, "no web server is registered");
    return *sharedServer;
}

void WebServer::registerShared() { sharedServer = this; }

void WebServer::attach() {
    attached_ = true;
    refreshTailscale();
    if (config_->enabled) restart();
    watch_ = base::Task("the Tailscale watch", watch());
}

void WebServer::restart() {
    sharePublicHost();
    if (!attached_) return;
    if (server_) server_->stop();
    running_.set(false);
    errors_.set({});
    if (!config_->enabled) return;

    // One server for all restarts: it counts the connections of earlier listeners, which finish on their own.
    if (!server_)
        server_ = std::make_unique<HTTPServer>(
            [front = front_](HTTPRequest request, HTTPReply reply) { front->handle(std::move(request), std::move(reply)); },
            dependencies_.server);
    boundTailscaleIP_ = TailscaleInfo::currentIP(dependencies_.hostAddresses());
    std::optional<std::vector<std::string>> hosts;
    if (!config_->allowLAN) {
        hosts = {"127.0.0.1"};
        if (boundTailscaleIP_) hosts->push_back(*boundTailscaleIP_);
    }
    const auto listening = server_->start(config_->listeningPort(), std::move(hosts), [this](std::string text) {
        addError(std::move(text));
        if (*running_ && server_->listening() == 0) running_.set(false);
    });
    if (listening > 0) running_.set(true);
    if (!config_->allowLAN && !boundTailscaleIP_) addError(onlyTailscaleText);
}

void WebServer::setConfig(WebConfig config) {
    config_.change([&](WebConfig& current) {
        const auto old = std::exchange(current, std::move(config));
        dependencies_.settings.setBlob(configKey, base::dump(current.toJSON()));
        if (current.pin != old.pin) logoutAll();
        sharePublicHost();
        if (current.enabled != old.enabled || current.port != old.port || current.allowLAN != old.allowLAN) restart();
    });
}

bool WebServer::isAuthed(const HTTPRequest& request) const {
    if (config_->pin.empty()) return false;
    const auto token = request.cookie(sessionCookie);
    return token && access_.hasSession(*token);
}

bool WebServer::tooManyAttempts(const std::string& address) {
    return access_.tooManyAttempts(address, base::MainLoop::current().clock().steadyNow());
}

std::optional<std::string> WebServer::login(const std::string& pin, const std::string& address) {
    auto token = access_.login(pin, config_->pin, address, base::MainLoop::current().clock().steadyNow());
    if (token) saveSessions();
    return token;
}

void WebServer::logoutAll() {
    access_.endAllSessions();
    saveSessions();
}

std::optional<std::string> WebServer::httpsURL() const {
    if (auto url = publicURL(); url && url->starts_with("https://")) return url;
    if (tailscale_->serveHTTPS && tailscale_->dnsName) return "https://" + *tailscale_->dnsName;
    return std::nullopt;
}

std::vector<std::string> WebServer::urls() const {
    const auto port = ":" + std::to_string(config_->listeningPort());
    std::vector<std::string> result;
    if (auto url = publicURL()) result.push_back(std::move(*url));
    if (const auto& name = tailscale_->dnsName) {
        if (tailscale_->serveHTTPS) result.push_back("https://" + *name);
        result.push_back("http://" + *name + port);
    }
    if (const auto& ip = tailscale_->ip) result.push_back("http://" + *ip + port);
    if (config_->allowLAN && attached_)
        for (const auto& host : dependencies_.hostAddresses())
            if (!host.address.starts_with("100.")) result.push_back("http://" + host.address + port);
    result.push_back("http://localhost" + port);
    return result;
}

std::optional<std::uint16_t> WebServer::boundPort() const {
    if (!server_ || server_->listening() == 0) return std::nullopt;
    return server_->ports().front();
}

void WebServer::refreshTailscale() { refresh_ = base::Task("asking Tailscale", refresh()); }

void WebServer::setTailscaleServe(bool on) {
    if (!tailscale_->cliPath || *busy_) return;
    const auto isMark = [](const std::string& text) { return text.starts_with(certificatesMark); };
    if (std::ranges::any_of(*errors_, isMark)) errors_.change([&](auto& errors) { std::erase_if(errors, isMark); });
    if (on && tailscale_->certDomains.empty() && tailscale_->online == true) {
        addError(certificatesText);
        return;
    }
    busy_.set(true);
    serve_ = base::Task("changing tailscale serve", changeServe(on));
}

void WebServer::saveSessions() {
    base::JSON list = base::JSON::array();
    for (const auto& token : access_.sessions()) list.push_back(token);
    dependencies_.settings.setBlob(sessionsKey, base::dump(list));
}

void WebServer::sharePublicHost() {
    auto host = config_->publicHost();
    base::Lock lock(front_->mutex);
    front_->publicHost = std::move(host);
}

void WebServer::addError(std::string text) {
    errors_.change([&](auto& errors) { errors.push_back(std::move(text)); });
}

std::function<TailscaleInfo()> WebServer::detection() const {
    return [port = config_->listeningPort(), addresses = dependencies_.hostAddresses, paths = dependencies_.tailscalePaths,
            child = dependencies_.child] { return TailscaleInfo::detect(port, addresses(), paths, child); };
}

base::Co<> WebServer::watch() {
    for (;;) {
        co_await base::sleepFor(watchInterval);
        // The address of the link comes and goes with the network; a listener on it has to follow.
        if (config_->enabled && !config_->allowLAN && TailscaleInfo::currentIP(dependencies_.hostAddresses()) != boundTailscaleIP_)
            restart();
        refreshTailscale();
    }
}

base::Co<> WebServer::refresh() {
    std::optional<TailscaleInfo> info;
    try {
        info = co_await dependencies_.pool.run(detection());
    } catch (const base::QueueStopped&) {
        // The pool was full; the next pass of the watch asks again.
    }
    if (info) tailscale_.set(std::move(*info));
}

base::Co<> WebServer::changeServe(bool on) {
    struct Outcome {
        std::optional<base::ChildResult> command;
        TailscaleInfo info;
    };
    const std::vector<std::string> arguments =
        on ? std::vector<std::string>{"serve", "--bg", "http://127.0.0.1:" + std::to_string(config_->listeningPort())}
           : std::vector<std::string>{"serve", "--https=443", "off"};
    std::optional<Outcome> outcome;
    try {
        outcome = co_await dependencies_.pool.run(
            [child = dependencies_.child, path = *tailscale_->cliPath, arguments, detect = detection()] {
                auto command = TailscaleInfo::run(child, path, arguments, TailscaleInfo::callLimit);
                return Outcome{std::move(command), detect()};
            });
    } catch (const base::QueueStopped&) {
        // Told below like a program that did not start.
    }
    if (outcome) tailscale_.set(std::move(outcome->info));
    busy_.set(false);
    const auto* command = outcome && outcome->command ? &*outcome->command : nullptr;
    if (command && command->exitCode == 0 && !command->timedOut) co_return;
    const std::string output = command ? command->output : "Programm lässt sich nicht starten";
    addError("tailscale serve: " + base::firstCharacters(output, serveErrorCharacters));
}

void WebServer::take(HTTPRequest request, HTTPReply reply) {
    requestCount_.change([](std::uint64_t& count) { ++count; });
    lastClient_.set(request.remoteIP);
    if (route_) requests_.add("a web request", answer(std::move(request), std::move(reply)));
}

base::Co<> WebServer::answer(HTTPRequest request, HTTPReply reply) {
    const auto what = request.method + " " + request.path;
    auto response = HTTPResponse::error("interner Fehler", 500);
    try {
        auto given = co_await route_(std::move(request));
        response = std::move(given);
    } catch (const std::exception& error) {
        // A mistake of ours that one request has found: it is told, and the watch goes on.
        std::fprintf(stderr, "web request %s failed: %s\n", what.c_str(), error.what());
    }
    reply(std::move(response));
}

}  // namespace kestrelyne
