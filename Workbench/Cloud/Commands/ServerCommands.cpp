#include <sys/stat.h>

#include <chrono>
#include <iostream>
#include <optional>
#include <thread>

#include "Cli/FileLock.h"
#include "Cloud/Commands/Command.h"
#include "Cloud/Commands/ControlClient.h"
#include "Cloud/Server/Detached.h"
#include "Cloud/Server/LocalCloudServer.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Files.h"
#include "Cloud/Util/Json.h"
#include "Cloud/Util/Terminal.h"

namespace LocalCloud {

namespace {

constexpr char DEFAULT_PORT[] = "8443";
constexpr int HIGHEST_PORT = 65535;
constexpr std::chrono::seconds LONGEST_END(10);

void Serve(CommandLine& line) {
    ServeOptions options;
    bool detach = false;
    std::string port = DEFAULT_PORT;
    line.Option("port", "N", "the port on 127.0.0.1; 0 picks a free one (default: 8443)", port);
    line.Option("record", "FILE", "append every exchange to FILE, one line of JSON each", options.recordFile);
    line.Flag("any-user", "accept every login id, not only those of 'user list'", options.anyUser);
    line.Flag("quiet", "show no line for each request", options.quiet);
    line.Flag("detach", "return when the server answers; it goes on until 'infosync-cloud stop'", detach);
    line.Parse();
    options.port = static_cast<int>(ParseInteger(port, "--port", 0, HIGHEST_PORT));
    const auto say = [&options](const std::string& where) {
        if (!options.quiet) {
            std::cout << "infosync-cloud: " << where << std::endl;
        }
    };
    if (detach) {
        say(ServeDetached(line.CloudFolder(), options));
    } else {
        ServeUntilStopped(line.CloudFolder(), options, say);
    }
}

void PrintStatus(const Json::Value& status) {
    const std::vector<std::pair<const char*, const char*>> shown = {
        {"address", "address"},
        {"ca_file", "CA file"},
        {"pid", "process"},
        {"uptime_seconds", "running for (s)"},
        {"requests", "requests"},
        {"connections", "connections"},
        {"full_handshakes", "full handshakes"},
        {"resumed_handshakes", "resumed handshakes"},
        {"failed_handshakes", "failed handshakes"},
        {"planned_faults", "planned faults"}};
    std::vector<std::vector<std::string>> rows;
    rows.reserve(shown.size());
    for (const auto& [member, name] : shown) {
        rows.push_back({name, status[member].asString()});
    }
    Terminal::PrintTable({"SERVER", ""}, rows);
}

void Status(CommandLine& line) {
    bool json = false;
    line.Flag("json", "print JSON", json);
    line.Parse();
    const ControlClient client(line.CloudFolder());
    try {
        const Json::Value status = client.Get("/status");
        if (json) {
            std::cout << ReadableJson(status);
        } else {
            PrintStatus(status);
        }
    } catch (const CloudError&) {
        if (json) {
            std::cout << "{ \"running\" : false }\n";
        }
        throw;
    }
}

void Stop(CommandLine& line) {
    line.Parse();
    const Folder folder = line.CloudFolder();
    const ControlClient client(folder);
    client.Post("/stop", Json::objectValue);
    // The lock is let go of when the process has ended.
    const auto last = std::chrono::steady_clock::now() + LONGEST_END;
    while (!Cli::FileLock(folder.StateFile("serve.lock"), Cli::FileLock::Wait::NO).IsHeld()) {
        if (std::chrono::steady_clock::now() > last) {
            throw CloudError("the server on " + folder.Path() + " was told to end and has not after " +
                             std::to_string(LONGEST_END.count()) + " s; see: infosync-cloud status");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::cout << "stopped\n";
}

}  // namespace

std::vector<Command> ServerCommands() {
    return {
        {{"serve", "", "Run the authorisation server and the cloud service on 127.0.0.1, until stopped.",
          "The folder is made when there is none. Each request is shown in one line.\n\n"
          "Examples:\n  infosync-cloud serve --port 0 --record exchanges.jsonl\n"
          "  infosync-cloud serve --any-user --quiet"},
         Serve},
        {{"status", "", "Show the running server: where it listens, what it counted.",
          "The exit status is 1 when none runs.\n\nExample:\n  infosync-cloud status --json"},
         Status},
        {{"stop", "", "End the running server.", "Example:\n  infosync-cloud stop"}, Stop},
    };
}

}  // namespace LocalCloud
