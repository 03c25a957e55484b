#include "Cloud/Server/Console.h"

#include <unistd.h>

#include <iostream>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"

namespace LocalCloud {

namespace {

constexpr char MARK[] = "changed_after=";
constexpr std::size_t LONGEST_TARGET = 48;
constexpr std::int64_t FIRST_ERROR = 400;

/** The request's name, with the mark that is asked from; the target where there is no such request. */
std::string WhatOf(const Json::Value& exchange) {
    const std::string target = Cli::StringMember(exchange, "path");
    const std::string name = Cli::StringMember(exchange, "endpoint");
    if (name.empty()) {
        return (Cli::StringMember(exchange, "method") + " " + target).substr(0, LONGEST_TARGET);
    }
    const auto mark = target.find(MARK);
    const auto begin = mark + sizeof(MARK) - 1;
    return mark == std::string::npos
               ? name
               : name + " after " + target.substr(begin, target.find('&', begin) - begin);
}

void AddMessage(std::string& text, const Json::Value& message) {
    for (const auto& header : message["headers"]) {
        text += Cli::Escape(header.asString()) + "\n";
    }
    text += "\n" + Cli::EscapeLines(Cli::StringMember(message, "body")) + "\n";
    if (message.isMember("body_bytes")) {
        text += "... " + message["body_bytes"].asString() + " bytes in all\n";
    }
}

}  // namespace

std::string ExchangeLine(const Json::Value& exchange, const Cli::Style& style) {
    const std::int64_t status = Cli::IntegerMember(exchange["response"], "status");
    const std::string login = Cli::StringMember(exchange, "user");
    const std::string fault = Cli::StringMember(exchange, "fault");
    return Cli::TimeOfDay(Cli::StringMember(exchange, "time")) + " " + Cli::Escape(WhatOf(exchange)) + " " +
           style(status < FIRST_ERROR ? Cli::Colour::GREEN : Cli::Colour::RED, std::to_string(status)) + " " +
           Cli::Escape(Cli::StringMember(exchange, "decided")) +
           (login.empty() ? "" : " [" + Cli::Escape(login) + "]") +
           (fault.empty() ? "" : " (fault: " + Cli::Escape(fault) + ")");
}

std::string ExchangeInFull(const Json::Value& exchange) {
    std::string text =
        Cli::Escape(Cli::StringMember(exchange, "method") + " " + Cli::StringMember(exchange, "path")) + "\n";
    AddMessage(text, exchange["request"]);
    text += "\n" + std::to_string(Cli::IntegerMember(exchange["response"], "status")) + "\n";
    AddMessage(text, exchange["response"]);
    return text;
}

Console::Console() : m_style(STDOUT_FILENO) {}

void Console::Say(const std::string& line) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::cout << line << std::endl;
}

void Console::Show(const Json::Value& exchange) {
    Say(ExchangeLine(exchange, m_style));
}

void Console::ShowConnection(const std::string& what) {
    Say(Cli::TimeOfDay(Cli::Timestamp()) + " " + Cli::Escape(what));
}

void Console::Complain(const std::string& what) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::cerr << "infosync-cloud: " << Cli::Escape(what) << std::endl;
}

}  // namespace LocalCloud
