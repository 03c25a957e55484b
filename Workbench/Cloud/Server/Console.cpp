#include "Cloud/Server/Console.h"

#include <glib.h>
#include <unistd.h>

#include <iostream>
#include <memory>

#include "Cli/Text.h"

namespace LocalCloud {

namespace {

constexpr std::size_t LONGEST_TARGET = 200;
constexpr int FIRST_ERROR = 400;

std::string TimeOfDay() {
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> now(g_date_time_new_now_local(),
                                                                       &g_date_time_unref);
    const std::unique_ptr<char, decltype(&g_free)> text(g_date_time_format(now.get(), "%H:%M:%S"), &g_free);
    return text.get();
}

}  // namespace

Console::Console(bool quiet) : m_quiet(quiet), m_style(STDOUT_FILENO) {}

void Console::Say(const std::string& line) {
    if (!m_quiet) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::cout << line << std::endl;
    }
}

void Console::Show(const Exchange& exchange) {
    const std::string status = m_style(exchange.status < FIRST_ERROR ? Cli::Colour::GREEN : Cli::Colour::RED,
                                       exchange.status == 0 ? "---" : std::to_string(exchange.status));
    std::string line = TimeOfDay() + " " + Cli::Escape(exchange.method) + " " +
                       Cli::Escape(exchange.target.substr(0, LONGEST_TARGET)) + " " + status + " " +
                       Cli::Escape(exchange.decided);
    if (!exchange.login.empty()) {
        line += " [" + Cli::Escape(exchange.login) + "]";
    }
    if (exchange.fault) {
        line += " (fault: " + exchange.fault->Describe() + ")";
    }
    Say(line);
}

void Console::ShowConnection(const std::string& what) {
    Say(TimeOfDay() + " " + Cli::Escape(what));
}

void Console::Complain(const std::string& what) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::cerr << "infosync-cloud: " << Cli::Escape(what) << std::endl;
}

}  // namespace LocalCloud
