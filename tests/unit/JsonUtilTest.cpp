#include <limits>

#include "ServiceTest.h"
#include "Util/JsonUtil.h"

using ::testing::HasSubstr;
using ::testing::StartsWith;

using JsonUtilTest = ServiceTest;

namespace {

std::string Nested(int levels) {
    const auto count = static_cast<std::size_t>(levels);
    return std::string(count, '[') + std::string(count, ']');
}

}  // namespace

TEST_F(JsonUtilTest, RefusesWhatIsNotJsonAndSaysWhere) {
    using std::string_literals::operator""s;
    const std::pair<std::string, std::string> cases[] = {
        {"", "line 1, column 1"},
        {"{\"a\":1,}", "line 1, column 8"},
        {"[1,\n 2,\n x]", "line 3, column 2"},
        {"{'a':1}", "a member's name expected at line 1, column 2"},
        {"{\"a\" 1}", "':' expected at line 1, column 6"},
        {"// comment\n{}", "line 1, column 1"},
        {"{} {}", "text after the value at line 1, column 4"},
        {"{}\0"s, "text after the value"},
        {"[\"a\0b\"]"s, "a bare control character"},
        {"[\"a\nb\"]", "a bare control character"},
        {"[\"abc", "a text without its end at line 1, column 6"},
        {R"(["\x"])", "an unknown escape"},
        {"[\"\\", "an unknown escape"},
        {"[\"\\u12", "four hexadecimal digits expected"},
        {"[NaN]", "a value expected"},
        {"[Infinity]", "a value expected"},
        {"[01]", "',' or ']' expected"},
        {"[1.]", "a digit expected"},
        {"[1e]", "a digit expected"},
        {"[-]", "a value expected"},
        {"[tru]", "a value expected"},
        {"[1e999]", "'1e999' is not a number"},
        {"\xEF\xBB\xBF{}", "a value expected"},
        {Nested(257), "nested too deep at line 1, column 257"},
        {std::string(1000000, '['), "nested too deep"}};
    for (const auto& [text, failure] : cases) {
        SCOPED_TRACE(text.substr(0, 40));
        const std::string said = Failure([&source = text] { InfoSyncUtil::ParseJson(source); });
        EXPECT_THAT(said, StartsWith("fail to parse JSON: "));
        EXPECT_THAT(said, HasSubstr(failure));
    }
}

TEST_F(JsonUtilTest, WhatIsReadIsWrittenAndReadTheSame) {
    const std::pair<std::string, std::string> cases[] = {
        {" { \"b\" : [ 1 , -2.5 ] ,\r\n\t\"a\" : null } ", R"({"a":null,"b":[1,-2.5]})"},
        {R"({"a":1,"a":2})", R"({"a":2})"},
        {R"(["\u0000\ud83d\ude00\/\n"])", R"(["\u0000\ud83d\ude00/\n"])"},
        {"[\"\xC3\xA9\"]", R"(["\u00e9"])"},
        {"[\"a\xFF\xC3\"]", R"(["a\ufffd\ufffd"])"},
        {"[\"\x80\"]", R"(["\ufffd"])"},
        {R"(["\uabcf\uABCF\uA9f0"])", R"(["\uabcf\uabcf\ua9f0"])"},
        {R"(["\ud800\udc00\udbff\udfff"])", R"(["\ud800\udc00\udbff\udfff"])"},
        {R"(["\ud800","\udbff","\udc00","\udfff","\ud7ff\ue000"])",
         R"(["\ufffd","\ufffd","\ufffd","\ufffd","\ud7ff\ue000"])"},
        {"[ [ ] , { } ]", "[[],{}]"},
        {"[1e+2,25E-1,-1e0]", "[100.0,2.5,-1.0]"},
        {R"(["\ud83d","\ude00x","\ud83d\u0041\ud83d\ud83d\ude00"])",
         R"(["\ufffd","\ufffdx","\ufffdA\ufffd\ud83d\ude00"])"},
        {"[18446744073709551615,-9223372036854775808]", "[18446744073709551615,-9223372036854775808]"},
        {"true", "true"}};
    for (const auto& [text, written] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(InfoSyncUtil::WriteJson(InfoSyncUtil::ParseJson(text)), written);
        EXPECT_EQ(InfoSyncUtil::WriteJson(InfoSyncUtil::ParseJson(written)), written);
    }
}

TEST_F(JsonUtilTest, WritesWhatTheLibraryWrites) {
    Json::StreamWriterBuilder compact;
    compact["indentation"] = "";
    Json::Value value;
    for (int byte = 0; byte < 0x80; ++byte) {
        const std::string text = std::string("a") + static_cast<char>(byte) + "\u00FC\U0001F3A7";
        value[text] = text;
        value["plain"].append(std::string(1, static_cast<char>(byte)));
    }
    for (const double number : {0.0, -0.1, 1.0, 1e300, 1.0 / 3}) {
        value["numbers"].append(number);
    }
    value["others"].append(Json::Value());
    value["others"].append(true);
    value["others"].append(Json::Value(Json::arrayValue));
    value["others"].append(Json::Value(Json::objectValue));
    value[""] = "";
    EXPECT_EQ(InfoSyncUtil::WriteJson(value), Json::writeString(compact, value));
}

TEST_F(JsonUtilTest, BytesThatAreNotUtf8AreReplacedBeforeAnyoneReadsThem) {
    EXPECT_EQ(InfoSyncUtil::ParseJson("\"a\xFF\"").asString(), "a\uFFFD");
}

TEST_F(JsonUtilTest, AcceptedAnswerCanBeReadOnceItIsStored) {
    EXPECT_EQ(Failure([] { InfoSyncUtil::ParseAnswer("{\"a\":" + Nested(247) + "}"); }), "nothing thrown");
    EXPECT_THAT(Failure([] { InfoSyncUtil::ParseAnswer("{\"a\":" + Nested(248) + "}"); }),
                HasSubstr("nested too deep"));
    EXPECT_EQ(Failure([] { InfoSyncUtil::ParseStoredObject("{\"a\":" + Nested(255) + "}"); }),
              "nothing thrown");
    std::string wide = R"({"a":[{})";
    for (int i = 0; i < 300; ++i) {
        wide += ",[],{}";
    }
    EXPECT_EQ(Failure([&wide] { InfoSyncUtil::ParseAnswer(wide + "]}"); }), "nothing thrown");
    for (const char* text : {"[]", "null", "\"text\"", "1"}) {
        EXPECT_THAT(Failure([text] { InfoSyncUtil::ParseAnswer(text); }), HasSubstr("fail to parse"));
        EXPECT_THAT(Failure([text] { InfoSyncUtil::ParseStoredObject(text); }), HasSubstr("fail to parse"));
    }
}

TEST_F(JsonUtilTest, TimeBeyondTheRangeIsTheNearestOne) {
    constexpr std::int64_t LOWEST = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t HIGHEST = std::numeric_limits<std::int64_t>::max();
    const std::pair<std::string, std::int64_t> cases[] = {{"12", 12},
                                                          {"12.9", 12},
                                                          {"9223372036854775807", HIGHEST},
                                                          {"9223372036854775808.0", HIGHEST},
                                                          {"1e300", HIGHEST},
                                                          {"-1e300", LOWEST},
                                                          {"-9223372036854775809", LOWEST},
                                                          {"null", 0},
                                                          {"\"12\"", 0},
                                                          {"true", 0},
                                                          {"{}", 0}};
    for (const auto& [text, number] : cases) {
        EXPECT_EQ(InfoSyncUtil::ToInt64(InfoSyncUtil::ParseJson(text)), number) << text;
    }
}
