#include "Television/Log/JsonText.h"

#include <algorithm>
#include <charconv>

namespace Log {

namespace {

using Text = std::string_view;

/** The end of the string that begins at the position, or of the text. */
std::size_t StringEnd(Text json, std::size_t at) {
    for (at = json.find_first_of("\"\\", at + 1); at < json.size() && json[at] == '\\';) {
        at = json.find_first_of("\"\\", at + 2);
    }
    return std::min(at, json.size());
}

}  // namespace

std::int64_t FirstNumber(Text text) {
    text.remove_prefix(std::min(text.find_first_of("-0123456789"), text.size()));
    std::int64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::string Member(Text json, Text name) {
    const std::string quoted = "\"" + std::string(name) + "\"";
    for (std::size_t at = json.find(quoted); at != Text::npos; at = json.find(quoted, at + 1)) {
        std::size_t value = json.find_first_not_of(" \t", at + quoted.size());
        if (value >= json.size() || json[value] != ':') {
            continue;
        }
        value = json.find_first_not_of(" \t", value + 1);
        if (value < json.size() && json[value] == '"') {
            return std::string(json.substr(value + 1, StringEnd(json, value) - value - 1));
        }
        const std::size_t end = json.find_first_of(" \t,}]", std::min(value, json.size()));
        return std::string(json.substr(std::min(value, json.size()), end - value));
    }
    return "";
}

void ForEachObject(Text json, const std::function<void(const std::string&, Text)>& onObject) {
    std::size_t begin = Text::npos;
    Text last;
    std::string name;
    for (std::size_t at = json.find_first_of("{}\""); at < json.size();
         at = json.find_first_of("{}\"", at + 1)) {
        if (json[at] == '"') {
            const std::size_t end = StringEnd(json, at);
            last = json.substr(at + 1, end - at - 1);
            at = end;
        } else if (json[at] == '{') {
            begin = at;
            name = last;
        } else if (begin != Text::npos) {
            onObject(name, json.substr(begin, at + 1 - begin));
            begin = Text::npos;
        }
    }
}

}  // namespace Log
