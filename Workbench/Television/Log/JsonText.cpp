#include "Television/Log/JsonText.h"

#include <algorithm>
#include <map>

#include "Cli/Pattern.h"

namespace Log {

std::int64_t FirstNumber(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_of("-0123456789"), text.size()));
    return Cli::Number(text);
}

std::string Member(std::string_view json, const std::string& name) {
    constexpr char VALUE[] = R"re("\s*:\s*(?:"(?<value>(?:[^"\\]++|\\.)*+)|(?<value>[^"\s,}\]]+)))re";
    static std::map<std::string, Cli::Pattern> patterns;
    auto found = patterns.find(name);
    if (found == patterns.end()) {
        found = patterns.emplace(name, Cli::Pattern("\"" + name + VALUE)).first;
    }
    return std::string(found->second.Find(json)["value"]);
}

void ForEachObject(std::string_view json,
                   const std::function<void(const std::string& name, std::string_view object)>& onObject) {
    static const Cli::Pattern innermost(
        R"re((?:"(?<name>(?:[^"\\]++|\\.)*+)"\s*:\s*)?(?<object>\{(?:[^{}"]++|"(?:[^"\\]++|\\.)*+")*+\}))re");
    innermost.ForEach(json, [&onObject](const Cli::Pattern::Match& match) {
        onObject(std::string(match["name"]), match["object"]);
    });
}

}  // namespace Log
