#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "Base/HostAddresses.hpp"
#include "Base/JSONFields.hpp"
#include "Commands.hpp"
#include "Kestrelyne/App/ControlVerbs.hpp"
#include "Kestrelyne/App/QRText.hpp"
#include "Kestrelyne/App/StatusText.hpp"
#include "Kestrelyne/App/WebFields.hpp"
#include "RunningProgram.hpp"
#include "Say.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

// Longer than all calls of the Tailscale program that one verb may make.
constexpr base::Seconds tailscaleLimit{90};
constexpr const char* noHTTPSText = "QR-Code erscheint, sobald eine HTTPS-Adresse da ist (externe Adresse oder Tailscale).";

/// A web server that listens to nothing, beside the stores, for what no running program does.
class QuietWeb {
public:
    explicit QuietWeb(std::unique_ptr<SettingsFile> file)
        : settings_(std::move(file), writer_), web_({.settings = settings_, .pool = pool_, .webRoot = {}}) {}

    void set(const std::string& field, const std::string& value) {
        auto config = *web_.config();
        setWebField(config, field, value);
        web_.setConfig(std::move(config));
        waitFor(saved());
    }
    void logoutAll() {
        web_.logoutAll();
        waitFor(saved());
    }
    void switchTailscale(bool on) { waitFor(kestrelyne::switchTailscale(web_, on)); }

    /// Its state, after Tailscale was asked.
    JSON state() {
        waitFor(askTailscale(web_));
        auto state = webState(web_);
        // What the running program would add.
        if (web_.config()->allowLAN) {
            auto& urls = state["urls"];
            const auto port = ":" + std::to_string(web_.config()->listeningPort());
            for (const auto& host : base::hostAddresses())
                if (!host.address.starts_with("100.")) urls.insert(urls.end() - 1, "http://" + host.address + port);
        }
        return state;
    }

private:
    base::Co<> saved() {
        co_await writer_.flush();
        if (settings_.failedWrites() > 0) throw ControlError("Die Änderung ließ sich nicht speichern.");
    }

    void waitFor(base::Co<> work) {
        std::exception_ptr failure;
        const base::Task task("a web command", untilDone(std::move(work)), [&](std::exception_ptr exception) {
            failure = exception;
            loop_.quit(0);
        });
        loop_.run();
        if (failure) std::rethrow_exception(failure);
    }
    base::Co<> untilDone(base::Co<> work) {
        co_await std::move(work);
        loop_.quit(0);
    }

    base::HeadlessLoop loop_;
    base::StoreWriter writer_;
    base::BackgroundPool pool_{"kestrelyne.pool", 2};
    SettingsStore settings_;
    WebServer web_;
};

void draw(const JSON& state) {
    std::string address;
    if (const auto& https = state.at("httpsURL"); https.is_string()) {
        address = https;
        std::cout << "Mit iPhone-Kamera scannen (HTTPS)\n";
    } else {
        const auto& urls = state.at("urls");
        // The last one is this computer alone: no phone gets anywhere with it.
        if (urls.size() < 2) throw ControlError(noHTTPSText);
        address = urls.front();
    }
    const auto code = qrText(address, isatty(STDOUT_FILENO) != 0 ? QRColours::blackOnWhite : QRColours::none);
    if (!code) throw ControlError("Die Adresse ist zu lang für einen QR-Code: " + address);
    std::cout << *code << address << '\n';
}

void show(const WebWords& words, const JSON& state) {
    if (words.verb == WebWords::Verb::qr)
        draw(state);
    else
        std::cout << webReport(state);
}

std::string valueOf(const WebWords& words) { return words.value == "-" ? lineOfStandardInput() : words.value; }

JSON requestOf(const WebWords& words) {
    switch (words.verb) {
        case WebWords::Verb::set: return {{"verb", "web.set"}, {"field", words.field}, {"value", valueOf(words)}};
        case WebWords::Verb::logoutAll: return {{"verb", "web.logoutAll"}};
        case WebWords::Verb::tailscale: return {{"verb", "web.tailscale"}, {"on", words.on}};
        case WebWords::Verb::show:
        case WebWords::Verb::qr: break;
    }
    return {{"verb", "web.show"}};
}

void carryOutThere(RunningProgram& program, const WebWords& words) {
    const auto state = program.client->request(requestOf(words), tailscaleLimit);
    say(stderr, "{}\n", program.description);
    if (words.verb == WebWords::Verb::show || words.verb == WebWords::Verb::qr) {
        show(words, state);
        return;
    }
    say(stderr, "Erledigt und gespeichert.\n");
    for (const auto& error : state.at("errors")) say(stderr, "Web-App: {}\n", error.get<std::string>());
}

void carryOutOnStores(const Where& where, const WebWords& words) {
    const auto path = foldersOf(where).settingsFile();
    auto file = std::make_unique<SettingsFile>(path);
    if (const auto& moved = file->movedAside())
        say(stderr, "kestrelyne: Die Einstellungen waren beschädigt und liegen jetzt in „{}“.\n", moved->string());
    say(stderr, "Es läuft kein Programm; Einstellungen in „{}“\n", path.string());
    QuietWeb web(std::move(file));
    switch (words.verb) {
        case WebWords::Verb::set: web.set(words.field, valueOf(words)); break;
        case WebWords::Verb::logoutAll: web.logoutAll(); break;
        case WebWords::Verb::tailscale: web.switchTailscale(words.on); break;
        case WebWords::Verb::show:
        case WebWords::Verb::qr: show(words, web.state()); return;
    }
    say(stderr, "Erledigt und gespeichert.\n");
}

}  // namespace

ExitCode webCommand(const Where& where, const WebWords& words) {
    if (auto running = findRunningProgram(where))
        carryOutThere(*running, words);
    else
        carryOutOnStores(where, words);
    return ExitCode::done;
}

}  // namespace kestrelyne
