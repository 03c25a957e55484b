#include <glib.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "Cli/Json.h"
#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Server/FaultPlan.h"
#include "Cloud/Server/Serve.h"
#include "Cloud/State/ServerState.h"

namespace LocalCloud {

namespace {

constexpr std::int64_t HIGHEST_PORT = 65535;
constexpr std::chrono::seconds LONGEST_END(10);

struct Arguments {
    ServeOptions options;
    bool detach = false;
};

void Serve(const Arguments& arguments) {
    const auto say = [](const std::string& where) {
        std::cout << "infosync-cloud: " << Cli::Escape(where) << std::endl;
    };
    (arguments.detach ? ServeDetached : ServeUntilStopped)(Folder(), arguments.options, say);
}

void DeclareServe(Cli::Command& command, Arguments& arguments) {
    command
        .Option("--port", "N", arguments.options.port,
                "the port on 127.0.0.1; 0 picks a free one (default: 8443)")
        .Between(0, HIGHEST_PORT);
    command.Flag("--any-user", arguments.options.anyUser, "accept every login id, not only those of 'list'");
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
  infosync-cloud serve --any-user --detach)",
             &DeclareServe, &Serve);
    tool.Add("status", "Show the running server: where it listens, what it counted",
             R"(The exit status is 1 when none runs.

Example:
  infosync-cloud status --json)",
             &DeclareStatus, &Status);
    tool.Add("stop", "End the running server, and wait until it has ended", "", &Stop);
}

}  // namespace LocalCloud
