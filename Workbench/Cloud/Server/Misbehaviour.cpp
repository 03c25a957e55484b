#include "Cloud/Server/Misbehaviour.h"

#include <poll.h>

#include <algorithm>
#include <array>

namespace LocalCloud {

namespace {

constexpr char HEADERS_END[] = "\r\n\r\n";

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

struct Deed {
    FaultKind kind;
    SslSession (*begin)(const TlsContexts& tls, int socket, const Fault& fault);
    bool (*deliver)(Connection& connection, const std::string& answer, const Fault& fault);
};

constexpr std::array<Deed, FAULTS.size()> DEEDS = {{
    {FaultKind::DELAY, nullptr, &SendLater},
    {FaultKind::STATUS, nullptr, nullptr},
    {FaultKind::BODY, nullptr, nullptr},
    {FaultKind::CUT, nullptr, &SendCutBody},
    {FaultKind::CUT_HEADERS, nullptr, &SendCutHeaders},
    {FaultKind::DROP, nullptr, &SendNothing},
    {FaultKind::DRIBBLE, nullptr, &SendSlowly},
    {FaultKind::ENDLESS, nullptr, &SendWithoutEnd},
    {FaultKind::GARBAGE, nullptr, &SendGarbage},
    {FaultKind::CERTIFICATE, &BeginFlawed, nullptr},
    {FaultKind::TLS, &BeginOld, nullptr},
    {FaultKind::PLAIN, &AnswerInPlainHttp, nullptr},
}};

/** Whether each kind does what it hits; one that takes the place of the answer is an answer itself. */
constexpr bool IsComplete() {
    for (std::size_t i = 0; i < DEEDS.size(); ++i) {
        if ((DEEDS[i].begin != nullptr) != (FAULTS[i].hits == Hits::CONNECTION) ||
            (DEEDS[i].deliver != nullptr) != (FAULTS[i].hits == Hits::ANSWER)) {
            return false;
        }
    }
    return true;
}
static_assert(IsInOrder(DEEDS) && IsComplete());

const Deed& DeedOf(const Fault& fault) {
    return DEEDS[static_cast<std::size_t>(fault.kind)];
}

}  // namespace

SslSession BeginSession(const TlsContexts& tls, int socket, const std::optional<Fault>& fault) {
    return fault ? DeedOf(*fault).begin(tls, socket, *fault) : tls.NewSession(socket);
}

bool Deliver(Connection& connection, const std::string& answer, const std::optional<Fault>& fault) {
    const auto deliver = fault ? DeedOf(*fault).deliver : nullptr;
    return deliver != nullptr ? deliver(connection, answer, *fault) : connection.Send(answer);
}

}  // namespace LocalCloud
