#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>

#include "Base/JSONFields.hpp"
#include "Commands.hpp"
#include "DemoFolder.hpp"
#include "EndSignals.hpp"
#include "Kestrelyne/App/AppInfo.hpp"
#include "Kestrelyne/App/Application.hpp"
#include "Kestrelyne/App/ControlServer.hpp"
#include "Kestrelyne/App/ControlVerbs.hpp"
#include "Kestrelyne/App/InstanceLock.hpp"
#include "Kestrelyne/App/ServiceNotice.hpp"
#include "RunningProgram.hpp"
#include "Say.hpp"

namespace kestrelyne {

namespace {

constexpr base::Seconds flushLimit{0.8};
constexpr base::Seconds endLimit{0.95};  // from the first signal, whatever blocks
constexpr std::size_t demoPINDigits = 6;

/// Changes the stored web settings as the command line says.
void applyWords(const RunWords& words, WebServer& web) {
    auto config = *web.config();
    if (words.web) config.enabled = *words.web;
    if (words.lan) config.allowLAN = *words.lan;
    if (words.port) config.port = *words.port;
    if (words.pin) config.pin = *words.pin;
    if (config != *web.config()) web.setConfig(std::move(config));
}

/// The stored automatic start of the watch over the network; before the application, which starts by it.
void applyMonitor(bool on, SettingsStore& settings) {
    NetConfig config;
    try {
        if (const auto stored = settings.blob(NetworkMonitor::defaultsKey)) config = decodeNetConfig(*stored);
    } catch (const base::DecodeError&) {
        config = {};
    }
    if (config.autoStart == on) return;
    config.autoStart = on;
    settings.setBlob(NetworkMonitor::defaultsKey, encodeNetConfig(config));
}

/// What the demo adds to what was typed. The port is told when it had to move.
RunWords demoWords(RunWords words) {
    if (!words.web) words.web = true;
    if (!words.pin) {
        words.pin = randomDigits(demoPINDigits);
        words.showPIN = true;
    }
    const int wanted = words.port.value_or(static_cast<int>(WebConfig{}.port));
    words.port = freePort(wanted);
    if (*words.port != wanted) say(stderr, "Port {} ist belegt; die Demo nimmt {}.\n", wanted, *words.port);
    return words;
}

base::Co<base::Done> flushed(KestrelyneApp& app, base::StoreWriter& writer) {
    co_await app.settled();
    co_await writer.flush();
    co_return base::Done{};
}

/// The program from its locks to its end.
class Program {
public:
    Program(const Folders& folders, const ControlPath& socket, RunWords words, std::shared_ptr<DemoFolder> demo,
            EndSignals& signals)
        : folders_(folders), words_(std::move(words)), demo_(std::move(demo)) {
        // First of all: the locks and the store may have to wait for other programs.
        watch(signals);
        lock_.emplace(folders, socket.path);
        settings_.emplace(openSettings(), writer_);
        if (words_.monitor) applyMonitor(*words_.monitor, *settings_);
        app_.emplace(loop_.loop(), *settings_, writer_,
                     ApplicationOptions{
                         .dataFolder = folders.data, .webRoot = webRoot(processEnvironment(), ownBinary()), .demo = words_.demo});
        applyWords(words_, app_->web());
        if (words_.rdmWrite) app_->network().rdm().setWriteEnabled(true);
        addControlVerbs(control_, *app_, *settings_, writer_);
        control_.start(socket);
    }

    /// Ends with the process.
    [[noreturn]] void run() {
        app_->start();
        // Behind whatever the listeners have to tell by then.
        loop_.loop().post([this] { tellReady(); });
        loop_.run();
        leave(ExitCode::done, demoPath());
    }

private:
    void watch(EndSignals& signals) {
        auto end = [this] { ending_ = base::Task("the end of the program", this->end()); };
        signals.watch([inbox = loop_.loop().inbox(), end] { inbox->post(end); }, endLimit,
                      [folder = demoPath()](bool again) { leave(again ? ExitCode::failed : ExitCode::done, folder); });
    }

