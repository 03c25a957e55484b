#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <optional>

#include "Cli/Display.h"
#include "Cli/Json.h"
#include "Cli/Pattern.h"
#include "Cli/Text.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Protocol/Endpoints.h"
#include "Cloud/Server/Fault.h"
#include "Cloud/State/Certificates.h"
#include "Cloud/State/ServerState.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr std::int64_t LARGEST_COUNT = 1'000'000'000;
constexpr int LOWEST_STATUS = 200;

struct FaultArguments {
    std::string kind;
    std::optional<std::string> value;
    std::string on = ANY_REQUEST;
    /** From now on; 1 is the next request or connection. */
    std::int64_t nth = 1;
    std::int64_t times = 1;
    /** 0 where none is given. */
    int status = 0;
    std::vector<std::string> headers;
};

void RefuseUnless(bool fits, const std::string& otherwise) {
    if (!fits) {
        throw Cli::UsageError(otherwise);
    }
}

void PlanFault(const FaultArguments& arguments) {
    RefuseUnless(!arguments.kind.empty(), "which fault?");
    Json::Value plan;
    plan["kind"] = arguments.kind;
    plan["on"] = arguments.on;
    plan["skip"] = Json::Int64(arguments.nth - 1);
    plan["times"] = Json::Int64(arguments.times);
    plan["headers"] = Cli::JsonArray(arguments.headers);
    if (arguments.value) {
        plan["value"] = *arguments.value;
    }
    Fault fault(plan);
    const bool isAnswer = std::holds_alternative<MakeBody>(fault.kind->deed);
    RefuseUnless(!fault.HitsConnection() || arguments.on == ANY_REQUEST,
                 "fault " + arguments.kind + " hits a connection, whatever is asked then: leave out --on");
    RefuseUnless((isAnswer || arguments.headers.empty()) && (fault.HasFile() || arguments.status == 0),
                 "--header is for the faults status and body, --status for body");
    fault.plan["status"] =
        isAnswer && !fault.HasFile() ? std::stoi(fault.Value()) : std::max(arguments.status, LOWEST_STATUS);
    if (fault.HasFile()) {
        fault.plan["value"] = std::filesystem::absolute(fault.Value()).string();
        Files::Read(fault.Value());  // what cannot be sent is refused now
    }
    const Folder folder;
    AddFault(folder, fault);
    std::cout << "planned: " << Cli::Escape(fault.Describe())
              << (FindServer(folder) ? "" : "; it waits for a server: infosync-cloud serve") << "\n";
}

void ListFaults(const bool& json) {
    Json::Value list = Json::arrayValue;
    Cli::Table table({"FAULT", "ON", "SPARES FIRST", "THEN HITS"});
    for (const Fault& fault : PlannedFaults(Folder())) {
        list.append(fault.plan);
        const std::string times = fault.plan["times"].asString();
        table.Add({fault.Describe(), fault.plan["on"].asString(), fault.plan["skip"].asString(),
                   times == "0" ? "all" : times});
    }
    std::cout << (json ? Cli::JsonText(list) : table.Lines(Cli::Style(STDOUT_FILENO)));
}

void ClearFaults() {
    const std::size_t count = ForgetFaults(Folder());
    std::cout << (count == 0 ? "nothing was planned" : "forgotten: " + Cli::Count(count, "fault")) << "\n";
}

std::string IsHeaderLine(const std::string& line) {
    static const Cli::Pattern headerLine(R"(^[^\r\n]+: [^\r\n]*\z)");
    return headerLine.Find(line) ? "" : "a header must be one line, NAME: VALUE";
}

template <typename Rows>
std::vector<std::string> NamesOf(const Rows& rows) {
    std::vector<std::string> names;
    std::transform(std::begin(rows), std::end(rows), std::back_inserter(names),
                   [](const auto& row) { return row.name; });
    return names;
}

void DeclareFault(Cli::Command& command, FaultArguments& arguments) {
    const std::vector<std::string> requests = NamesOf(ENDPOINTS);
    command.Operand("KIND", arguments.kind, "one of those below").OneOf(NamesOf(FaultKinds()));
    command.Operand("VALUE", arguments.value, "what the kind takes");
    command.Option("--on", "REQUEST", arguments.on, "only " + Cli::Join(requests, ", ") + " (default: any)")
        .OneOf(requests);
    command.Option("--nth", "N", arguments.nth, "the first one that is hit (default: 1, the next)")
        .Between(1, LARGEST_COUNT);
    command
        .Option("--times", "K", arguments.times, "how many are hit (default: 1; 0: all until 'fault clear')")
        .Between(0, LARGEST_COUNT);
    command.Option("--status", "CODE", arguments.status, "of body: the answer's status (default: 200)")
        .Between(LOWEST_STATUS, 9999);
    command
        .Option("--header", "LINE", arguments.headers,
                "of status and body: a header, NAME: VALUE; may be given several times")
        .Must(&IsHeaderLine);
}

/** A line for each kind, in three parts by what it hits. */
std::string Kinds() {
    constexpr std::size_t WIDTH = 22;
    std::string parts[] = {"What a client gets, though its request is carried out:\n",
                           "What it gets instead, without a look at its request:\n",
                           "What a new connection gets (others are closed after their next answer):\n"};
    for (const FaultKind& kind : FaultKinds()) {
        const std::string word = kind.value.word;
        const std::string value = *kind.standard != '\0' ? "[" + word + "]" : word;
        parts[kind.deed.index()] += "  " + Cli::Pad(kind.name + (" " + value), WIDTH) + kind.summary + "\n";
    }
    return parts[0] + "\n" + parts[1] + "\n" + parts[2] + "\n" +
           Cli::Wrap("FLAW is one of " + Cli::Join(CertificateFlaws(), ", ") + ".", 0, Cli::HELP_WIDTH);
}

}  // namespace

void AddFaultCommands(Cli::Tool& tool) {
    tool.Add("fault", "Plan that the server misbehaves", Kinds() + R"(
Examples:
  infosync-cloud fault delay 2s --on download
  infosync-cloud fault status 503 --header 'Retry-After: 60' --times 3
  infosync-cloud fault drop --on activation --nth 2
  infosync-cloud fault certificate expired)",
             &DeclareFault, &PlanFault);
    tool.AddView("fault list", "Show the faults that are still to come",
                 "Example:\n  infosync-cloud fault list --json", &ListFaults);
    tool.Add("fault clear", "Forget the faults that are still to come", "", &ClearFaults);
}

}  // namespace LocalCloud
