#include "Cloud/Server/Console.h"

#include <unistd.h>

#include <iostream>

#include "Cli/Text.h"
#include "Cloud/Protocol/Answer.h"
#include "Cloud/Util/Json.h"
#include "Cloud/Util/Time.h"

namespace LocalCloud {

namespace {

constexpr char MARK[] = "changed_after=";
constexpr std::size_t LONGEST_TARGET = 40;
constexpr Json::Int64 FIRST_ERROR = 400;

/** The endpoint's name, with the mark that is asked from; the target where there is no such endpoint. */
std::string WhatOf(const std::string& method, const std::string& target) {
    const std::string path = target.substr(0, target.find('?'));
    for (const Endpoint& endpoint : ENDPOINTS) {
        if (method == endpoint.method && path == endpoint.path) {
            const auto mark = target.find(MARK);
            const auto begin = mark + sizeof(MARK) - 1;
            return mark == std::string::npos ? endpoint.name
                                             : std::string(endpoint.name)
                                                   .append(" after ")
                                                   .append(target, begin, target.find('&', begin) - begin);
        }
    }
    return method + " " + target.substr(0, LONGEST_TARGET);
}

void AddMessage(std::string& text, const Json::Value& message) {
    for (const auto& header : message["headers"]) {
        text += Cli::Escape(header.asString()) + "\n";
    }
    text += "\n" + Cli::EscapeLines(TextMember(message, "body")) + "\n";
    if (message.isMember("body_bytes")) {
        text += "... " + message["body_bytes"].asString() + " bytes in all\n";
    }
}

}  // namespace

std::string ExchangeLine(const Json::Value& exchange, const Cli::Style& style) {
    const Json::Int64 status = IntegerMember(exchange["response"], "status");
    const std::string login = TextMember(exchange, "user");
    const std::string fault = TextMember(exchange, "fault");
    return TimeOfDay(TextMember(exchange, "time")) + " " +
           Cli::Escape(WhatOf(TextMember(exchange, "method"), TextMember(exchange, "path"))) + " " +
           style(status < FIRST_ERROR ? Cli::Colour::GREEN : Cli::Colour::RED, std::to_string(status)) + " " +
           Cli::Escape(TextMember(exchange, "decided")) +
           (login.empty() ? "" : " [" + Cli::Escape(login) + "]") +
           (fault.empty() ? "" : " (fault: " + Cli::Escape(fault) + ")");
}

std::string ExchangeInFull(const Json::Value& exchange) {
    std::string text =
        Cli::Escape(TextMember(exchange, "method") + " " + TextMember(exchange, "path")) + "\n";
    AddMessage(text, exchange["request"]);
    text += "\n" + std::to_string(IntegerMember(exchange["response"], "status")) + "\n";
    AddMessage(text, exchange["response"]);
    return text;
}

Console::Console(bool quiet) : m_quiet(quiet), m_style(STDOUT_FILENO) {}

void Console::Say(const std::string& line) {
    if (!m_quiet) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::cout << line << std::endl;
    }
}

void Console::Show(const Json::Value& exchange) {
    Say(ExchangeLine(exchange, m_style));
}

void Console::ShowConnection(const std::string& what) {
    Say(TimeOfDay(NowText()) + " " + Cli::Escape(what));
}

void Console::Complain(const std::string& what) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::cerr << "infosync-cloud: " << Cli::Escape(what) << std::endl;
}

}  // namespace LocalCloud
