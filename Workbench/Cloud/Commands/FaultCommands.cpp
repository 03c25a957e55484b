#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>

#include "Cli/Json.h"
#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Commands/ControlClient.h"
#include "Cloud/Server/Endpoint.h"
#include "Cloud/Server/Fault.h"
#include "Cloud/Util/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char WHEN[] =
    "It is for the next request, or the n-th from now with --nth; --times is how many are hit (0: all, until "
    "'fault clear').";

constexpr char WHEN_CONNECTING[] =
    "It is for the next connection, or the n-th from now with --nth; --times is how many are hit (0: all, "
    "until "
    "'fault clear'). Connections that are open are closed after their next answer.";

struct Plan {
    Fault fault;
    /** From now on; 1 is the next request or connection. */
    std::int64_t nth = 1;
    std::string bodyFile;
    bool json = false;
};
using SharedPlan = std::shared_ptr<Plan>;

void Submit(Plan& plan) {
    plan.fault.skip = plan.nth - 1;
    if (plan.fault.kind == FaultKind::Body) {
        plan.fault.body = Files::Read(plan.bodyFile);
    }
    const Json::Value planned = ControlClient(Folder()).Post("/faults", ToJson(plan.fault));
    if (plan.json) {
        std::cout << Cli::JsonText(planned);
    } else {
        std::cout << "planned: " << TextMember(planned, "description") << "\n";
    }
}

std::vector<std::string> EndpointNames() {
    std::vector<std::string> names;
    names.reserve(std::size(ENDPOINTS) + 1);
    for (const Endpoint& endpoint : ENDPOINTS) {
        names.emplace_back(endpoint.name);
    }
    names.emplace_back("any");
    return names;
}

SharedPlan NewPlan(FaultKind kind) {
    auto plan = std::make_shared<Plan>();
    plan->fault.kind = kind;
    return plan;
}

/** The command of a fault, with what all faults take. */
CLI::App& AddFault(Cli::Tool& tool, const SharedPlan& plan, const std::string& name,
                   const std::string& summary, const std::string& example) {
    const bool connecting = plan->fault.SpoilsConnection();
    CLI::App& command = tool.Command(
        "fault " + name, summary,
        (connecting ? WHEN_CONNECTING : WHEN) + ("\n\nExample:\n  infosync-cloud fault " + name + example));
    command.add_option("--nth", plan->nth, "the first one that is hit (default: 1, the next)")
        ->option_text("N")
        ->check(CLI::Range(std::int64_t{1}, LARGEST_COUNT));
    command.add_option("--times", plan->fault.times, "how many are hit (default: 1; 0: all)")
        ->option_text("K")
        ->check(CLI::Range(std::int64_t{0}, LARGEST_COUNT));
    if (!connecting) {
        tool.OneOf(
                command.add_option("--on", plan->fault.on, "only requests to this endpoint (default: any)"),
                EndpointNames())
            ->option_text("ENDPOINT");
    }
    command.add_flag("--json", plan->json, "print the planned fault as JSON");
    command.callback([plan] { Submit(*plan); });
    return command;
}

