#include <glib.h>
#include <unistd.h>

#include <iostream>
#include <memory>

#include "Cli/Json.h"
#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Commands/ControlClient.h"
#include "Cloud/State/Faults.h"
#include "Cloud/Protocol/Answer.h"
#include "Cloud/Util/Json.h"
#include "Cloud/State/Certificates.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr double LONGEST_PAUSE = 86400;
constexpr std::int64_t LARGEST_COUNT = 1'000'000'000;
constexpr int LOWEST_STATUS = 200;
constexpr int HIGHEST_STATUS = 9999;

struct Plan {
    Fault fault;
    /** From now on; 1 is the next request or connection. */
    std::int64_t nth = 1;
    std::string bodyFile;
    /** As it was written. */
    std::string seconds = "0";
    std::string tlsVersion;
    std::int64_t bytes = 0;
};

void Submit(Plan& plan) {
    plan.fault.skip = plan.nth - 1;
    plan.fault.bytes = static_cast<std::size_t>(plan.bytes);
    plan.fault.seconds = g_ascii_strtod(plan.seconds.c_str(), nullptr);
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
std::string IsSeconds(const std::string& value) {
    gchar* end = nullptr;
    const double seconds = g_ascii_strtod(value.c_str(), &end);
    const bool fits = !value.empty() && *end == '\0' && seconds >= 0 && seconds <= LONGEST_PAUSE;
    return fits ? "" : "\"" + value + "\" is no number of seconds from 0 to a day";
}

std::string IsHeaderLine(const std::string& line) {
    const auto colon = line.find(": ");
    const bool fits =
        colon != 0 && colon != std::string::npos && line.find_first_of("\r\n") == std::string::npos;
    return fits ? "" : "a header must be one line, NAME: VALUE";
}

/** What only some faults take. */
void AddOperands(Cli::Command& command, Plan& plan) {
    Fault& fault = plan.fault;
    switch (fault.kind) {
        case FaultKind::Delay:
            command.Operand("SECONDS", plan.seconds).Required().Must(&IsSeconds);
            break;
        case FaultKind::Status:
            command.Operand("CODE", fault.status).Required().Between(LOWEST_STATUS, HIGHEST_STATUS);
            break;
        case FaultKind::Body:
            command.Operand("FILE", plan.bodyFile).Required();
            command.Option("--status", "CODE", fault.status, "the answer's status (default: 200)")
                .Between(LOWEST_STATUS, HIGHEST_STATUS);
            break;
        case FaultKind::Cut:
            command.Operand("BYTES", plan.bytes).Required().Between(0, LARGEST_COUNT);
            command.Flag("--headers", fault.withinHeaders,
                         "count from the answer's first byte and end within the headers");
            break;
        case FaultKind::Dribble:
        case FaultKind::Endless: {
            const bool dribble = fault.kind == FaultKind::Dribble;
            plan.seconds = dribble ? "0.1" : "0";
            command
                .Option("--interval", "SECONDS", plan.seconds,
                        dribble ? "from byte to byte (default: 0.1)"
                                : "from byte to byte (default: 0, as fast as it goes)")
                .Must(&IsSeconds);
            break;
        }
        case FaultKind::Certificate:
            command.Operand("FLAW", fault.flaw).OneOf(CertificateFlaws()).Required();
            break;
        case FaultKind::Tls: {
            command.Operand("VERSION", plan.tlsVersion).OneOf({"1.1"}).Required();
            break;
        }
        case FaultKind::Drop:
        case FaultKind::Garbage:
        case FaultKind::Plain:
            break;
    }
    if (fault.ReplacesAnswer()) {
        command
            .Option("--header", "LINE", fault.headers,
                    "add a header line, NAME: VALUE; may be given several times")
            .Must(&IsHeaderLine);
    }
}

/** The command of a fault, with what all faults take. */
void AddFault(Cli::Tool& tool, FaultKind kind, const std::string& summary, const std::string& example) {
    const auto plan = std::make_shared<Plan>();
    plan->fault.kind = kind;
    const bool connecting = plan->fault.SpoilsConnection();
    const std::string name = "fault " + NameOf(kind);
    Cli::Command command = tool.Add(
        name, summary,
        std::string("It is for the next ") + (connecting ? "connection" : "request") +
            ", or the n-th from now with --nth; --times is how many are hit (0: all, until 'fault clear')." +
            (connecting ? " Connections that are open are closed after their next answer." : "") +
            "\n\nExample:\n  infosync-cloud " + name + example,
        [plan] { Submit(*plan); });
    command.Option("--nth", "N", plan->nth, "the first one that is hit (default: 1, the next)")
        .Between(1, LARGEST_COUNT);
    command.Option("--times", "K", plan->fault.times, "how many are hit (default: 1; 0: all)")
        .Between(0, LARGEST_COUNT);
    if (!connecting) {
        command.Option("--on", "ENDPOINT", plan->fault.on, "only requests to this endpoint (default: any)")
            .OneOf(EndpointNames());
    }
    AddOperands(command, *plan);
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
    tool.AddReading("fault list", "Show the faults that are still to come",
                    "Example:\n  infosync-cloud fault list --json", &List);
    tool.Add("fault clear", "Forget the faults that are still to come", "",
             [] { AskServer(Folder::Ready(), "DELETE", "/faults"); });
}

}  // namespace LocalCloud
