#include "Cli/Json.h"

#include <stdexcept>

#include "Cli/Pattern.h"
#include "Util/CInfoSyncException.h"
#include "Util/JsonUtil.h"

namespace Cli {

namespace {

Json::StreamWriterBuilder Writer(const char* indentation, bool isUtf8) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = indentation;
    builder["emitUTF8"] = isUtf8;
    return builder;
}

const Json::Value& Member(const Json::Value& value, const std::string& name) {
    const Json::Value* member =
        value.isObject() ? value.find(name.data(), name.data() + name.size()) : nullptr;
    return member == nullptr ? Json::Value::nullSingleton() : *member;
}

}  // namespace

std::string JsonText(const Json::Value& value) {
    Json::StreamWriterBuilder writer = Writer("  ", false);
    writer["precision"] = 15;  // as many digits as a number survives with: 0.241, not 0.24099999999999999
    // DEL is the one control character that the library lets through.
    return Pattern("(?<v>\x7f)").Replace(Json::writeString(writer, value), "\\u007f") + "\n";
}

std::string EditableJson(const Json::Value& value) {
    return Json::writeString(Writer("  ", true), value) + "\n";
}

std::string CompactJson(const Json::Value& value) {
    // Made once: for a single record it costs as much as the writing.
    static const Json::StreamWriterBuilder writer = Writer("", true);
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

std::string TextMember(const Json::Value& value, const std::string& name) {
    const Json::Value& member = Member(value, name);
    return member.isConvertibleTo(Json::stringValue) ? member.asString() : "";
}

std::string StringMember(const Json::Value& value, const std::string& name) {
    const Json::Value& member = Member(value, name);
    return member.isString() ? member.asString() : "";
}

std::int64_t IntegerMember(const Json::Value& value, const std::string& name) {
    const Json::Value& member = Member(value, name);
    return member.isInt64() ? member.asInt64() : 0;
}

}  // namespace Cli
