#include "Cloud/Server/LocalCloudServer.h"

#include <glib.h>
#include <unistd.h>

#include <csignal>
#include <memory>

#include "Cloud/Server/CloudServer.h"
#include "Cloud/Server/ControlServer.h"
#include "Cloud/Service/AuthorizationServer.h"
#include "Cloud/Service/CloudService.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

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

/** Tells the commands where the server is. */
void Announce(const Folder& folder, int port, int controlPort) {
    Json::Value value;
    value["pid"] = static_cast<Json::Int64>(::getpid());
    value["port"] = port;
    value["control_port"] = controlPort;
    Files::Replace(folder.ServerFile(), ReadableJson(value));
}

Json::Value StatusOf(const Folder& folder, int port, std::int64_t start, CloudServer& server,
                     const FaultPlan& faults) {
    Json::Value status;
    status["running"] = true;
    status["address"] = AddressOf(port);
    status["port"] = port;
    status["pid"] = static_cast<Json::Int64>(::getpid());
    status["dir"] = folder.Path();
    status["ca_file"] = folder.CaFile();
    status["uptime_seconds"] = Json::Int64((g_get_monotonic_time() - start) / G_USEC_PER_SEC);
    for (const auto& [what, count] : server.Counted()) {
        status[what] = Json::Int64(count);
    }
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
    const std::int64_t start = g_get_monotonic_time();
    folder.Prepare();
    const Cli::FileLock onlyServer = folder.LockForServing();
    if (!onlyServer.IsHeld()) {
        throw CloudError("a server runs on " + folder.Path() +
                         " already; see: infosync-cloud status --dir '" + folder.Path() + "'");
    }
    Console console(options.quiet);
    const auto recorder =
        options.recordFile.empty() ? nullptr : std::make_unique<Recorder>(options.recordFile, console);
    ExchangeLog exchanges(recorder.get());
    const TlsContexts tls(folder.TlsFolder());
    const Users users(folder, options.anyUser);
    TokenStore tokens(folder, [] { return g_get_real_time() / G_USEC_PER_SEC; });
    AuthorizationServer authorization(users, tokens);
    CloudService cloud(folder, users, tokens, [] { return g_get_real_time() / 1000; });
    FaultPlan faults;
    CloudServer server(tls, faults, console, exchanges);
    RouteAll(server, authorization, cloud);
    const int port = server.Bind(options.port);
    const auto status = [&] { return StatusOf(folder, port, start, server, faults); };
    const ControlServer control(folder, {faults, exchanges, tokens, status, AskToStop});
    const Listening listening(server, AskToStop);
    Announce(folder, port, control.Port());
    ready("serving " + AddressOf(port) + " from " + folder.Path() + ", CA file " + folder.CaFile());
    int signal = 0;
    sigwait(&signals, &signal);
    server.EndConnections();
    Files::Remove(folder.ServerFile());
}

}  // namespace LocalCloud
