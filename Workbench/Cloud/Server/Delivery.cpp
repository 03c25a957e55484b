#include "Cloud/Server/Delivery.h"

#include <algorithm>
#include <chrono>

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

bool SendSlowly(const std::string& answer, double seconds, Connection& connection, StopSignal& stop) {
    for (const char& byte : answer) {
        if (!connection.Send(&byte, 1) || stop.Wait(std::chrono::duration<double>(seconds))) {
            return false;
        }
    }
    return true;
}

void SendWithoutEnd(double seconds, Connection& connection, StopSignal& stop) {
    constexpr char START[] =
        "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\n\r\n{\"records\":[\"";
    constexpr std::size_t PIECE = 65536;
    const std::string piece(seconds > 0 ? 1 : PIECE, 'a');
    bool goesOn = connection.Send(START, sizeof(START) - 1);
    while (goesOn) {
        goesOn =
            !stop.Wait(std::chrono::duration<double>(seconds)) && connection.Send(piece.data(), piece.size());
    }
}

}  // namespace

bool Deliver(const Exchange& exchange, Connection& connection, StopSignal& stop) {
    const std::string& answer = exchange.answer;
    if (!exchange.fault) {
        return connection.Send(answer.data(), answer.size());
    }
    const Fault& fault = *exchange.fault;
    switch (fault.kind) {
        case FaultKind::Delay:
            return !stop.Wait(std::chrono::duration<double>(fault.seconds)) &&
                   connection.Send(answer.data(), answer.size());
        case FaultKind::Dribble:
            return SendSlowly(answer, fault.seconds, connection, stop);
        case FaultKind::Cut: {
            const std::string part = CutAnswer(fault, answer);
            connection.Send(part.data(), part.size());
            return false;
        }
        case FaultKind::Endless:
            SendWithoutEnd(fault.seconds, connection, stop);
            return false;
        case FaultKind::Garbage:
            connection.Send(GARBAGE, sizeof(GARBAGE) - 1);
            return false;
        case FaultKind::Status:
        case FaultKind::Body:
            // The answer itself is the fault.
            return connection.Send(answer.data(), answer.size());
        case FaultKind::Drop:
        case FaultKind::Certificate:
        case FaultKind::Tls:
        case FaultKind::Plain:
            break;
    }
    return false;
}

}  // namespace LocalCloud
