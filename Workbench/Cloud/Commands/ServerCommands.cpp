#include <unistd.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

#include "Cli/Json.h"
#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Commands/ControlClient.h"
#include "Cloud/Server/Serve.h"

namespace LocalCloud {

namespace {

constexpr int HIGHEST_PORT = 65535;
constexpr std::chrono::seconds LONGEST_END(10);

void Serve(const ServeOptions& options, bool detach) {
    const auto say = [&options](const std::string& where) {
        if (!options.quiet) {
            std::cout << "infosync-cloud: " << Cli::Escape(where) << std::endl;
        }
    };
    (detach ? ServeDetached : ServeUntilStopped)(Folder(), options, say);
}

void AddServe(Cli::Tool& tool) {
    const auto options = std::make_shared<ServeOptions>();
    const auto detach = std::make_shared<bool>(false);
    Cli::Command command =
        tool.Add("serve", "Run the authorisation server and the cloud service on 127.0.0.1, until stopped",
                 R"(The folder is made when there is none. Each request is shown in one line.

Examples:
  infosync-cloud serve --port 0 --record exchanges.jsonl
  infosync-cloud serve --any-user --quiet)",
                 [options, detach] { Serve(*options, *detach); });
    command.Option("--port", "N", options->port, "the port on 127.0.0.1; 0 picks a free one (default: 8443)")
        .Between(0, HIGHEST_PORT);
    command.Option("--record", "FILE", options->recordFile,
                   "append every exchange to FILE, one line of JSON each");
    command.Flag("--any-user", options->anyUser, "accept every login id, not only those of 'user list'");
    command.Flag("--quiet", options->quiet, "show no line for each request");
    command.Flag("--detach", *detach,
                 "return when the server answers; it goes on until 'infosync-cloud stop'");
}

std::string StatusTable(const Json::Value& status) {
    constexpr std::pair<const char*, const char*> SHOWN[] = {{"address", "address"},
                                                             {"ca_file", "CA file"},
                                                             {"pid", "process"},
                                                             {"uptime_seconds", "running for (s)"},
                                                             {"requests", "requests"},
                                                             {"connections", "connections"},
                                                             {"full_handshakes", "full handshakes"},
                                                             {"resumed_handshakes", "resumed handshakes"},
                                                             {"failed_handshakes", "failed handshakes"},
                                                             {"planned_faults", "planned faults"}};
    Cli::Table table({"SERVER", ""});
    for (const auto& [member, name] : SHOWN) {
        table.Add({name, status[member].asString()});
    }
    return table.Text(Cli::Style(STDOUT_FILENO));
}

void Status(bool json) {
    try {
        const Json::Value status = AskServer(Folder::Ready(), "GET", "/status");
        std::cout << (json ? Cli::JsonText(status) : StatusTable(status));
    } catch (const std::runtime_error&) {
        if (json) {
            std::cout << "{ \"running\" : false }\n";
        }
        throw;
    }
}

void Stop() {
    const Folder folder = Folder::Ready();
    AskServer(folder, "POST", "/stop");
    // The lock is let go of when the process has ended.
    const auto last = std::chrono::steady_clock::now() + LONGEST_END;
    while (!folder.LockForServing().IsHeld()) {
        if (std::chrono::steady_clock::now() > last) {
            throw std::runtime_error("the server on " + folder.Path() +
                                     " was told to end and has not after " +
                                     std::to_string(LONGEST_END.count()) + " s; see: infosync-cloud status");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::cout << "stopped\n";
}

}  // namespace

void AddServerCommands(Cli::Tool& tool) {
    AddServe(tool);
    tool.AddReading("status", "Show the running server: where it listens, what it counted",
                    R"(The exit status is 1 when none runs.

Example:
  infosync-cloud status --json)",
                    &Status);
    tool.Add("stop", "End the running server", "", &Stop);
}

}  // namespace LocalCloud
