#include "Cloud/Server/Serve.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

#include "Cli/Errors.h"
#include "Cloud/Server/CloudServer.h"
#include "Cloud/Server/ControlServer.h"
#include "Cloud/Protocol/Authorization.h"
#include "Cloud/Protocol/CloudRequests.h"
#include "Cloud/Util/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

/** Runs the HTTP library's accept loop on a thread, for as long as it lives. */
class Listening {
public:
    /** The server is bound already. ended is called on the thread when the loop is over, however it ended. */
    Listening(httplib::Server& server, std::function<void()> ended)
        : m_server(server), m_thread([&server, ended = std::move(ended)] {
              server.listen_after_bind();
              ended();
          }) {
        // To stop a server that does not run yet would have no effect.
        while (!server.is_running()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    ~Listening() {
        m_server.stop();
        m_thread.join();
    }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

private:
    httplib::Server& m_server;
    std::thread m_thread;
};

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

void RouteAll(CloudServer& server, const Users& users, TokenStore& tokens, CloudService& cloud) {
    using httplib::Request;
    server.Route(TOKEN_ENDPOINT, [&](const Request& request) { return IssueToken(users, tokens, request); });
    server.Route(REFRESH_ENDPOINT,
                 [&](const Request& request) { return RefreshToken(users, tokens, request); });
    server.Route(ACTIVATE_ENDPOINT, [&](const Request& request) { return cloud.Activate(request); });
    server.Route(APP_ENDPOINT, [&](const Request& request) { return cloud.IssueAppToken(request); });
    server.Route(RECORDS_ENDPOINT, [&](const Request& request) { return cloud.Download(request); });
}

/** Leaves the terminal, and takes from the caller what a pipe behind it would wait for. */
void LeaveCaller(const std::string& logFile) {
    ::setsid();
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    const int log = ::open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, Files::PRIVATE);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(nothing, STDOUT_FILENO);
    ::dup2(log >= 0 ? log : nothing, STDERR_FILENO);
}

/** What comes through the pipe until its other end is closed. */
std::string ReadAll(int pipe) {
    std::string text;
    std::array<char, 4096> piece = {};
    for (ssize_t count = 0; (count = ::read(pipe, piece.data(), piece.size())) > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(count));
    }
    return text;
}

}  // namespace

void ServeUntilStopped(const Folder& folder, const ServeOptions& options, const Ready& ready) {
    const sigset_t signals = PrepareSignals();
    const std::int64_t start = g_get_monotonic_time();
    folder.Prepare();
    const Cli::FileLock onlyServer = folder.LockForServing();
    if (!onlyServer.IsHeld()) {
        throw std::runtime_error("a server runs on " + folder.Path() +
                                 " already; see: infosync-cloud status --dir '" + folder.Path() + "'");
    }
    Console console(options.quiet);
    const auto recorder =
        options.recordFile.empty() ? nullptr : std::make_unique<Recorder>(options.recordFile, console);
    ExchangeLog exchanges(recorder.get());
    const TlsContexts tls(folder.TlsFolder());
    const Users users(folder, options.anyUser);
    users.List();  // what may not be read is refused now, not in a client's answer
    TokenStore tokens(folder, [] { return g_get_real_time() / G_USEC_PER_SEC; });
    CloudService cloud(folder, users, tokens, [] { return g_get_real_time() / 1000; });
    FaultPlan faults;
    CloudServer server(tls, faults, console, exchanges);
    RouteAll(server, users, tokens, cloud);
    const int port = server.Bind(options.port);
    const auto status = [&] { return StatusOf(folder, port, start, server, faults); };
    httplib::SSLServer control((folder.TlsFolder() + "/server.pem").c_str(),
                               (folder.TlsFolder() + "/server.key").c_str());
    const int controlPort =
        SetUpControl(control, folder.ControlSecret(), {faults, exchanges, tokens, status, AskToStop});
    const Listening toCommands(control, [] {});
    const Listening toClients(server, AskToStop);
    Announce(folder, port, controlPort);
    ready("serving " + AddressOf(port) + " from " + folder.Path() + ", CA file " + folder.CaFile());
    int signal = 0;
    sigwait(&signals, &signal);
    server.EndConnections();
    Files::Remove(folder.ServerFile());
}

void ServeDetached(const Folder& folder, const ServeOptions& options, const Ready& ready) {
    std::array<int, 2> pipe = {};
    const pid_t server = ::pipe2(pipe.data(), O_CLOEXEC) == 0 ? ::fork() : -1;
    if (server < 0) {
        throw std::runtime_error(std::string("could not start another process: ") + g_strerror(errno));
    }
    if (server == 0) {
        ServeUntilStopped(folder, options, [&](const std::string& where) {
            LeaveCaller(folder.StateFile("serve.log"));
            // Nobody is there to be told when this fails.
            static_cast<void>(::write(pipe[1], where.data(), where.size()) < 0);
            ::close(pipe[1]);
        });
        return;
    }
    ::close(pipe[1]);
    const std::string where = ReadAll(pipe[0]);
    ::close(pipe[0]);
    if (!where.empty()) {
        ready(where);
        return;
    }
    int status = 0;
    ::waitpid(server, &status, 0);
    if (WIFEXITED(status)) {
        throw Cli::ToldAlready(WEXITSTATUS(status));
    }
    throw std::runtime_error("the server ended before it answered");
}

}  // namespace LocalCloud
