#include <algorithm>
#include <iostream>

#include "Cloud/Commands/Command.h"
#include "Cloud/Commands/ControlClient.h"
#include "Cloud/Server/Fault.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Files.h"
#include "Cloud/Util/Json.h"
#include "Cloud/Util/Terminal.h"

namespace LocalCloud {

namespace {

constexpr char WHEN[] =
    "It is for the next request, or the n-th from now with --nth; --times is how many are hit (0: all, until "
    "'fault clear').\n"
    "Endpoints for --on: token, refresh, activate, app, records, any.\n\n";

constexpr char WHEN_CONNECTING[] =
    "It is for the next connection, or the n-th from now with --nth; --times is how many are hit (0: all, "
    "until "
    "'fault clear'). Connections that are open are closed after their next answer.\n\n";

constexpr std::int64_t LARGEST = 1'000'000'000;
constexpr int LOWEST_STATUS = 200;
constexpr int HIGHEST_STATUS = 9999;

/** The options that all faults share, and how a fault gets to the server. */
class Planning {
public:
    Planning(CommandLine& line, FaultKind kind) : m_line(line) {
        fault.kind = kind;
        line.Option("nth", "N", "the first one that is hit (default: 1, the next)", m_nth);
        line.Option("times", "K", "how many are hit (default: 1; 0: all)", m_times);
        if (!fault.SpoilsConnection()) {
            line.Option("on", "ENDPOINT", "only requests to this endpoint (default: any)", fault.on);
        }
        line.Flag("json", "print the planned fault as JSON", m_json);
    }

    void Submit() {
        fault.skip = ParseInteger(m_nth, "--nth", 1, LARGEST) - 1;
        fault.times = ParseInteger(m_times, "--times", 0, LARGEST);
        const Json::Value planned = ControlClient(m_line.CloudFolder()).Post("/faults", ToJson(fault));
        if (m_json) {
            std::cout << ReadableJson(planned);
        } else {
            std::cout << "planned: " << TextMember(planned, "description") << "\n";
        }
    }

