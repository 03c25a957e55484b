#include "Cloud/Util/Json.h"

#include <glib.h>

#include <cstring>
#include <memory>

#include "Cloud/Util/Errors.h"

namespace LocalCloud {

namespace {

constexpr int DEPTH_LIMIT = 200;

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
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["stackLimit"] = DEPTH_LIMIT;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    bool parsed = false;
    try {
        parsed = reader->parse(text.data(), text.data() + text.size(), &value, &errors);
    } catch (const Json::Exception& tooDeep) {
        errors = tooDeep.what();
    }
    if (!parsed) {
        // The reader reports on several lines, and each fault once more for every level around it.
        const std::string first = errors.substr(0, errors.find("\n*"));
        std::string line = first.substr(first.compare(0, 2, "* ") == 0 ? 2 : 0);
        throw CloudError(name + ": " + g_strstrip(g_strdelimit(line.data(), "\n", ' ')));
    }
    if (!value.isObject()) {
        throw CloudError(name + ": the whole must be a JSON object");
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
