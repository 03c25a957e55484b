#include "Cloud/Server/LocalCloudServer.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <memory>

#include "Cli/FileLock.h"
#include "Cloud/Server/CloudServer.h"
#include "Cloud/Server/ControlServer.h"
#include "Cloud/Service/AuthorizationServer.h"
#include "Cloud/Service/CloudService.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

using SteadyTime = std::chrono::steady_clock::time_point;

std::int64_t NowInMilliseconds() {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count();
}

std::string AddressOf(int port) {
    return "https://127.0.0.1:" + std::to_string(port);
}

/** Ends this process the way a signal from outside would. */
void AskToStop() {
    ::kill(::getpid(), SIGTERM);
}

sigset_t PrepareSignals() {
    // A file that may not grow any more is an error to report, not the end of the server.
    static_cast<void>(::signal(SIGXFSZ, SIG_IGN));
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

/** Tells the commands where the server is, for as long as it runs. */
class Announcement {
public:
    Announcement(const Folder& folder, int port, int controlPort) : m_file(folder.ServerFile()) {
        Json::Value value;
        value["pid"] = static_cast<Json::Int64>(::getpid());
        value["port"] = port;
        value["control_port"] = controlPort;
        Files::Replace(m_file, ReadableJson(value));
    }
    ~Announcement() {
        ::unlink(m_file.c_str());
    }
    Announcement(const Announcement&) = delete;
    Announcement& operator=(const Announcement&) = delete;

private:
    std::string m_file;
};

Json::Value StatusOf(const Folder& folder, int port, SteadyTime start, const Statistics& counted,
                     const FaultPlan& faults) {
    const auto uptime = std::chrono::steady_clock::now() - start;
    Json::Value status;
    status["running"] = true;
    status["address"] = AddressOf(port);
    status["port"] = port;
    status["pid"] = static_cast<Json::Int64>(::getpid());
    status["dir"] = folder.Path();
    status["ca_file"] = folder.CaFile();
    status["uptime_seconds"] = Json::Int64(std::chrono::duration_cast<std::chrono::seconds>(uptime).count());
    status["requests"] = Json::Int64(counted.requests);
    status["connections"] = Json::Int64(counted.connections);
    status["full_handshakes"] = Json::Int64(counted.fullHandshakes);
    status["resumed_handshakes"] = Json::Int64(counted.resumedHandshakes);
    status["failed_handshakes"] = Json::Int64(counted.failedHandshakes);
    status["planned_faults"] = Json::UInt64(faults.List().size());
    return status;
}

void RouteAll(CloudServer& server, AuthorizationServer& authorization, CloudService& cloud) {
    using httplib::Request;
    server.Route(TOKEN_ENDPOINT, [&](const Request& request) { return authorization.IssueToken(request); });
    server.Route(REFRESH_ENDPOINT,
                 [&](const Request& request) { return authorization.RefreshToken(request); });
    server.Route(ACTIVATE_ENDPOINT, [&](const Request& request) { return cloud.Activate(request); });
    server.Route(APP_ENDPOINT, [&](const Request& request) { return cloud.IssueAppToken(request); });
    server.Route(RECORDS_ENDPOINT, [&](const Request& request) { return cloud.Download(request); });
}

}  // namespace

void ServeUntilStopped(const Folder& folder, const ServeOptions& options,
                       const std::function<void(const std::string&)>& ready) {
    const sigset_t signals = PrepareSignals();
    const SteadyTime start = std::chrono::steady_clock::now();
    folder.Prepare();
    const Cli::FileLock onlyServer(folder.StateFile("serve.lock"), Cli::FileLock::Wait::NO);
    if (!onlyServer.IsHeld()) {
        throw CloudError("a server runs on " + folder.Path() +
                         " already; see: infosync-cloud status --dir '" + folder.Path() + "'");
    }
    Console console(options.quiet);
    const auto recorder =
        options.recordFile.empty() ? nullptr : std::make_unique<Recorder>(options.recordFile, console);
    ExchangeLog exchanges(recorder.get());
    const TlsContexts tls(folder.TlsFolder());
    const Users users(folder);
    TokenStore tokens(folder, [] { return std::int64_t{std::time(nullptr)}; });
    AuthorizationServer authorization(users, tokens, options.anyUser);
    CloudService cloud(folder, tokens, NowInMilliseconds, options.anyUser);
    FaultPlan faults;
    CloudServer server(tls, faults, console, exchanges);
    RouteAll(server, authorization, cloud);
    const int port = server.Bind(options.port);
    const ControlServer control(
        folder, faults, exchanges, tokens,
        [&] { return StatusOf(folder, port, start, server.Counted(), faults); }, AskToStop);
    const Listening listening(server, AskToStop);
    const Announcement announcement(folder, port, control.Port());
    ready("serving " + AddressOf(port) + " from " + folder.Path() + ", CA file " + folder.CaFile());
    int signal = 0;
    sigwait(&signals, &signal);
    server.EndConnections();
}

}  // namespace LocalCloud
