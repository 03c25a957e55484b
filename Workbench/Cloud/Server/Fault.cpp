#include "Cloud/Server/Fault.h"

#include <glib.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cli/Tool.h"
#include "Cloud/Server/Connection.h"
#include "Cloud/State/Exchanges.h"
#include "Files.h"

namespace LocalCloud {

namespace {

template <std::int64_t LOWEST, std::int64_t HIGHEST>
bool IsNumber(const std::string& value) {
    return g_ascii_string_to_unsigned(value.c_str(), 10, LOWEST, HIGHEST, nullptr, nullptr) != FALSE;
}

bool IsPause(const std::string& value) {
    constexpr double LONGEST = 86400;
    return Cli::ParseDuration(value).value_or(LONGEST + 1) <= LONGEST;
}

bool IsFlaw(const std::string& value) {
    const auto flaws = CertificateFlaws();
    return std::count(flaws.begin(), flaws.end(), value) == 1;
}

const FaultValue NOTHING = {"", "none: it takes no value",
                            [](const std::string& value) { return value.empty(); }};
const FaultValue BYTES = {"BYTES", "a number from 0 to 1000000000", &IsNumber<0, 1'000'000'000>};
const FaultValue CODE = {"CODE", "a number from 200 to 9999", &IsNumber<200, 9999>};
const FaultValue DURATION = {"DURATION", "a time up to a day, such as 0.5s, 2s or 10m", &IsPause};
const FaultValue BODY = {"FILE", "a file", [](const std::string& value) { return !value.empty(); }};
const FaultValue FLAW = {"FLAW", "one of " + Cli::Join(CertificateFlaws(), ", "), &IsFlaw};
const FaultValue VERSION = {"1.1", "1.1", [](const std::string& value) { return value == "1.1"; }};

/** 0 for a value that is none. */
std::size_t NumberOf(const Fault& fault) {
    return std::strtoul(fault.Value().c_str(), nullptr, 10);
}

std::chrono::milliseconds TimeOf(const Fault& fault) {
    return std::chrono::milliseconds(std::llround(Cli::ParseDuration(fault.Value()).value_or(0) * 1000));
}

bool SendLater(Connection& connection, const std::string& answer, const Fault& fault) {
    return connection.Pause(TimeOf(fault)) && connection.Send(answer);
}

bool SendCut(Connection& connection, const std::string& answer, std::size_t size) {
    // At least the last byte is kept back: a cut that takes nothing away would be none.
    connection.Send(answer.substr(0, std::min(size, answer.size() - 1)));
    return false;
}

std::size_t HeaderSize(const std::string& answer) {
    return std::min(answer.size(), answer.find(HEADERS_END) + sizeof(HEADERS_END) - 1);
}

bool SendCutBody(Connection& connection, const std::string& answer, const Fault& fault) {
    return SendCut(connection, answer, HeaderSize(answer) + NumberOf(fault));
}

bool SendCutHeaders(Connection& connection, const std::string& answer, const Fault& fault) {
    return SendCut(connection, answer, std::min(NumberOf(fault), HeaderSize(answer) - 1));
}

bool SendSlowly(Connection& connection, const std::string& answer, const Fault& fault) {
    return std::all_of(answer.begin(), answer.end(), [&](const char& byte) {
        return connection.Send({&byte, 1}) && connection.Pause(TimeOf(fault));
    });
}

bool SendWithoutEnd(Connection& connection, const std::string& /*answer*/, const Fault& fault) {
    constexpr char START[] =
        "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\n\r\n{\"records\":[\"";
    constexpr std::size_t PIECE = 65536;
    const std::string piece(TimeOf(fault).count() > 0 ? 1 : PIECE, 'a');
    bool goesOn = connection.Send(START);
    while (goesOn) {
        goesOn = connection.Pause(TimeOf(fault)) && connection.Send(piece);
    }
    return false;
}

bool SendGarbage(Connection& connection, const std::string& /*answer*/, const Fault& /*fault*/) {
    // Begins as a TLS record does and goes on as nothing known.
    constexpr char GARBAGE[] = "\x16\x03\x01\x00\xff not HTTP \x80\x81\xfe\n\n\x01\x02\x03";
    connection.Send({GARBAGE, sizeof(GARBAGE) - 1});
    return false;
}

std::string BodyOf(const Fault& fault) {
    return fault.HasFile() ? Files::Read(fault.Value()) : "";
}

TlsContext BeginFlawed(const Folder& folder, int /*socket*/, const Fault& fault) {
    return NewTlsContext(folder.TlsFolder(), fault.Value());
}

TlsContext BeginOld(const Folder& folder, int /*socket*/, const Fault& /*fault*/) {
    TlsContext context = NewTlsContext(folder.TlsFolder());
    SSL_CTX_set_min_proto_version(context.get(), TLS1_1_VERSION);
    SSL_CTX_set_max_proto_version(context.get(), TLS1_1_VERSION);
    // It signs with what OpenSSL no longer counts as safe.
    SSL_CTX_set_security_level(context.get(), 0);
    return context;
}

TlsContext AnswerInPlainHttp(const Folder& /*folder*/, int socket, const Fault& /*fault*/) {
    constexpr char ANSWER[] =
        "HTTP/1.1 400 Bad Request\r\nContent-Type: text/plain\r\nContent-Length: 27\r\nConnection: "
        "close\r\n\r\n"
        "This server knows no HTTPS\n";
    std::array<char, 4096> hello = {};
    // Unread input would reset the connection and take the answer with it. It has begun to come.
    if (::recv(socket, hello.data(), hello.size(), 0) > 0) {
        ::send(socket, ANSWER, sizeof(ANSWER) - 1, MSG_NOSIGNAL);
    }
    return nullptr;
}

bool Concerns(const Fault& fault, const std::string& request) {
    const std::string on = Cli::StringMember(fault.plan, "on");
    return fault.HitsConnection() == request.empty() && (on == ANY_REQUEST || on == request);
}

std::string PathOf(const Folder& folder) {
    return folder.StateFile("faults.json");
}

void Store(const Folder& folder, const std::vector<Fault>& faults) {
    Json::Value stored;
    for (const Fault& fault : faults) {
        stored["faults"].append(fault.plan);
    }
    faults.empty() ? static_cast<void>(Files::Remove(PathOf(folder)))
                   : Files::Replace(PathOf(folder), Cli::EditableJson(stored));
}

}  // namespace

const std::vector<FaultKind>& FaultKinds() {
    static const std::vector<FaultKind> kinds = {
        {"delay", DURATION, "", "the answer, later", &SendLater},
        {"cut", BYTES, "", "the body's first bytes alone", &SendCutBody},
        {"cut-headers", BYTES, "", "the first bytes alone, within the headers", &SendCutHeaders},
        {"drop", NOTHING, "", "the end of the connection, without a byte", &SendCutHeaders},
        {"dribble", DURATION, "0.1s", "a byte at a time", &SendSlowly},
        {"endless", DURATION, "0s", "a body without an end", &SendWithoutEnd},
        {"garbage", NOTHING, "", "bytes that are not HTTP", &SendGarbage},
        {"status", CODE, "", "this status, without a body", &BodyOf},
        {"body", BODY, "", "a file's bytes; --status CODE", &BodyOf},
        {"certificate", FLAW, "", "a wrong certificate", &BeginFlawed},
        {"tls", VERSION, "", "no newer TLS than this", &BeginOld},
        {"plain", NOTHING, "", "plain HTTP where TLS is due", &AnswerInPlainHttp},
    };
    return kinds;
}

Fault::Fault(Json::Value planned) : plan(std::move(planned)) {
    const std::string name = Cli::StringMember(plan, "kind");
    const auto& kinds = FaultKinds();
    const auto found =
        std::find_if(kinds.begin(), kinds.end(), [&](const FaultKind& each) { return each.name == name; });
    if (found == kinds.end()) {
        throw Cli::UsageError("there is no fault \"" + name + "\"");
    }
    kind = &*found;
    if (!plan.isMember("value")) {
        plan["value"] = kind->standard;
    }
    if (!kind->value.fits(Cli::StringMember(plan, "value"))) {
        throw Cli::UsageError("the value of fault " + name + " is " + kind->value.rule);
    }
}

std::string Fault::Describe() const {
    return kind->name + (Value().empty() ? "" : " " + Value()) +
           (HasFile() ? ", status " + plan["status"].asString() : "");
}

std::vector<Fault> PlannedFaults(const Folder& folder) {
    std::vector<Fault> faults;
    ReadOwn(PathOf(folder), "nothing is planned then", [&faults](const Json::Value& stored) {
        for (const auto& value : stored["faults"]) {
            faults.emplace_back(value);
        }
        return true;
    });
    return faults;
}

void AddFault(const Folder& folder, const Fault& fault) {
    const Cli::FileLock oneAtATime = folder.LockForEdit();
    std::vector<Fault> faults = PlannedFaults(folder);
    faults.push_back(fault);
    Store(folder, faults);
}

std::size_t ForgetFaults(const Folder& folder) {
    const Cli::FileLock oneAtATime = folder.LockForEdit();
    const std::size_t count = PlannedFaults(folder).size();
    Store(folder, {});
    return count;
}

std::optional<Fault> TakeFault(const Folder& folder, const std::string& request) {
    if (PlannedFaults(folder).empty()) {
        return std::nullopt;
    }
    const Cli::FileLock oneAtATime = folder.LockForEdit();
    std::optional<Fault> taken;
    std::vector<Fault> left;
    for (Fault& fault : PlannedFaults(folder)) {
        const std::int64_t skip = Cli::IntegerMember(fault.plan, "skip");
        const std::int64_t times = Cli::IntegerMember(fault.plan, "times");
        const bool concerns = Concerns(fault, request);
        const bool isTaken = concerns && skip == 0 && !taken;
        if (concerns && skip > 0) {
            fault.plan["skip"] = Json::Int64(skip - 1);
        }
        if (isTaken) {
            taken = fault;
            fault.plan["times"] = Json::Int64(std::max<std::int64_t>(times - 1, 0));
        }
        if (!isTaken || times != 1) {
            left.push_back(fault);
        }
    }
    Store(folder, left);
    return taken;
}

}  // namespace LocalCloud
