#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <optional>

#include "Cli/Display.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Protocol/Endpoints.h"
#include "Cloud/Server/FaultPlan.h"
#include "Cloud/State/Certificates.h"
#include "Cloud/State/ServerState.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr std::int64_t LARGEST_COUNT = 1'000'000'000;
constexpr std::int64_t LOWEST_STATUS = 200;
constexpr std::int64_t HIGHEST_STATUS = 9999;

struct FaultArguments {
    std::string kind;
    std::optional<std::string> value;
    std::string on;
    /** From now on; 1 is the next request or connection. */
    std::int64_t nth = 1;
    std::int64_t times = 1;
    std::optional<std::int64_t> status;
    std::vector<std::string> headers;
};

void RefuseUnless(bool fits, const std::string& otherwise) {
    if (!fits) {
        throw Cli::UsageError(otherwise);
    }
}

Fault Planned(const FaultArguments& arguments) {
    Fault fault = FaultOf(arguments.kind);
    const FaultKind& kind = *fault.kind;
    const std::string name = std::string("fault ") + kind.name;
    RefuseUnless(arguments.value || kind.standard != nullptr, name + " needs a value: " + kind.operand);
    RefuseUnless(!fault.HitsConnection() || arguments.on.empty(),
                 name + " hits a connection, whatever is asked then: leave out --on");
    RefuseUnless((kind.answer != nullptr || arguments.headers.empty()) &&
                     (kind.operand == FILE_OPERAND || !arguments.status),
                 "--header is for the faults status and body, --status for body");
    fault.value = arguments.value ? *arguments.value : kind.standard;
    const std::string rule = kind.rule(fault.value);
    RefuseUnless(rule.empty(), "the value of " + name + " is " + rule);
    if (kind.operand == FILE_OPERAND) {
        fault.value = std::filesystem::absolute(fault.value);
        Files::Read(fault.value);  // what cannot be sent is refused now
    }
    fault.on = arguments.on;
    fault.skip = arguments.nth - 1;
    fault.times = arguments.times;
    fault.status = static_cast<int>(arguments.status.value_or(
        kind.operand == CODE_OPERAND ? static_cast<std::int64_t>(fault.Number()) : LOWEST_STATUS));
    fault.headers = arguments.headers;
    return fault;
}

void PlanFault(const FaultArguments& arguments) {
    RefuseUnless(!arguments.kind.empty(), "which fault?");
    const Fault fault = Planned(arguments);
    const Folder folder = Folder::Ready();
    FaultPlan(folder).Add(fault);
    std::cout << "planned: " << Cli::Escape(fault.Describe())
              << (FindServer(folder) ? "" : "; it waits for a server: infosync-cloud serve") << "\n";
}

struct ListArguments {
    bool json = false;
};

void ListFaults(const ListArguments& arguments) {
    Json::Value list = Json::arrayValue;
    Cli::Table table({"FAULT", "ON", "SPARES FIRST", "THEN HITS"});
    for (const Fault& fault : FaultPlan(Folder::Ready()).List()) {
        list.append(ToJson(fault));
        table.Add({fault.Describe(), fault.on.empty() ? "any" : fault.on, std::to_string(fault.skip),
                   fault.times == 0 ? "all" : std::to_string(fault.times)});
    }
    std::cout << (arguments.json ? Cli::JsonText(list) : table.Text(Cli::Style(STDOUT_FILENO)));
}

void ClearFaults() {
    const std::size_t count = FaultPlan(Folder::Ready()).Clear();
    std::cout << (count == 0 ? "nothing was planned" : "forgotten: " + Cli::Count(count, "fault")) << "\n";
}

std::string IsHeaderLine(const std::string& line) {
    const auto colon = line.find(": ");
    const bool fits =
        colon != 0 && colon != std::string::npos && line.find_first_of("\r\n") == std::string::npos;
    return fits ? "" : "a header must be one line, NAME: VALUE";
}

template <typename Rows>
std::vector<std::string> NamesOf(const Rows& rows) {
    std::vector<std::string> names;
    std::transform(std::begin(rows), std::end(rows), std::back_inserter(names),
                   [](const auto& row) { return row.name; });
    return names;
}

std::string IsKind(const std::string& word) {
    const std::vector<std::string> kinds = NamesOf(FaultKinds());
    const bool isKnown = std::find(kinds.begin(), kinds.end(), word) != kinds.end();
    return isKnown ? "" : "there is no fault \"" + word + "\"" + Cli::Nearest(word, kinds);
}

void DeclareFault(Cli::Command& command, FaultArguments& arguments) {
    const std::vector<std::string> requests = NamesOf(ENDPOINTS);
    command.Operand("KIND", arguments.kind, "one of those below").Must(&IsKind);
    command.Operand("VALUE", arguments.value, "what the kind takes");
    command.Option("--on", "REQUEST", arguments.on, "only " + Cli::Join(requests, ", ") + " (default: any)")
        .OneOf(requests);
    command.Option("--nth", "N", arguments.nth, "the first one that is hit (default: 1, the next)")
        .Between(1, LARGEST_COUNT);
    command
        .Option("--times", "K", arguments.times, "how many are hit (default: 1; 0: all until 'fault clear')")
        .Between(0, LARGEST_COUNT);
    command.Option("--status", "CODE", arguments.status, "of body: the answer's status (default: 200)")
        .Between(LOWEST_STATUS, HIGHEST_STATUS);
    command
        .Option("--header", "LINE", arguments.headers,
                "of status and body: a header, NAME: VALUE; may be given several times")
        .Must(&IsHeaderLine);
}

std::string Line(const FaultKind& kind) {
    constexpr std::size_t WIDTH = 22;
    const std::string word = kind.operand;
    const bool isOptional = kind.standard != nullptr && !word.empty();
    const std::string value = isOptional ? "[" + word + "]" : word;
    return "  " + Cli::Pad(kind.name + (" " + value), WIDTH) + kind.summary + "\n";
}

/** A line for each kind, in three parts by what it hits. */
std::string Kinds() {
    std::string answers = "What a client gets, though its request is carried out:\n";
    std::string requests = "What it gets instead, without a look at its request:\n";
    std::string connections = "What a new connection gets (others are closed after their next answer):\n";
    for (const FaultKind& kind : FaultKinds()) {
        std::string& others = kind.answer != nullptr ? requests : connections;
        (kind.deliver != nullptr ? answers : others) += Line(kind);
    }
    return answers + "\n" + requests + "\n" + connections + "\n" +
           Cli::Wrap("FLAW is " + Cli::Join(CertificateFlaws(), ", ") + ".", 0, Cli::HELP_WIDTH);
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
    tool.Add<ListArguments>(
        "fault list", "Show the faults that are still to come",
        "Example:\n  infosync-cloud fault list --json",
        [](Cli::Command& command, ListArguments& arguments) { command.Json(arguments.json); }, &ListFaults);
    tool.Add("fault clear", "Forget the faults that are still to come", "", &ClearFaults);
}

}  // namespace LocalCloud
