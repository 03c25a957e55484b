#include <fcntl.h>
#include <glib.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "Cli/Display.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Server/CloudServer.h"
#include "Files.h"

namespace LocalCloud {

namespace {

struct ServeArguments {
    int port = 8443;
    bool detach = false;
};

/** Must be called before the process has any other thread. @return those that end it */
sigset_t PrepareProcess() {
    // A file that may not grow any more is an error to report, not the end of the server.
    static_cast<void>(::signal(SIGXFSZ, SIG_IGN));
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    // Silent connections are to leave room for the files of others.
    rlimit files = {};
    if (::getrlimit(RLIMIT_NOFILE, &files) == 0) {
        files.rlim_cur = files.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &files);
    }
    // What a large request took is given back, and no thread keeps memory of its own.
    constexpr int LEAST_GIVEN_BACK = 64 << 10;
    ::mallopt(M_MMAP_THRESHOLD, LEAST_GIVEN_BACK);
    ::mallopt(M_ARENA_MAX, 1);
    return signals;
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

void ShowWhere(const Folder& folder, std::int64_t port) {
    std::cout << Cli::Escape("infosync-cloud: serving https://127.0.0.1:" + std::to_string(port) + " from " +
                             folder.Path() + ", CA file " + folder.CaFile())
              << std::endl;
}

/** Serves until SIGINT or SIGTERM, which the stop command sends. A detached one tells what goes wrong later
 * in the folder's state/serve.log. */
void ServeUntilStopped(const Folder& folder, const ServeArguments& arguments) {
    const sigset_t signals = PrepareProcess();
    ServerState state(folder);
    Cloud cloud(folder);
    cloud.users.List();  // what may not be read is refused now, not in a client's answer
    CloudServer server(cloud, state);
    const int port = server.Bind(arguments.port);
    state.Listens(port);
    std::thread listening([&] {
        server.listen_after_bind();
        // However it ended: the way a signal from outside would end all.
        ::kill(::getpid(), SIGTERM);
    });
    while (!server.is_running()) {  // to stop one that does not run yet would have no effect
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    arguments.detach ? LeaveCaller(folder.StateFile("serve.log")) : ShowWhere(folder, port);
    int signal = 0;
    sigwait(&signals, &signal);
    server.EndConnections();
    server.stop();
    listening.join();
}

/** Waits until the other process listens. @throws Cli::ToldAlready where it ends before */
void AwaitServer(const Folder& folder, pid_t process) {
    int status = 0;
    while (::waitpid(process, &status, WNOHANG) == 0) {
        const auto server = FindServer(folder);
        if (server && (*server)["pid"] == process && (*server)["port"] != 0) {
            ShowWhere(folder, (*server)["port"].asInt());
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    throw Cli::ToldAlready(WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE);
}

void Serve(const ServeArguments& arguments) {
    const Folder folder;
    const pid_t server = arguments.detach ? ::fork() : 0;
    if (server < 0) {
        throw std::runtime_error(std::string("could not start another process: ") + g_strerror(errno));
    }
    server == 0 ? ServeUntilStopped(folder, arguments) : AwaitServer(folder, server);
}

void DeclareServe(Cli::Command& command, ServeArguments& arguments) {
    command.Option("--port", "N", arguments.port, "the port on 127.0.0.1; 0 picks a free one (default: 8443)")
        .Between(0, 65535);
    command.Flag("--detach", arguments.detach,
                 "return when the server answers; it goes on until 'infosync-cloud stop'");
}

/** What the running server tells. */
Json::Value RequireServer(const Folder& folder) {
    const auto server = FindServer(folder);
    if (!server) {
        throw std::runtime_error("no server runs on " + folder.Path() +
                                 "; start one with: infosync-cloud serve --dir '" + folder.Path() + "'");
    }
    return *server;
}

std::string TableOf(const Json::Value& status) {
    std::vector<std::string> names = {"address", "ca_file", "running_for", "planned_faults", "pid"};
    names.insert(names.end(), std::begin(COUNTS), std::end(COUNTS));
    Cli::Table table({"SERVER", ""});
    for (std::string& name : names) {
        const std::string value = name == "running_for"
                                      ? Cli::DurationText(status["uptime_seconds"].asInt64())
                                      : status[name].asString();
        table.Add({g_strdelimit(name.data(), "_", ' '), value});
    }
    return table.Lines(Cli::Style(STDOUT_FILENO));
}

void Status(const bool& json) {
    const Folder folder;
    if (json && !FindServer(folder)) {
        std::cout << "{ \"running\" : false }\n";
    }
    Json::Value status = RequireServer(folder);
    status["running"] = true;
    status["address"] = "https://127.0.0.1:" + status["port"].asString();
    status["dir"] = folder.Path();
    status["ca_file"] = folder.CaFile();
    status["uptime_seconds"] = Json::Int64(g_get_real_time() / G_USEC_PER_SEC - status["started"].asInt64());
    status["planned_faults"] = Json::UInt64(PlannedFaults(folder).size());
    std::cout << (json ? Cli::JsonText(status) : TableOf(status));
}

void Stop() {
    constexpr std::chrono::seconds LONGEST_END(10);
    const Folder folder;
    const auto pid = static_cast<pid_t>(RequireServer(folder)["pid"].asInt());
    if (::kill(pid, SIGTERM) != 0 && errno != ESRCH) {
        throw std::runtime_error("could not stop process " + std::to_string(pid) + ": " + g_strerror(errno));
    }
    const auto last = std::chrono::steady_clock::now() + LONGEST_END;
    // The lock is let go of when the process has ended; another server may have it by then.
    for (auto server = FindServer(folder); server && (*server)["pid"] == pid; server = FindServer(folder)) {
        if (std::chrono::steady_clock::now() > last) {
            throw std::runtime_error("process " + std::to_string(pid) + ", the server on " + folder.Path() +
                                     ", was told to end and has not after " +
                                     std::to_string(LONGEST_END.count()) + " s");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::cout << "stopped\n";
}

}  // namespace

void AddServerCommands(Cli::Tool& tool) {
    tool.Add("serve", "Run the authorisation server and the cloud service on 127.0.0.1, until stopped",
             R"(The folder is made when there is none. Each request is shown in one line.

Examples:
  infosync-cloud serve --port 0
  infosync-cloud serve --detach)",
             &DeclareServe, &Serve);
    tool.AddView("status", "Show the running server: where it listens, what it counted",
                 R"(The exit status is 1 when none runs.

Example:
  infosync-cloud status --json)",
                 &Status);
    tool.Add("stop", "End the running server, and wait until it has ended", "", &Stop);
}

}  // namespace LocalCloud
