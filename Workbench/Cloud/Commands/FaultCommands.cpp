#include <glib.h>
#include <unistd.h>

#include <iostream>
#include <memory>

#include "Cli/Json.h"
#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Commands/ControlClient.h"
#include "Cloud/Server/Fault.h"
#include "Cloud/Service/Protocol.h"
#include "Cloud/Util/Json.h"
#include "Cloud/Util/Tls.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr double LONGEST_PAUSE = 86400;
constexpr std::int64_t LARGEST_COUNT = 1'000'000'000;

struct Plan {
    Fault fault;
    /** From now on; 1 is the next request or connection. */
    std::int64_t nth = 1;
    std::string bodyFile;
};

void Submit(Plan& plan) {
    plan.fault.skip = plan.nth - 1;
    if (plan.fault.kind == FaultKind::Body) {
        plan.fault.body = Files::Read(plan.bodyFile);
    }
    AskServer(Folder::Ready(), "POST", "/faults", ToJson(plan.fault));
    std::cout << "planned: " << plan.fault.Describe() << "\n";
}

std::vector<std::string> EndpointNames() {
    std::vector<std::string> names;
    names.reserve(ENDPOINTS.size() + 1);
    for (const Endpoint& endpoint : ENDPOINTS) {
        names.emplace_back(endpoint.name);
    }
    names.emplace_back("any");
    return names;
}

/** A number of seconds, and nothing that only looks like a number. */
CLI::Validator Seconds() {
    return {[](const std::string& value) -> std::string {
                gchar* end = nullptr;
                const double seconds = g_ascii_strtod(value.c_str(), &end);
                const bool fits = !value.empty() && *end == '\0' && seconds >= 0 && seconds <= LONGEST_PAUSE;
                return fits ? "" : "\"" + value + "\" is no number of seconds from 0 to a day";
            },
            ""};
}

CLI::Validator HeaderLine() {
    return {[](const std::string& line) -> std::string {
                const auto colon = line.find(": ");
                const bool fits = colon != 0 && colon != std::string::npos &&
                                  line.find_first_of("\r\n") == std::string::npos;
                return fits ? "" : "a header must be one line, NAME: VALUE";
            },
            ""};
}

CLI::Validator Status() {
    return CLI::Range(200, 9999);
}

CLI::Validator Count(std::int64_t lowest) {
    return CLI::Range(lowest, LARGEST_COUNT);
}

/** What only some faults take. */
void AddOperands(Cli::Tool& tool, CLI::App& command, Plan& plan) {
    Fault& fault = plan.fault;
    switch (fault.kind) {
        case FaultKind::Delay:
            command.add_option("SECONDS", fault.seconds)->required()->check(Seconds());
            break;
        case FaultKind::Status:
            command.add_option("CODE", fault.status)->required()->check(Status());
            break;
        case FaultKind::Body:
            command.add_option("FILE", plan.bodyFile)->required();
            command.add_option("--status", fault.status, "the answer's status (default: 200)")
                ->option_text("CODE")
                ->check(Status());
            break;
        case FaultKind::Cut:
            command.add_option("BYTES", fault.bytes)->required()->check(Count(0));
            command.add_flag("--headers", fault.withinHeaders,
                             "count from the answer's first byte and end within the headers");
            break;
        case FaultKind::Dribble:
        case FaultKind::Endless: {
            const bool dribble = fault.kind == FaultKind::Dribble;
            fault.seconds = dribble ? 0.1 : 0;
            command
                .add_option("--interval", fault.seconds,
                            dribble ? "from byte to byte (default: 0.1)"
                                    : "from byte to byte (default: 0, as fast as it goes)")
                ->option_text("SECONDS")
                ->check(Seconds());
            break;
        }
        case FaultKind::Certificate:
            tool.OneOf(command.add_option("FLAW", fault.flaw), CertificateFlaws())->required();
            break;
        case FaultKind::Tls: {
            const auto theOnlyVersion = [](const std::string&) {};
            tool.OneOf(command.add_option_function<std::string>("VERSION", theOnlyVersion), {"1.1"})
                ->required();
            break;
        }
        case FaultKind::Drop:
        case FaultKind::Garbage:
        case FaultKind::Plain:
            break;
    }
    if (fault.ReplacesAnswer()) {
        command
            .add_option("--header", fault.headers,
                        "add a header line, NAME: VALUE; may be given several times")
            ->option_text("LINE")
            ->allow_extra_args(false)
            ->take_all()
            ->check(HeaderLine());
    }
}

