#include "Cloud/Server/Console.h"

#include <unistd.h>

#include <iostream>

#include "Cli/Text.h"
#include "Cloud/Server/ExchangeText.h"
#include "Cloud/Util/Time.h"

namespace LocalCloud {

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
