#include "Cloud/Server/Fault.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

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
        return connection.Send(&byte, 1) && connection.Pause(fault.Time());
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
    connection.Send(GARBAGE, sizeof(GARBAGE) - 1);
    return false;
}

SslSession BeginFlawed(const TlsContexts& tls, int socket, const Fault& fault) {
    return tls.NewFlawedSession(socket, fault.value);
}

SslSession BeginOld(const TlsContexts& tls, int socket, const Fault& /*fault*/) {
    return tls.NewOldSession(socket);
}

SslSession AnswerInPlainHttp(const TlsContexts& /*tls*/, int socket, const Fault& /*fault*/) {
    constexpr char ANSWER[] =
        "HTTP/1.1 400 Bad Request\r\nContent-Type: text/plain\r\nContent-Length: 27\r\nConnection: "
        "close\r\n\r\n"
        "This server knows no HTTPS\n";
    constexpr int LONGEST_WAIT = 10'000;
    std::array<char, 4096> hello = {};
    pollfd descriptor = {socket, POLLIN, 0};
    // Unread input would reset the connection and take the answer with it.
    if (::poll(&descriptor, 1, LONGEST_WAIT) > 0 && ::recv(socket, hello.data(), hello.size(), 0) > 0) {
        ::send(socket, ANSWER, sizeof(ANSWER) - 1, MSG_NOSIGNAL);
    }
    return nullptr;
}

template <std::uint64_t LOWEST, std::uint64_t HIGHEST>
std::string NumberRule(const std::string& value) {
    constexpr std::size_t MOST_DIGITS = 10;
    const bool isNumber = !value.empty() && value.size() <= MOST_DIGITS &&
                          value.find_first_not_of("0123456789") == std::string::npos;
    const std::uint64_t number = std::strtoull(value.c_str(), nullptr, 10);
    return isNumber && number >= LOWEST && number <= HIGHEST
               ? ""
               : "a number from " + std::to_string(LOWEST) + " to " + std::to_string(HIGHEST);
}

std::string PauseRule(const std::string& value) {
    constexpr double LONGEST = 86400;
    return Cli::ParseDuration(value).value_or(LONGEST + 1) <= LONGEST
               ? ""
               : "a time up to a day, such as 0.5s, 2s or 10m";
}

std::string FlawRule(const std::string& value) {
    const auto flaws = CertificateFlaws();
    return std::find(flaws.begin(), flaws.end(), value) != flaws.end() ? ""
                                                                       : "one of " + Cli::Join(flaws, ", ");
}

std::string NoRule(const std::string& value) {
    return value.empty() ? "" : "none: it takes no value";
}

std::string FileRule(const std::string& value) {
    return value.empty() ? "a file" : "";
}

std::string VersionRule(const std::string& value) {
    return value == "1.1" ? "" : "1.1";
}

constexpr auto CodeRule = &NumberRule<200, 9999>;
constexpr auto BytesRule = &NumberRule<0, 1'000'000'000>;

std::string NoBody(const Fault& /*fault*/) {
    return "";
}

std::string BytesOfFile(const Fault& fault) {
    return Files::Read(fault.value);
}

}  // namespace

const std::vector<FaultKind>& FaultKinds() {
    // clang-format off
    static const std::vector<FaultKind> kinds = {
        {"delay", "DURATION", &PauseRule, nullptr, "the answer, later", &SendLater, nullptr, nullptr},
        {"cut", "BYTES", BytesRule, nullptr, "the body's first bytes alone", &SendCutBody, nullptr, nullptr},
        {"cut-headers", "BYTES", BytesRule, nullptr, "the first bytes alone, within the headers",
         &SendCutHeaders, nullptr, nullptr},
        {"drop", "", &NoRule, "", "the end of the connection, without a byte", &SendNothing, nullptr, nullptr},
        {"dribble", "DURATION", &PauseRule, "0.1s", "a byte at a time", &SendSlowly, nullptr, nullptr},
        {"endless", "DURATION", &PauseRule, "0s", "a body without an end", &SendWithoutEnd, nullptr, nullptr},
        {"garbage", "", &NoRule, "", "bytes that are not HTTP", &SendGarbage, nullptr, nullptr},
        {"status", CODE_OPERAND, CodeRule, nullptr, "this status, without a body", nullptr, &NoBody, nullptr},
        {"body", FILE_OPERAND, &FileRule, nullptr, "a file's bytes; --status CODE",
         nullptr, &BytesOfFile, nullptr},
        {"certificate", "FLAW", &FlawRule, nullptr, "a wrong certificate", nullptr, nullptr, &BeginFlawed},
        {"tls", "1.1", &VersionRule, nullptr, "no newer TLS than this", nullptr, nullptr, &BeginOld},
        {"plain", "", &NoRule, "", "plain HTTP where TLS is due", nullptr, nullptr, &AnswerInPlainHttp},
    };
    // clang-format on
    return kinds;
}

std::size_t Fault::Number() const {
    return std::strtoull(value.c_str(), nullptr, 10);
}

std::chrono::milliseconds Fault::Time() const {
    return std::chrono::milliseconds(std::llround(Cli::ParseDuration(value).value_or(0) * 1000));
}

std::string Fault::Describe() const {
    return kind->name + (value.empty() ? "" : " " + value) +
           (kind->operand == FILE_OPERAND ? ", status " + std::to_string(status) : "");
}

Fault FaultOf(const std::string& name) {
    const auto& kinds = FaultKinds();
    const auto kind =
        std::find_if(kinds.begin(), kinds.end(), [&](const FaultKind& each) { return each.name == name; });
    if (kind == kinds.end()) {
        throw std::runtime_error("there is no fault \"" + name + "\"");
    }
    return {&*kind, "", "", 0, 1, 200, {}};
}

SslSession BeginSession(const TlsContexts& tls, int socket, const std::optional<Fault>& fault) {
    return fault ? fault->kind->begin(tls, socket, *fault) : tls.NewSession(socket);
}

bool Deliver(Connection& connection, const std::string& answer, const std::optional<Fault>& fault) {
    const auto deliver = fault ? fault->kind->deliver : nullptr;
    return deliver != nullptr ? deliver(connection, answer, *fault) : connection.Send(answer);
}

}  // namespace LocalCloud
