#include "Util/JsonUtil.h"

#include <glib.h>

#include <algorithm>
#include <limits>
#include <memory>

#include "Util/CInfoSyncException.h"
#include "Util/JsonSyntax.h"

namespace InfoSyncUtil {

namespace {

constexpr int STORED_DEPTH_LIMIT = 256;
// Storing an answer puts it at most a few levels further down.
constexpr int ANSWER_DEPTH_LIMIT = STORED_DEPTH_LIMIT - 8;

constexpr char REPLACEMENT_ESCAPE[] = "\\ufffd";

std::string Repaired(const std::string& text, const JsonFindings& findings) {
    std::string repaired = text;
    for (const std::size_t offset : findings.loneSurrogates) {
        repaired.replace(offset, sizeof(REPLACEMENT_ESCAPE) - 1, REPLACEMENT_ESCAPE);
    }
    const std::unique_ptr<char, decltype(&g_free)> valid(
        g_utf8_make_valid(repaired.data(), static_cast<gssize>(repaired.size())), &g_free);
    return valid.get();
}

Json::Value Read(const std::string& text) {
    const Json::CharReaderBuilder builder;  // lenient, which matters no more: the text is JSON
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
        // The reader reports on several lines; a log line is one.
        throw CInfoSyncException(std::string("fail to parse JSON: ") +
                                 g_strstrip(g_strdelimit(errors.data(), "\n", ' ')));
    }
    return value;
}

Json::Value Parse(const std::string& text, int depthLimit) {
    const JsonFindings findings = CheckJsonSyntax(text, depthLimit);
    const bool repair = !findings.loneSurrogates.empty() ||
                        (findings.nonAscii &&
                         g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) == FALSE);
    return Read(repair ? Repaired(text, findings) : text);
}

Json::Value ParseObject(const std::string& text, int depthLimit) {
    Json::Value value = Parse(text, depthLimit);
    if (!value.isObject()) {
        throw CInfoSyncException("fail to parse JSON: an object expected at line 1, column 1");
    }
    return value;
}

void AppendQuoted(std::string& text, const char* begin, const char* end) {
    if (SkipPlain(begin) == end) {
        text += '"';
        text.append(begin, static_cast<std::size_t>(end - begin));
        text += '"';
    } else if (std::find(begin, end, '\0') == end) {
        text += Json::valueToQuotedString(begin);
    } else {
        Json::StreamWriterBuilder compact;
        compact["indentation"] = "";
        text += Json::writeString(compact, Json::Value(begin, end));
    }
}

/**
 * Appends the value on one line as jsoncpp's own writer would. That one looks every member up by a copy of
 * its name and sets up a stream for every text, which takes several times as long.
 */
void Append(std::string& text, const Json::Value& value) {
    const char* begin = "";
    const char* end = begin;
    char separator = value.isArray() ? '[' : '{';
    switch (value.type()) {
        case Json::nullValue:
            text += "null";
            break;
        case Json::stringValue:
            value.getString(&begin, &end);
            AppendQuoted(text, begin, end);
            break;
        case Json::arrayValue:
        case Json::objectValue:
            if (value.empty()) {
                text += separator;
            }
            for (auto member = value.begin(); member != value.end(); ++member) {
                text += separator;
                separator = ',';
                if (value.isObject()) {
                    begin = member.memberName(&end);
                    AppendQuoted(text, begin, end);
                    text += ':';
                }
                Append(text, *member);
            }
            text += value.isArray() ? ']' : '}';
            break;
        default:
            text += value.asString();
    }
}

const Json::Value* FindMember(const Json::Value& object, const std::string& name) {
    return object.isObject() ? object.find(name.data(), name.data() + name.size()) : nullptr;
}

}  // namespace

Json::Value ParseJson(const std::string& text) {
    return Parse(text, STORED_DEPTH_LIMIT);
}

Json::Value ParseAnswer(const std::string& text) {
    return ParseObject(text, ANSWER_DEPTH_LIMIT);
}

Json::Value ParseStoredObject(const std::string& text) {
    return ParseObject(text, STORED_DEPTH_LIMIT);
}

std::string WriteJson(const Json::Value& value) {
    std::string text;
    Append(text, value);
    return text;
}

bool HasTextForm(const Json::Value& value) {
    return value.isConvertibleTo(Json::stringValue);
}

std::string TextMember(const Json::Value& object, const std::string& name) {
    const Json::Value* member = FindMember(object, name);
    return member != nullptr && HasTextForm(*member) ? member->asString() : std::string();
}

const Json::Value& ObjectMember(const Json::Value& object, const std::string& name) {
    const Json::Value* member = FindMember(object, name);
    return member != nullptr && member->isObject() ? *member : Json::Value::nullSingleton();
}

std::int64_t ToInt64(const Json::Value& value) {
    constexpr std::int64_t LOWEST = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t HIGHEST = std::numeric_limits<std::int64_t>::max();
    // 2^63, the first number past the highest, is exact as a double; the highest is not.
    constexpr double PAST_HIGHEST = 9223372036854775808.0;
    if (value.type() == Json::realValue) {
        const double number = value.asDouble();
        return number >= PAST_HIGHEST   ? HIGHEST
               : number < -PAST_HIGHEST ? LOWEST
                                        : static_cast<std::int64_t>(number);
    }
    if (value.type() == Json::uintValue) {
        return value.isInt64() ? value.asInt64() : HIGHEST;
    }
    return value.type() == Json::intValue ? value.asInt64() : 0;
}

int ResultCode(const Json::Value& answer) {
    return answer["rcode"].asInt();
}

}  // namespace InfoSyncUtil
