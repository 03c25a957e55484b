#include "Cli/Json.h"

#include <stdexcept>

#include "Util/CInfoSyncException.h"
#include "Util/JsonUtil.h"

namespace Cli {

namespace {

const Json::Value* FindMember(const Json::Value& value, const std::string& name) {
    return value.isObject() ? value.find(name.data(), name.data() + name.size()) : nullptr;
}

Json::StreamWriterBuilder Utf8Writer(const char* indentation) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = indentation;
    builder["emitUTF8"] = true;
    return builder;
}

}  // namespace

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
    const Json::Value* member = FindMember(value, name);
    return member != nullptr && member->isConvertibleTo(Json::stringValue) ? member->asString()
                                                                           : std::string();
}

std::string EditableJson(const Json::Value& value) {
    return Json::writeString(Utf8Writer("  "), value) + "\n";
}

std::string CompactJson(const Json::Value& value) {
    // Made once: for a single record it costs as much as the writing.
    static const Json::StreamWriterBuilder writer = Utf8Writer("");
    return Json::writeString(writer, value);
}

Json::Value ParseObject(const std::string& text, const std::string& name) {
    Json::Value value;
    try {
        value = InfoSyncUtil::ParseJson(text);
    } catch (const CInfoSyncException& error) {
        throw std::runtime_error(name + ": " + error.what());
    }
    if (!value.isObject()) {
        throw std::runtime_error(name + ": the whole must be a JSON object");
    }
    return value;
}

std::string StringMember(const Json::Value& value, const std::string& name) {
    const Json::Value* member = FindMember(value, name);
    return member != nullptr && member->isString() ? member->asString() : std::string();
}

std::int64_t IntegerMember(const Json::Value& value, const std::string& name) {
    const Json::Value* member = FindMember(value, name);
    return member != nullptr && member->isInt64() ? member->asInt64() : 0;
}

}  // namespace Cli
