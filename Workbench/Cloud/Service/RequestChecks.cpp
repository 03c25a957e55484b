#include "Cloud/Service/RequestChecks.h"

namespace LocalCloud {

namespace {

constexpr char CLIENT[] = "bt-orbmanager=1.0.0";
constexpr char PLATFORM[] = "Tizen=";

}  // namespace

std::string FindHeaderFault(const httplib::Request& request, const std::vector<ExpectedHeader>& expected) {
    for (const auto& [name, value] : expected) {
        if (!request.has_header(name)) {
            return "the header " + name + " is missing";
        }
        const std::string actual = request.get_header_value(name);
        if (actual.empty()) {
            return "the header " + name + " is empty";
        }
        if (!value.empty() && actual != value) {
            return std::string("the header ").append(name).append(" must be ").append(value);
        }
    }
    return {};
}

std::string FindUserAgentFault(const httplib::Request& request, const std::string& tail) {
    const std::string agent = request.get_header_value("User-Agent");
    const auto start = agent.size() - std::min(agent.size(), tail.size());
    const auto pieces = Split(agent.substr(0, start), ';');
    const bool good = agent.substr(start) == tail && pieces.size() == 4 && pieces[2] == CLIENT &&
                      pieces[3].compare(0, sizeof(PLATFORM) - 1, PLATFORM) == 0 &&
                      pieces[3].size() > sizeof(PLATFORM) - 1;
    return good ? std::string()
                : std::string("the header User-Agent must be MODEL;BUILD;") + CLIENT + ";" + PLATFORM +
                      "VERSION" + tail;
}

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    for (auto end = text.find(separator); end != std::string::npos; end = text.find(separator, start)) {
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    pieces.push_back(text.substr(start));
    return pieces;
}

}  // namespace LocalCloud