void AddPlainFault(Cli::Tool& tool, FaultKind kind, const std::string& name, const std::string& summary,
                   const std::string& example) {
    AddFault(tool, NewPlan(kind), name, summary, example);
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

void AddDelay(Cli::Tool& tool) {
    const SharedPlan plan = NewPlan(FaultKind::Delay);
    CLI::App& command = AddFault(tool, plan, "delay", "Answer later", " 2.5 --on records");
    command.add_option("SECONDS", plan->fault.seconds)->required()->check(Seconds());
}

void AddHeaderOption(CLI::App& command, const SharedPlan& plan) {
    command
        .add_option("--header", plan->fault.headers,
                    "add a header line, NAME: VALUE; may be given several times")
        ->option_text("LINE")
        ->allow_extra_args(false)
        ->take_all();
}

void AddStatus(Cli::Tool& tool) {
    const SharedPlan plan = NewPlan(FaultKind::Status);
    CLI::App& command = AddFault(tool, plan, "status", "Answer with a status, without looking at the request",
                                 " 503 --header 'Retry-After: 60' --times 3");
    command.add_option("CODE", plan->fault.status)
        ->required()
        ->check(CLI::Range(LOWEST_STATUS, HIGHEST_STATUS));
    AddHeaderOption(command, plan);
}

void AddBody(Cli::Tool& tool) {
    const SharedPlan plan = NewPlan(FaultKind::Body);
    plan->fault.status = 200;
    CLI::App& command =
        AddFault(tool, plan, "body", "Answer with a file's bytes, without looking at the request",
                 " broken.json --on token");
    command.add_option("FILE", plan->bodyFile)->required();
    command.add_option("--status", plan->fault.status, "the answer's status (default: 200)")
        ->option_text("CODE")
        ->check(CLI::Range(LOWEST_STATUS, HIGHEST_STATUS));
    AddHeaderOption(command, plan);
}

void AddCut(Cli::Tool& tool) {
    const SharedPlan plan = NewPlan(FaultKind::Cut);
    CLI::App& command =
        AddFault(tool, plan, "cut", "End the connection in the middle of the answer", " 100 --on records");
    command.add_option("BYTES", plan->fault.bytes)
        ->required()
        ->check(CLI::Range(std::int64_t{0}, LARGEST_COUNT));
    command.add_flag("--headers", plan->fault.withinHeaders,
                     "count from the answer's first byte and end within the headers");
}

/** dribble and endless: @param pause is from byte to byte */
void AddSlow(Cli::Tool& tool, FaultKind kind, const std::string& name, const std::string& summary,
             const std::string& example, double pause, const std::string& pauseHelp) {
    const SharedPlan plan = NewPlan(kind);
    plan->fault.seconds = pause;
    CLI::App& command = AddFault(tool, plan, name, summary, example);
    command.add_option("--interval", plan->fault.seconds, pauseHelp)
        ->option_text("SECONDS")
        ->check(Seconds());
}

void AddCertificate(Cli::Tool& tool) {
    const SharedPlan plan = NewPlan(FaultKind::Certificate);
    const auto& flaws = CertificateFlawNames();
    CLI::App& command = AddFault(tool, plan, "certificate",
                                 "Present a wrong certificate: " + Cli::Join(flaws, ", "), " expired");
    const auto choose = [plan, &flaws](const std::string& flaw) {
        // The first flaw is to have none.
        plan->fault.flaw =
            static_cast<CertificateFlaw>(std::find(flaws.begin(), flaws.end(), flaw) - flaws.begin() + 1);
    };
    tool.OneOf(command.add_option_function<std::string>("FLAW", choose), flaws)->required();
}

void AddTls(Cli::Tool& tool) {
    CLI::App& command =
        AddFault(tool, NewPlan(FaultKind::Tls), "tls", "Offer no newer TLS than version 1.1", " 1.1");
    const auto theOnlyVersion = [](const std::string&) {};
    tool.OneOf(command.add_option_function<std::string>("VERSION", theOnlyVersion), {"1.1"})->required();
}

void List(bool json) {
    const Json::Value faults = ControlClient(Folder()).Get("/faults")["faults"];
    Cli::Table table({"FAULT", "ON", "SPARES FIRST", "THEN HITS"});
    for (const auto& fault : faults) {
        const auto times = IntegerMember(fault, "times");
        table.Add({TextMember(fault, "description"), TextMember(fault, "on"),
                   std::to_string(IntegerMember(fault, "skip")), times == 0 ? "all" : std::to_string(times)});
    }
    std::cout << (json ? Cli::JsonText(faults) : table.Text(Cli::Style(STDOUT_FILENO)));
}

void AddList(Cli::Tool& tool) {
    const auto json = std::make_shared<bool>(false);
    CLI::App& command = tool.Command("fault list", "Show the faults that are still to come",
                                     "Example:\n  infosync-cloud fault list --json");
    command.add_flag("--json", *json, JSON_HELP);
    command.callback([json] { List(*json); });
}

void Clear() {
    ControlClient(Folder()).Delete("/faults");
}

}  // namespace

void AddFaultCommands(Cli::Tool& tool) {
    AddDelay(tool);
    AddStatus(tool);
    AddBody(tool);
    AddCut(tool);
    AddPlainFault(tool, FaultKind::Drop, "drop", "End the connection without a byte of the answer",
                  " --on activate --nth 2");
    AddSlow(tool, FaultKind::Dribble, "dribble", "Send the answer byte by byte", " --interval 0.2", 0.1,
            "from byte to byte (default: 0.1)");
    AddSlow(tool, FaultKind::Endless, "endless",
            "Send a body that never ends, as fast as it goes or byte by byte", " --on records", 0,
            "from byte to byte (default: 0, as fast as it goes)");
    AddPlainFault(tool, FaultKind::Garbage, "garbage", "Answer with bytes that are not HTTP", "");
    AddCertificate(tool);
    AddTls(tool);
    AddPlainFault(tool, FaultKind::Plain, "plain", "Answer in plain HTTP where TLS is due", "");
    AddList(tool);
    tool.Command("fault clear", "Forget the faults that are still to come").callback(&Clear);
}

}  // namespace LocalCloud
