#include "Cloud/Protocol/Answer.h"

#include "Cli/Json.h"

namespace LocalCloud {

std::string TextOf(ResultCode code) {
    return std::to_string(static_cast<int>(code));
}

Answer Refusal(ResultCode code, const std::string& message, const std::string& login) {
    constexpr int STATUS_DIVISOR = 10000;
    Json::Value body;
    body["rcode"] = static_cast<int>(code);
    body["rmsg"] = message;
    return {static_cast<int>(code) / STATUS_DIVISOR, Cli::CompactJson(body), TextOf(code) + ": " + message,
            login};
}

std::string FindHeaderFault(const httplib::Request& request,
                            const std::vector<std::pair<std::string, std::string>>& expected) {
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
