#include "Util/JsonUtil.h"

#include <glib.h>

#include <algorithm>
#include <limits>
#include <memory>

#include "Util/CInfoSyncException.h"

namespace InfoSyncUtil {

namespace {

[[noreturn]] void Fail(std::string reason) {
    // The reader reports on several lines; a log line is one.
    throw CInfoSyncException(std::string("fail to parse JSON: ") +
                             g_strstrip(g_strdelimit(reason.data(), "\n", ' ')));
}

bool IsEscaped(const std::string& text, std::size_t quote) {
    std::size_t first = quote;
    while (text[first - 1] == '\\') {
        --first;
    }
    return (quote - first) % 2 == 1;
}

/** Where the text that starts with this quote ends. */
std::size_t EndOfText(const std::string& json, std::size_t quote) {
    std::size_t end = quote;
    do {
        end = json.find('"', end + 1);
    } while (end != std::string::npos && IsEscaped(json, end));
    return end;
}

/** The reader takes comments in some places; what looks like the start of a text in one is none. */
std::size_t EndOfComment(const std::string& json, std::size_t slash) {
    if (json.compare(slash, 2, "/*") == 0) {
        const std::size_t end = json.find("*/", slash + 2);
        return end == std::string::npos ? end : end + 1;
    }
    return json.compare(slash, 2, "//") == 0 ? json.find_first_of("\r\n", slash) : slash;
}

/** As JsonLimits counts them: never fewer than the reader would build. */
std::size_t CountValues(const std::string& json) {
    std::size_t values = 1;
    for (std::size_t at = 0; at < json.size(); ++at) {
        switch (json[at]) {
            case ',':
            case '[':
            case '{':
                ++values;
                break;
            case '"':
                at = std::min(EndOfText(json, at), json.size());
                break;
            case '/':
                at = std::min(EndOfComment(json, at), json.size());
                break;
            default:
                break;
        }
    }
    return values;
}

Json::Value Parse(const std::string& text, const JsonLimits& limits) {
    const std::string excess = WhyTooHeavy(text, limits);
    if (!excess.empty()) {
        Fail(excess);
    }
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["strictRoot"] = false;
    builder["rejectDupKeys"] = false;
    builder["stackLimit"] = limits.depth;
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

std::string WhyTooHeavy(const std::string& text, const JsonLimits& limits) {
    if (text.size() > limits.bytes) {
        return std::to_string(text.size()) + " bytes, at most " + std::to_string(limits.bytes) + " are read";
    }
    // A value has a byte at least.
    const std::size_t values = text.size() > limits.values ? CountValues(text) : 0;
    return values > limits.values
               ? std::to_string(values) + " values, at most " + std::to_string(limits.values) + " are read"
               : "";
}

Json::Value ParseJson(const std::string& text, const JsonLimits& limits) {
    return Parse(text, limits);
}

Json::Value ParseAnswer(const std::string& text, const JsonLimits& limits) {
    Json::Value answer = Parse(text, limits);
    if (!answer.isObject()) {
        Fail("an object expected");
    }
    return answer;
}

Json::Value ParseRefusal(const std::string& text) {
    return Parse(text, Limits::ANSWER);
}

Json::Value ParseStoredObject(const std::string& text, const JsonLimits& limits) {
    Json::Value document = Parse(text, limits);
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
