#include "Cloud/Server/Fault.h"

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
#include "Cloud/Server/Connection.h"
#include "Cloud/State/Exchanges.h"
#include "Files.h"

namespace LocalCloud {

namespace {

// Begins as a TLS record does and goes on as nothing known.
constexpr char GARBAGE[] = "\x16\x03\x01\x00\xff not HTTP \x80\x81\xfe\n\n\x01\x02\x03";

bool SendLater(Connection& connection, const std::string& answer, const Fault& fault) {
    return connection.Pause(fault.Time()) && connection.Send(answer);
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
    return SendCut(connection, answer, HeaderSize(answer) + fault.Number());
}

bool SendCutHeaders(Connection& connection, const std::string& answer, const Fault& fault) {
    return SendCut(connection, answer, std::min(fault.Number(), HeaderSize(answer) - 1));
}

bool SendNothing(Connection& /*connection*/, const std::string& /*answer*/, const Fault& /*fault*/) {
    return false;
}

bool SendSlowly(Connection& connection, const std::string& answer, const Fault& fault) {
    return std::all_of(answer.begin(), answer.end(), [&](const char& byte) {
        return connection.Send({&byte, 1}) && connection.Pause(fault.Time());
    });
}

bool SendWithoutEnd(Connection& connection, const std::string& /*answer*/, const Fault& fault) {
    constexpr char START[] =
        "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\n\r\n{\"records\":[\"";
    constexpr std::size_t PIECE = 65536;
    const std::string piece(fault.Time().count() > 0 ? 1 : PIECE, 'a');
    bool goesOn = connection.Send(START);
    while (goesOn) {
        goesOn = connection.Pause(fault.Time()) && connection.Send(piece);
    }
    return false;
}

bool SendGarbage(Connection& connection, const std::string& /*answer*/, const Fault& /*fault*/) {
    connection.Send({GARBAGE, sizeof(GARBAGE) - 1});
    return false;
}

SslSession BeginFlawed(const TlsContexts& tls, int socket, const Fault& fault) {
    return tls.NewFlawedSession(socket, fault.Value());
}

SslSession BeginOld(const TlsContexts& tls, int socket, const Fault& /*fault*/) {
    return tls.NewOldSession(socket);
}

SslSession AnswerInPlainHttp(const TlsContexts& /*tls*/, int socket, const Fault& /*fault*/) {
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

bool IsNumber(const std::string& value, std::size_t lowest, std::size_t highest) {
    constexpr std::size_t MOST_DIGITS = 10;
    const std::size_t number = std::strtoull(value.c_str(), nullptr, 10);
    return !value.empty() && value.size() <= MOST_DIGITS &&
           value.find_first_not_of("0123456789") == std::string::npos && number >= lowest &&
           number <= highest;
}

bool IsPause(const std::string& value) {
    constexpr double LONGEST = 86400;
    return Cli::ParseDuration(value).value_or(LONGEST + 1) <= LONGEST;
}

bool IsFlaw(const std::string& value) {
    const auto flaws = CertificateFlaws();
    return std::find(flaws.begin(), flaws.end(), value) != flaws.end();
}

bool Concerns(const Fault& fault, const std::string& request) {
    const std::string on = Cli::StringMember(fault.plan, "on");
    return fault.HitsConnection() == request.empty() && (on == ANY_REQUEST || on == request);
}

/** Takes one off the number of this name, where it is not 0. @return whether it took the last */
bool CountDown(Fault& fault, const char* name) {
    const std::int64_t number = fault.plan[name].asInt64();
    fault.plan[name] = Json::Int64(std::max<std::int64_t>(number - 1, 0));
    return number == 1;
}

std::string NoBody(const Fault& /*fault*/) {
    return "";
}

std::string BytesOfFile(const Fault& fault) {
    return Files::Read(fault.Value());
}

}  // namespace

const FaultValue FaultValue::NOTHING = {"", "none: it takes no value",
                                        [](const std::string& value) { return value.empty(); }};
const FaultValue FaultValue::BYTES = {"BYTES", "a number from 0 to 1000000000", [](const std::string& value) {
                                          return IsNumber(value, 0, 1'000'000'000);
                                      }};
const FaultValue FaultValue::CODE = {"CODE", "a number from 200 to 9999",
                                     [](const std::string& value) { return IsNumber(value, 200, 9999); }};
const FaultValue FaultValue::DURATION = {"DURATION", "a time up to a day, such as 0.5s, 2s or 10m", &IsPause};
const FaultValue FaultValue::FILE = {"FILE", "a file",
                                     [](const std::string& value) { return !value.empty(); }};
const FaultValue FaultValue::FLAW = {"FLAW", "one of " + Cli::Join(CertificateFlaws(), ", "), &IsFlaw};
const FaultValue FaultValue::VERSION = {"1.1", "1.1",
                                        [](const std::string& value) { return value == "1.1"; }};

const std::vector<FaultKind>& FaultKinds() {
    using V = FaultValue;
    // clang-format off
    static const std::vector<FaultKind> kinds = {
        {"delay", V::DURATION, nullptr, "the answer, later", &SendLater},
        {"cut", V::BYTES, nullptr, "the body's first bytes alone", &SendCutBody},
        {"cut-headers", V::BYTES, nullptr, "the first bytes alone, within the headers", &SendCutHeaders},
        {"drop", V::NOTHING, "", "the end of the connection, without a byte", &SendNothing},
        {"dribble", V::DURATION, "0.1s", "a byte at a time", &SendSlowly},
        {"endless", V::DURATION, "0s", "a body without an end", &SendWithoutEnd},
        {"garbage", V::NOTHING, "", "bytes that are not HTTP", &SendGarbage},
        {"status", V::CODE, nullptr, "this status, without a body", &NoBody},
        {"body", V::FILE, nullptr, "a file's bytes; --status CODE", &BytesOfFile},
        {"certificate", V::FLAW, nullptr, "a wrong certificate", &BeginFlawed},
        {"tls", V::VERSION, nullptr, "no newer TLS than this", &BeginOld},
        {"plain", V::NOTHING, "", "plain HTTP where TLS is due", &AnswerInPlainHttp},
    };
    // clang-format on
    return kinds;
}

Fault::Fault(Json::Value planned) : plan(std::move(planned)) {
    const std::string name = Cli::StringMember(plan, "kind");
    for (const FaultKind& each : FaultKinds()) {
        kind = name == each.name ? &each : kind;
    }
    if (kind == nullptr) {
        throw std::runtime_error("there is no fault \"" + name + "\"");
    }
    if (!kind->value.fits(Cli::StringMember(plan, "value"))) {
        throw std::runtime_error("the value of fault " + name + " is " + kind->value.rule);
    }
}

std::size_t Fault::Number() const {
    return std::strtoull(Value().c_str(), nullptr, 10);
}

std::chrono::milliseconds Fault::Time() const {
    return std::chrono::milliseconds(std::llround(Cli::ParseDuration(Value()).value_or(0) * 1000));
}

std::string Fault::Describe() const {
    return kind->name + (Value().empty() ? "" : " " + Value()) +
           (&kind->value == &FaultValue::FILE ? ", status " + plan["status"].asString() : "");
}

SslSession BeginSession(const TlsContexts& tls, int socket, const std::optional<Fault>& fault) {
    return fault ? std::get<Begin>(fault->kind->deed)(tls, socket, *fault) : tls.NewSession(socket);
}

bool SendAnswer(Connection& connection, const std::string& answer, const std::optional<Fault>& fault) {
    const Deliver* deliver = fault ? std::get_if<Deliver>(&fault->kind->deed) : nullptr;
    return deliver != nullptr ? (*deliver)(connection, answer, *fault) : connection.Send(answer);
}

void FaultPlan::Add(const Fault& fault) {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    std::vector<Fault> faults = List();
    faults.push_back(fault);
    Store(faults);
}

std::vector<Fault> FaultPlan::List() const {
    std::vector<Fault> faults;
    const auto text = Files::ReadIfThere(m_path);
    try {
        const Json::Value stored = text ? Cli::ParseObject(*text, m_path) : Json::Value();
        for (const auto& value : stored["faults"]) {
            faults.emplace_back(value);
        }
    } catch (const std::exception& damage) {
        throw std::runtime_error(std::string("faults.json: ") + damage.what() +
                                 "; remove it: nothing is planned then: " + m_path);
    }
    return faults;
}

std::size_t FaultPlan::Clear() {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    const std::size_t count = List().size();
    Store({});
    return count;
}

bool FaultPlan::WaitsForConnection() const {
    const std::vector<Fault> faults = List();
    return std::any_of(faults.begin(), faults.end(),
                       [](const Fault& fault) { return fault.HitsConnection(); });
}

std::optional<Fault> FaultPlan::Take(const std::string& request) {
    if (List().empty()) {
        return std::nullopt;
    }
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    std::optional<Fault> taken;
    std::vector<Fault> left;
    for (Fault& fault : List()) {
        bool isUsedUp = false;
        if (Concerns(fault, request) && fault.plan["skip"] != 0) {
            CountDown(fault, "skip");
        } else if (Concerns(fault, request) && !taken) {
            taken = fault;
            isUsedUp = CountDown(fault, "times");
        }
        if (!isUsedUp) {
            left.push_back(fault);
        }
    }
    Store(left);
    return taken;
}

void FaultPlan::Store(const std::vector<Fault>& faults) const {
    Json::Value stored;
    for (const Fault& fault : faults) {
        stored["faults"].append(fault.plan);
    }
    faults.empty() ? static_cast<void>(Files::Remove(m_path))
                   : Files::Replace(m_path, Cli::EditableJson(stored));
}

}  // namespace LocalCloud
