#include "Util/JsonUtil.h"

#include <glib.h>

#include <limits>
#include <memory>

#include "Util/CInfoSyncException.h"

namespace InfoSyncUtil {

namespace {

// Answers have six levels. Each level costs an indented log line its depth once more, hence so few.
constexpr int ANSWER_DEPTH_LIMIT = 32;
// Storing an answer puts it at most a few levels further down.
constexpr int STORED_DEPTH_LIMIT = ANSWER_DEPTH_LIMIT + 8;

[[noreturn]] void Fail(std::string reason) {
    // The reader reports on several lines; a log line is one.
    throw CInfoSyncException(std::string("fail to parse JSON: ") +
                             g_strstrip(g_strdelimit(reason.data(), "\n", ' ')));
}

Json::Value Parse(const std::string& text, int depthLimit) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["strictRoot"] = false;
    builder["rejectDupKeys"] = false;
    builder["stackLimit"] = depthLimit;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
            Fail(errors);
        }
    } catch (const Json::Exception& e) {
        Fail(e.what());  // nested too deep
    }
    return value;
}

const Json::Value* FindMember(const Json::Value& object, const std::string& name) {
    return object.isObject() ? object.find(name.data(), name.data() + name.size()) : nullptr;
}

}  // namespace

Json::Value ParseJson(const std::string& text) {
    return Parse(text, STORED_DEPTH_LIMIT);
}

Json::Value ParseAnswer(const std::string& text) {
    Json::Value answer = Parse(text, ANSWER_DEPTH_LIMIT);
    if (!answer.isObject()) {
        Fail("an object expected");
    }
    return answer;
}

Json::Value ParseRefusal(const std::string& text) {
    return Parse(text, ANSWER_DEPTH_LIMIT);
}

Json::Value ParseStoredObject(const std::string& text) {
    Json::Value document = ParseJson(text);
    if (!document.isObject() && !document.isNull()) {
        Fail("an object expected");
    }
    return document;
}

std::string WriteJson(const Json::Value& value) {
    static const Json::StreamWriterBuilder compact = [] {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        return builder;
    }();
    return Json::writeString(compact, value);
}

bool HasTextForm(const Json::Value& value) {
    return value.isConvertibleTo(Json::stringValue);
}

const Json::Value& ObjectMember(const Json::Value& object, const std::string& name) {
    const Json::Value* member = FindMember(object, name);
    return member != nullptr && member->isObject() ? *member : Json::Value::nullSingleton();
}

bool HasEntry(const Json::Value& document, const std::string& name) {
    const Json::Value* entry = FindMember(document, name);
    return entry != nullptr && (entry->isObject() || entry->isNull());
}

std::int64_t ToInt64(const Json::Value& value) {
    // 2^63, the first number past the highest, is exact as a double; the highest is not.
    constexpr double PAST_HIGHEST = 9223372036854775808.0;
    if (value.isInt64()) {
        return value.asInt64();
    }
    const double number = value.isNumeric() ? value.asDouble() : 0;
    return number >= PAST_HIGHEST   ? std::numeric_limits<std::int64_t>::max()
           : number < -PAST_HIGHEST ? std::numeric_limits<std::int64_t>::min()
                                    : static_cast<std::int64_t>(number);
}

}  // namespace InfoSyncUtil
