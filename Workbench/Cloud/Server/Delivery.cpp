#include "Cloud/Server/Delivery.h"

#include <algorithm>

namespace LocalCloud {

namespace {

constexpr char HEADERS_END[] = "\r\n\r\n";

// Begins as a TLS record does and goes on as nothing known.
constexpr char GARBAGE[] = "\x16\x03\x01\x00\xff not HTTP \x80\x81\xfe\n\n\x01\x02\x03";

std::size_t HeaderSize(const std::string& answer) {
    const auto end = answer.find(HEADERS_END);
    return end == std::string::npos ? answer.size() : end + sizeof(HEADERS_END) - 1;
}

std::string CutAnswer(const Fault& fault, const std::string& answer) {
    const std::size_t headers = HeaderSize(answer);
    // At least the last byte is kept back: a cut that takes nothing away would be none.
    const std::size_t wanted =
        fault.withinHeaders ? std::min(fault.bytes, headers - 1) : headers + fault.bytes;
    return answer.substr(0, std::min(wanted, answer.size() - 1));
}

bool SendSlowly(const std::string& answer, double seconds, Connection& connection) {
    return std::all_of(answer.begin(), answer.end(), [&](const char& byte) {
        return connection.Send(&byte, 1) && connection.Pause(seconds);
    });
}

void SendWithoutEnd(double seconds, Connection& connection) {
    constexpr char START[] =
        "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\n\r\n{\"records\":[\"";
    constexpr std::size_t PIECE = 65536;
    const std::string piece(seconds > 0 ? 1 : PIECE, 'a');
    bool goesOn = connection.Send(START, sizeof(START) - 1);
    while (goesOn) {
        goesOn = connection.Pause(seconds) && connection.Send(piece.data(), piece.size());
    }
}

}  // namespace

bool Deliver(const std::string& answer, const std::optional<Fault>& fault, Connection& connection) {
    if (!fault || fault->ReplacesAnswer()) {
        return connection.Send(answer.data(), answer.size());
    }
    if (fault->kind == FaultKind::Delay) {
        return connection.Pause(fault->seconds) && connection.Send(answer.data(), answer.size());
    }
    if (fault->kind == FaultKind::Dribble) {
        return SendSlowly(answer, fault->seconds, connection);
    }
    if (fault->kind == FaultKind::Cut) {
        const std::string part = CutAnswer(*fault, answer);
        connection.Send(part.data(), part.size());
    } else if (fault->kind == FaultKind::Endless) {
        SendWithoutEnd(fault->seconds, connection);
    } else if (fault->kind == FaultKind::Garbage) {
        connection.Send(GARBAGE, sizeof(GARBAGE) - 1);
    }
    return false;
}

}  // namespace LocalCloud