    Fault fault;

private:
    CommandLine& m_line;
    std::string m_nth = "1";
    std::string m_times = "1";
    bool m_json = false;
};

std::function<void(CommandLine&)> WithoutWords(FaultKind kind) {
    return [kind](CommandLine& line) {
        Planning planning(line, kind);
        line.Parse();
        planning.Submit();
    };
}

void Delay(CommandLine& line) {
    Planning planning(line, FaultKind::Delay);
    planning.fault.seconds = ParseSeconds(line.Parse()[0]);
    planning.Submit();
}

void Status(CommandLine& line) {
    Planning planning(line, FaultKind::Status);
    line.Option("header", "LINE", "add a header line, NAME: VALUE; may be given several times",
                planning.fault.headers);
    planning.fault.status =
        static_cast<int>(ParseInteger(line.Parse()[0], "CODE", LOWEST_STATUS, HIGHEST_STATUS));
    planning.Submit();
}

void Body(CommandLine& line) {
    Planning planning(line, FaultKind::Body);
    std::string status = "200";
    line.Option("status", "CODE", "the answer's status (default: 200)", status);
    line.Option("header", "LINE", "add a header line, NAME: VALUE; may be given several times",
                planning.fault.headers);
    planning.fault.body = ReadFile(line.Parse()[0]);
    planning.fault.status = static_cast<int>(ParseInteger(status, "--status", LOWEST_STATUS, HIGHEST_STATUS));
    planning.Submit();
}

void Cut(CommandLine& line) {
    Planning planning(line, FaultKind::Cut);
    line.Flag("headers", "count from the answer's first byte and end within the headers",
              planning.fault.withinHeaders);
    planning.fault.bytes = static_cast<std::size_t>(ParseInteger(line.Parse()[0], "BYTES", 0, LARGEST));
    planning.Submit();
}

void Dribble(CommandLine& line) {
    Planning planning(line, FaultKind::Dribble);
    std::string interval = "0.1";
    line.Option("interval", "SECONDS", "from byte to byte (default: 0.1)", interval);
    line.Parse();
    planning.fault.seconds = ParseSeconds(interval);
    planning.Submit();
}

void Endless(CommandLine& line) {
    Planning planning(line, FaultKind::Endless);
    std::string interval = "0";
    line.Option("interval", "SECONDS", "from byte to byte (default: 0, as fast as it goes)", interval);
    line.Parse();
    planning.fault.seconds = ParseSeconds(interval);
    planning.Submit();
}

void Certificate(CommandLine& line) {
    Planning planning(line, FaultKind::Certificate);
    const std::string flaw = line.Parse()[0];
    const auto& names = CertificateFlawNames();
    const auto found = std::find(names.begin(), names.end(), flaw);
    if (found == names.end()) {
        std::string known;
        for (const auto& name : names) {
            known += " " + name;
        }
        throw UsageError("there is no certificate \"" + flaw + "\"; there are:" + known);
    }
    // The first flaw is to have none.
    planning.fault.flaw = static_cast<CertificateFlaw>(found - names.begin() + 1);
    planning.Submit();
}

void Tls(CommandLine& line) {
    Planning planning(line, FaultKind::Tls);
    const std::string version = line.Parse()[0];
    if (version != "1.1") {
        throw UsageError("the only version to offer wrongly is 1.1");
    }
    planning.Submit();
}

void List(CommandLine& line) {
    bool json = false;
    line.Flag("json", "print JSON", json);
    line.Parse();
    const Json::Value faults = ControlClient(line.CloudFolder()).Get("/faults")["faults"];
    if (json) {
        std::cout << ReadableJson(faults);
        return;
    }
    std::vector<std::vector<std::string>> rows;
    for (const auto& fault : faults) {
        const auto times = IntegerMember(fault, "times");
        rows.push_back({Terminal::Printable(TextMember(fault, "description")), TextMember(fault, "on"),
                        std::to_string(IntegerMember(fault, "skip")),
                        times == 0 ? "all" : std::to_string(times)});
    }
    Terminal::PrintTable({"FAULT", "ON", "SPARES FIRST", "THEN HITS"}, rows);
}

void Clear(CommandLine& line) {
    line.Parse();
    ControlClient(line.CloudFolder()).Delete("/faults");
}

Command FaultCommand(const char* name, const char* words, const char* summary, const char* when,
                     const char* example, std::function<void(CommandLine&)> run) {
    return {{std::string("fault ") + name, words, summary,
             std::string(when) + "Example:\n  infosync-cloud fault " + name + example},
            std::move(run)};
}

}  // namespace

std::vector<Command> FaultCommands() {
    return {
        FaultCommand("delay", "SECONDS", "Answer later.", WHEN, " 2.5 --on records", Delay),
        FaultCommand("status", "CODE", "Answer with a status, without looking at the request.", WHEN,
                     " 503 --header 'Retry-After: 60' --times 3", Status),
        FaultCommand("body", "FILE", "Answer with a file's bytes, without looking at the request.", WHEN,
                     " broken.json --on token", Body),
        FaultCommand("cut", "BYTES", "End the connection in the middle of the answer.", WHEN,
                     " 100 --on records", Cut),
        FaultCommand("drop", "", "End the connection without a byte of the answer.", WHEN,
                     " --on activate --nth 2", WithoutWords(FaultKind::Drop)),
        FaultCommand("dribble", "", "Send the answer byte by byte.", WHEN, " --interval 0.2", Dribble),
        FaultCommand("endless", "", "Send a body that never ends, as fast as it goes or byte by byte.", WHEN,
                     " --on records", Endless),
        FaultCommand("garbage", "", "Answer with bytes that are not HTTP.", WHEN, "",
                     WithoutWords(FaultKind::Garbage)),
        FaultCommand("certificate", "FLAW",
                     "Present a wrong certificate: wrong-host, expired, not-yet-valid, self-signed, "
                     "unknown-authority or "
                     "client-only.",
                     WHEN_CONNECTING, " expired", Certificate),
        FaultCommand("tls", "1.1", "Offer no newer TLS than version 1.1.", WHEN_CONNECTING, " 1.1", Tls),
        FaultCommand("plain", "", "Answer in plain HTTP where TLS is due.", WHEN_CONNECTING, "",
                     WithoutWords(FaultKind::Plain)),
        FaultCommand("list", "", "Show the faults that are still to come.", "", " --json", List),
        FaultCommand("clear", "", "Forget the faults that are still to come.", "", "", Clear),
    };
}

}  // namespace LocalCloud
