#include "Kestrelyne/App/ControlServer.hpp"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "Base/File.hpp"
#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/App/ControlConnections.hpp"

namespace kestrelyne {

namespace {

namespace fs = std::filesystem;

constexpr mode_t ownMode = S_IRUSR | S_IWUSR;
constexpr mode_t groupMode = ownMode | S_IRGRP | S_IWGRP;
constexpr int backlog = 16;

sockaddr_un addressOf(const fs::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.native().copy(address.sun_path, longestSocketPath);
    return address;
}

const sockaddr* plain(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

/// What a killed program has left goes; what somebody listens on, or is no socket at all, stays.
void removeLeftover(const fs::path& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) return;
    if (!S_ISSOCK(status.st_mode)) throw std::system_error(EEXIST, std::generic_category());
    const base::FileDescriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto address = addressOf(path);
    if (!probe || connect(probe.get(), plain(address), sizeof address) == 0 || errno != ECONNREFUSED)
        throw std::system_error(EADDRINUSE, std::generic_category());
    unlink(path.c_str());
}

base::FileDescriptor listenOn(const ControlPath& where) {
    const auto& path = where.path;
    if (path.native().size() > longestSocketPath) throw std::system_error(ENAMETOOLONG, std::generic_category());
    const auto folder = path.parent_path();
    base::makeFolder(folder);
    struct stat status {};
    if (stat(folder.c_str(), &status) != 0) throw std::system_error(errno, std::generic_category());
    // A folder below /tmp may have been made by somebody who would listen in our place.
    if (geteuid() != 0 && status.st_uid != geteuid() && status.st_uid != 0) throw std::system_error(EPERM, std::generic_category());
    removeLeftover(path);

    base::FileDescriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto address = addressOf(path);
    // The mode of the socket is that of its file from the first moment on (unix(7)); the user's umask takes away from it.
    if (!listener || fchmod(listener.get(), ownMode) != 0 || bind(listener.get(), plain(address), sizeof address) != 0 ||
        chmod(path.c_str(), where.forGroup ? groupMode : ownMode) != 0 || listen(listener.get(), backlog) != 0)
        throw std::system_error(errno, std::generic_category());
    return listener;
}

}  // namespace

/// Read on the queue of the connections: a list of many thousand lamps takes longer than the main thread may be held.
struct ControlServer::Request {
    base::JSON message;
    std::optional<ControlError> fault;  // in the place of a message
};

ControlServer::ControlServer(Limits limits) : limits_(limits) {}
ControlServer::~ControlServer() { stop(); }

void ControlServer::add(const std::string& verb, Verb handler) { verbs_[verb] = std::move(handler); }

void ControlServer::start(const ControlPath& path) {
    base::FileDescriptor listener;
    try {
        listener = listenOn(path);
    } catch (const std::system_error& error) {
        throw std::runtime_error("Der Steueranschluss „" + path.path.string() +
                                 "“ lässt sich nicht öffnen: " + base::errnoText(error.code().value()));
    }
    path_ = path.path;
    self_ = std::make_shared<ControlServer*>(this);
    auto toMain = [self = std::weak_ptr(self_), inbox = base::MainLoop::current().inbox()](std::uint64_t client,
                                                                                           const std::string& line) {
        Request request;
        try {
            request.message = parseControlRequest(line);
        } catch (const ControlError& error) {
            request.fault = error;
        }
        inbox->post([self, client, request = std::move(request)]() mutable {
            if (const auto server = self.lock()) (*server)->take(client, std::move(request));
        });
    };
    connections_ = std::make_shared<Connections>(limits_, path.forGroup, std::move(toMain));
    connections_->listen(std::move(listener));
}

void ControlServer::stop() {
    self_.reset();
    tasks_.cancelAll();
    if (!connections_) return;
    unlink(path_.c_str());
    connections_.reset();
}

void ControlServer::take(std::uint64_t client, Request request) {
    tasks_.add("control request", handle(client, std::move(request)));
}

base::Co<> ControlServer::handle(std::uint64_t client, Request request) {
    base::JSON answer;
    try {
        if (request.fault) throw *request.fault;
        const auto verb = verbs_.find(request.message["verb"].get<std::string>());
        if (verb == verbs_.end()) throw ControlError("Das laufende Programm kennt diesen Befehl nicht.", ExitCode::wrongWords);
        auto result = co_await verb->second(std::move(request.message));
        answer["result"] = std::move(result);
    } catch (const ControlError& error) {
        answer = controlErrorAnswer(error.what(), error.code());
    } catch (const std::exception& error) {
        answer = controlErrorAnswer(error.what(), ExitCode::failed);
    }
    connections_->reply(client, std::move(answer));
}

}  // namespace kestrelyne