/** The command of a fault, with what all faults take. */
void AddFault(Cli::Tool& tool, FaultKind kind, const std::string& summary, const std::string& example) {
    const auto plan = std::make_shared<Plan>();
    plan->fault.kind = kind;
    const bool connecting = plan->fault.SpoilsConnection();
    const std::string name = "fault " + NameOf(kind);
    CLI::App& command = tool.Command(
        name, summary,
        std::string("It is for the next ") + (connecting ? "connection" : "request") +
            ", or the n-th from now with --nth; --times is how many are hit (0: all, until 'fault clear')." +
            (connecting ? " Connections that are open are closed after their next answer." : "") +
            "\n\nExample:\n  infosync-cloud " + name + example);
    command.add_option("--nth", plan->nth, "the first one that is hit (default: 1, the next)")
        ->option_text("N")
        ->check(Count(1));
    command.add_option("--times", plan->fault.times, "how many are hit (default: 1; 0: all)")
        ->option_text("K")
        ->check(Count(0));
    if (!connecting) {
        tool.OneOf(
                command.add_option("--on", plan->fault.on, "only requests to this endpoint (default: any)"),
                EndpointNames())
            ->option_text("ENDPOINT");
    }
    AddOperands(tool, command, *plan);
    command.callback([plan] { Submit(*plan); });
}

void List(bool json) {
    const Json::Value faults = AskServer(Folder::Ready(), "GET", "/faults")["faults"];
    Cli::Table table({"FAULT", "ON", "SPARES FIRST", "THEN HITS"});
    for (const auto& fault : faults) {
        const auto times = IntegerMember(fault, "times");
        table.Add({TextMember(fault, "description"), TextMember(fault, "on"),
                   std::to_string(IntegerMember(fault, "skip")), times == 0 ? "all" : std::to_string(times)});
    }
    std::cout << (json ? Cli::JsonText(faults) : table.Text(Cli::Style(STDOUT_FILENO)));
}

}  // namespace

void AddFaultCommands(Cli::Tool& tool) {
    AddFault(tool, FaultKind::Delay, "Answer later", " 2.5 --on records");
    AddFault(tool, FaultKind::Status, "Answer with a status, without looking at the request",
             " 503 --header 'Retry-After: 60' --times 3");
    AddFault(tool, FaultKind::Body, "Answer with a file's bytes, without looking at the request",
             " broken.json --on token");
    AddFault(tool, FaultKind::Cut, "End the connection in the middle of the answer", " 100 --on records");
    AddFault(tool, FaultKind::Drop, "End the connection without a byte of the answer",
             " --on activate --nth 2");
    AddFault(tool, FaultKind::Dribble, "Send the answer byte by byte", " --interval 0.2");
    AddFault(tool, FaultKind::Endless, "Send a body that never ends, as fast as it goes or byte by byte",
             " --on records");
    AddFault(tool, FaultKind::Garbage, "Answer with bytes that are not HTTP", "");
    AddFault(tool, FaultKind::Certificate,
             "Present a wrong certificate: " + Cli::Join(CertificateFlaws(), ", "), " expired");
    AddFault(tool, FaultKind::Tls, "Offer no newer TLS than version 1.1", " 1.1");
    AddFault(tool, FaultKind::Plain, "Answer in plain HTTP where TLS is due", "");
    tool.ReadingCommand("fault list", "Show the faults that are still to come",
                        "Example:\n  infosync-cloud fault list --json", &List);
    tool.Command("fault clear", "Forget the faults that are still to come").callback([] {
        AskServer(Folder::Ready(), "DELETE", "/faults");
    });
}

}  // namespace LocalCloud
