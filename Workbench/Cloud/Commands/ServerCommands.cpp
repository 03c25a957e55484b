#include <fcntl.h>
#include <glib.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
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

constexpr std::int64_t HIGHEST_PORT = 65535;
constexpr std::chrono::seconds LONGEST_END(10);

struct ServeArguments {
    int port = 8443;
    bool detach = false;
};

using Ready = std::function<void(const std::string& where)>;

constexpr int LEAST_GIVEN_BACK = 64 << 10;

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

/** So that silent connections leave room for the files of others. */
void RaiseFileLimit() {
    rlimit files = {};
    if (::getrlimit(RLIMIT_NOFILE, &files) == 0) {
        files.rlim_cur = files.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &files);
    }
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

/**
 * Serves until SIGINT or SIGTERM, which the stop command sends. Must be called before the process has any
 * other thread.
 * @param ready is called with a line that says where, once the server answers
 */
void ServeUntilStopped(const Folder& folder, const ServeArguments& arguments, const Ready& ready) {
    const sigset_t signals = PrepareSignals();
    RaiseFileLimit();
    // What a large request took is given back, and no thread keeps memory of its own.
    ::mallopt(M_MMAP_THRESHOLD, LEAST_GIVEN_BACK);
    ::mallopt(M_ARENA_MAX, 1);
    folder.Prepare();
    ServerState state(folder);
    Cloud cloud(folder, [] { return g_get_real_time() / 1000; });
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
    ready("serving https://127.0.0.1:" + std::to_string(port) + " from " + folder.Path() + ", CA file " +
          folder.CaFile());
    int signal = 0;
    sigwait(&signals, &signal);
    server.EndConnections();
    server.stop();
    listening.join();
}

/** The same in a process of its own, which this one waits for until it answers. What goes wrong later is told
 * in the folder's state/serve.log. */
void ServeDetached(const Folder& folder, const ServeArguments& arguments, const Ready& ready) {
    std::array<int, 2> pipe = {};
    const pid_t server = ::pipe2(pipe.data(), O_CLOEXEC) == 0 ? ::fork() : -1;
    if (server < 0) {
        throw std::runtime_error(std::string("could not start another process: ") + g_strerror(errno));
    }
    if (server == 0) {
        ServeUntilStopped(folder, arguments, [&](const std::string& where) {
            LeaveCaller(folder.StateFile("serve.log"));
            // Nobody is there to be told when this fails.
            static_cast<void>(::write(pipe[1], where.data(), where.size()) < 0);
            ::close(pipe[1]);
        });
        return;
    }
    ::close(pipe[1]);
    std::array<char, 8192> where = {};
    const ssize_t size = ::read(pipe[0], where.data(), where.size());
    ::close(pipe[0]);
    if (size > 0) {
        ready({where.data(), static_cast<std::size_t>(size)});
        return;
    }
    int status = 0;
    ::waitpid(server, &status, 0);
    if (WIFEXITED(status)) {
        throw Cli::ToldAlready(WEXITSTATUS(status));
    }
    throw std::runtime_error("the server ended before it answered");
}

void Serve(const ServeArguments& arguments) {
    const auto say = [](const std::string& where) {
        std::cout << "infosync-cloud: " << Cli::Escape(where) << std::endl;
    };
    (arguments.detach ? ServeDetached : ServeUntilStopped)(Folder(), arguments, say);
}

void DeclareServe(Cli::Command& command, ServeArguments& arguments) {
    command.Option("--port", "N", arguments.port, "the port on 127.0.0.1; 0 picks a free one (default: 8443)")
        .Between(0, HIGHEST_PORT);
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

Json::Value StatusOf(const Folder& folder) {
    Json::Value status = RequireServer(folder);
    status["running"] = true;
    status["address"] = "https://127.0.0.1:" + status["port"].asString();
    status["dir"] = folder.Path();
    status["ca_file"] = folder.CaFile();
    status["uptime_seconds"] = Json::Int64(g_get_real_time() / G_USEC_PER_SEC - status["started"].asInt64());
    status["planned_faults"] = Json::UInt64(FaultPlan(folder).List().size());
    return status;
}

std::string TableOf(const Json::Value& status) {
    Cli::Table table({"SERVER", ""});
    table.Add({"address", Cli::StringMember(status, "address")});
    table.Add({"CA file", Cli::StringMember(status, "ca_file")});
    table.Add({"running for", Cli::DurationText(Cli::IntegerMember(status, "uptime_seconds"))});
    std::vector<std::string> numbers = {"pid"};
    numbers.insert(numbers.end(), std::begin(COUNTS), std::end(COUNTS));
    numbers.emplace_back("planned_faults");
    for (std::string& name : numbers) {
        const std::string number = status[name].asString();
        table.Add({g_strdelimit(name.data(), "_", ' '), number});
    }
    return table.Text(Cli::Style(STDOUT_FILENO));
}

struct StatusArguments {
    bool json = false;
};

void DeclareStatus(Cli::Command& command, StatusArguments& arguments) {
    command.Json(arguments.json);
}

void Status(const StatusArguments& arguments) {
    const Folder folder = Folder::Ready();
    if (arguments.json && !FindServer(folder)) {
        std::cout << "{ \"running\" : false }\n";
    }
    const Json::Value status = StatusOf(folder);
    std::cout << (arguments.json ? Cli::JsonText(status) : TableOf(status));
}

void Stop() {
    const Folder folder = Folder::Ready();
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
    tool.Add("status", "Show the running server: where it listens, what it counted",
             R"(The exit status is 1 when none runs.

Example:
  infosync-cloud status --json)",
             &DeclareStatus, &Status);
    tool.Add("stop", "End the running server, and wait until it has ended", "", &Stop);
}

}  // namespace LocalCloud