    std::filesystem::path demoPath() const { return demo_ ? demo_->path() : std::filesystem::path(); }

    std::unique_ptr<SettingsFile> openSettings() {
        auto file = std::make_unique<SettingsFile>(folders_.settingsFile());
        if (const auto& moved = file->movedAside())
            say(stderr,
                "kestrelyne: Die Einstellungen waren beschädigt und liegen jetzt in „{}“; das Programm beginnt mit den "
                "Vorgaben.\n",
                moved->string());
        return file;
    }

    void tellReady() {
        const auto& web = app_->web();
        for (const auto& error : *web.errors()) say(stderr, "Web-App: {}\n", error);
        for (const auto& error : *app_->network().errors()) say(stderr, "Netz: {}\n", error);
        if (const auto& moved = app_->patch().movedAside(); !moved.empty())
            say(stderr, "kestrelyne: Der Patch war beschädigt und liegt jetzt in „{}“; er beginnt leer.\n", moved.string());
        auto addresses = web.urls();
        // A port of 0 was chosen by the system.
        addresses.back() = fmt::format("http://localhost:{}", web.boundPort().value_or(web.config()->listeningPort()));
        say(stdout, "{} läuft.\nEinstellungen: {}\nDaten:         {}\n", AppInfo::full(), folders_.settingsFile().string(),
            folders_.data.string());
        if (words_.demo) say(stdout, "Demo mit simulierten Geräten; der Ordner verschwindet am Ende.\n");
        if (words_.showPIN) say(stdout, "PIN: {}\n", web.config()->pin);
        if (*app_->network().isRunning()) say(stdout, "Das Netz wird überwacht.\n");
        if (!web.config()->enabled) {
            say(stdout, "Die Web-App ist aus (einschalten: kestrelyne web set enabled true).\n");
        } else {
            say(stdout, "Web-App:\n");
            for (const auto& address : addresses) say(stdout, "{}\n", address);
        }
        std::fflush(stdout);
        tellServiceManager("READY=1");
    }

    base::Co<> end() {
        tellServiceManager("STOPPING=1");
        control_.stop();
        app_->stop();
        co_await base::withTimeout(flushed(*app_, writer_), flushLimit);
        loop_.quit(0);
    }

    /// Nothing waits for a call that blocks: no destructor runs, and no stream is flushed that a reader may hold up.
    [[noreturn]] static void leave(ExitCode code, const std::filesystem::path& demo) {
        if (!demo.empty()) DemoFolder::remove(demo);
        std::_Exit(static_cast<int>(code));
    }

    const Folders folders_;
    const RunWords words_;
    const std::shared_ptr<DemoFolder> demo_;
    base::HeadlessLoop loop_;
    std::optional<InstanceLock> lock_;
    base::StoreWriter writer_;
    std::optional<SettingsStore> settings_;
    std::optional<KestrelyneApp> app_;
    ControlServer control_;
    base::Task ending_;
};

}  // namespace

ExitCode runCommand(const Where& where, RunWords words) {
    // Before the signals are blocked: whoever is asked may still interrupt.
    if (words.pin == "-") words.pin = lineOfStandardInput();
    EndSignals signals;
    const auto demo = words.demo ? std::make_shared<DemoFolder>() : nullptr;
    if (demo) words = demoWords(std::move(words));
    const auto folders = demo ? Folders::below(demo->path()) : foldersOf(where);
    auto socket = ControlPath::choose(processEnvironment(), folders);
    // Nothing of the demo lies outside its folder.
    if (const auto inside = folders.settings / "control.sock"; demo && inside.native().size() <= longestSocketPath)
        socket = {.path = inside};
    try {
        Program(folders, socket, std::move(words), demo, signals).run();
    } catch (const AlreadyRunning& error) {
        throw ControlError(error.what(), ExitCode::alreadyRunning);
    }
}

}  // namespace kestrelyne
