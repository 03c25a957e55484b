#include "Cli/Json.h"

namespace Cli {

namespace {

constexpr char DELETE = 0x7f;

}  // namespace

std::string JsonText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["precision"] = 15;  // as many digits as a number survives with: 0.241, not 0.24099999999999999
    std::string text = Json::writeString(builder, value) + "\n";
    // The one control character that the library lets through.
    for (auto at = text.find(DELETE); at != std::string::npos; at = text.find(DELETE, at)) {
        text.replace(at, 1, "\\u007f");
    }
    return text;
}

std::string TextMember(const Json::Value& value, const std::string& name) {
    const Json::Value* member =
        value.isObject() ? value.find(name.data(), name.data() + name.size()) : nullptr;
    return member != nullptr && member->isConvertibleTo(Json::stringValue) ? member->asString()
                                                                           : std::string();
}

}  // namespace Cli
