#include "Cloud/Util/Json.h"

#include <cstring>
#include <stdexcept>

#include "Util/CInfoSyncException.h"
#include "Util/JsonUtil.h"

namespace LocalCloud {

namespace {

const Json::Value* FindMember(const Json::Value& value, const char* name) {
    return value.isObject() ? value.find(name, name + std::strlen(name)) : nullptr;
}

Json::StreamWriterBuilder Writer(const char* indentation) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = indentation;
    builder["emitUTF8"] = true;
    return builder;
}

}  // namespace

Json::Value ParseJsonObject(const std::string& text, const std::string& name) {
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

std::string CompactJson(const Json::Value& value) {
    // Made once: for a single record it costs as much as the writing.
    static const Json::StreamWriterBuilder writer = Writer("");
    return Json::writeString(writer, value);
}

std::string ReadableJson(const Json::Value& value) {
    return Json::writeString(Writer("  "), value) + "\n";
}

std::string TextMember(const Json::Value& value, const char* name) {
    const Json::Value* member = FindMember(value, name);
    return member != nullptr && member->isString() ? member->asString() : std::string();
}

Json::Int64 IntegerMember(const Json::Value& value, const char* name) {
    const Json::Value* member = FindMember(value, name);
    return member != nullptr && member->isInt64() ? member->asInt64() : 0;
}

}  // namespace LocalCloud
