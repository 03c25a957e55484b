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

TEST_F(JsonUtilTest, ReadsJsonAndNothingElse) {
    const std::pair<std::string, std::string> cases[] = {{"", "Line 1, Column 1"},
                                                         {"{\"a\":1,}", "Line 1, Column 8"},
                                                         {"[1,\n 2,\n x]", "Line 3, Column 2"},
                                                         {"{'a':1}", "Line 1, Column 2"},
                                                         {"// comment\n{}", "Line 1, Column 1"},
                                                         {"{} {}", "Line 1, Column 4"},
                                                         {"[\"abc", "Line 1, Column 2"},
                                                         {"[NaN]", "Line 1, Column 2"},
                                                         {R"(["\ud83d"])", "unicode"},
                                                         {Nested(1002), "stackLimit"},
                                                         {std::string(1000000, '['), "stackLimit"}};
    for (const auto& [text, failure] : cases) {
        SCOPED_TRACE(text.substr(0, 40));
        const std::string said = Failure([&source = text] { InfoSyncUtil::ParseJson(source); });
        EXPECT_THAT(said, StartsWith("fail to parse JSON: "));
        EXPECT_THAT(said, HasSubstr(failure));
        EXPECT_THAT(said, testing::Not(HasSubstr("\n")));
    }
}

TEST_F(JsonUtilTest, WhatIsWrittenIsOneLineOfAsciiThatReadsTheSame) {
    const std::pair<std::string, std::string> cases[] = {
        {"\xEF\xBB\xBF { \"b\" : [ 1 , -2.5 ] ,\r\n\t\"a\" : null } ", R"({"a":null,"b":[1,-2.5]})"},
        {R"({"a":1,"a":2})", R"({"a":2})"},
        {R"(["\u0000\ud83d\ude00\/\n"])", R"(["\u0000\ud83d\ude00/\n"])"},
        {"[\"\xC3\xA9\"]", R"(["\u00e9"])"},
        {"[\"a\xFF\"]", R"(["a\ufffd"])"},
        {R"(["x\udc00y"])", R"(["x\ufffdy"])"},
        {"[18446744073709551615,-9223372036854775808]", "[18446744073709551615,-9223372036854775808]"},
        {"true", "true"}};
    for (const auto& [text, written] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(InfoSyncUtil::WriteJson(InfoSyncUtil::ParseJson(text)), written);
        EXPECT_EQ(InfoSyncUtil::WriteJson(InfoSyncUtil::ParseJson(written)), written);
    }
}

TEST_F(JsonUtilTest, DeepestAnswerCanBeReadOnceItIsStored) {
    int depth = 1;
    const auto answer = [&depth] { return "{\"a\":" + Nested(depth) + "}"; };
    while (Failure([&] { InfoSyncUtil::ParseAnswer(answer()); }) == "nothing thrown") {
        ++depth;
    }
    --depth;
    EXPECT_GE(depth, 900);
    // What is refused is logged indented, which calls itself as deep.
    EXPECT_THAT(InfoSyncUtil::ParseRefusal(Nested(depth + 1)).toStyledString(), HasSubstr("\t[]"));
    EXPECT_THAT(Failure([&] { InfoSyncUtil::ParseRefusal(Nested(depth + 2)); }), HasSubstr("stackLimit"));
    EXPECT_EQ(Failure([&] { InfoSyncUtil::ParseStoredObject("{\"u\":{\"meta\":" + answer() + "}}"); }),
              "nothing thrown");
}

TEST_F(JsonUtilTest, ValuesAreCountedAsTheReaderTakesThem) {
    const std::pair<std::string, std::size_t> cases[] = {{"[0,0,0]", 4},
                                                         {"[[],{}]", 5},
                                                         {R"({"a":{"b":1,"c":2}})", 4},
                                                         {R"({"a,[{":"\",[{","\\":[0],"":"/*"})", 5},
                                                         {R"({"a":0/*"*/,"b":[0,0]})", 5},
                                                         {R"({"a":0/*/,*/,"b":0})", 3},
                                                         {"{\"a\":0//\"\n,\"b\":[0]}", 4},
                                                         {R"(["a,,,,,)", 2},
                                                         {R"(["a\",,,)", 2},
                                                         {"[0/*,,,,", 2},
                                                         {"[0//,,,,", 2},
                                                         {"[0/,0]", 3}};
    for (const auto& [text, values] : cases) {
        SCOPED_TRACE(text);
        const auto limits = [](std::size_t most) { return InfoSyncUtil::JsonLimits{100, most, 10}; };
        EXPECT_EQ(InfoSyncUtil::WhyTooHeavy(text, limits(values)), "");
        EXPECT_EQ(InfoSyncUtil::WhyTooHeavy(text, limits(values - 1)),
                  std::to_string(values) + " values, at most " + std::to_string(values - 1) + " are read");
    }
}

TEST_F(JsonUtilTest, TextBeyondALimitIsRefusedBeforeItIsBuilt) {
    const InfoSyncUtil::JsonLimits limits = {20, 5, 3};
    EXPECT_EQ(InfoSyncUtil::ParseJson("[[[]],\"aaaaaaaaaa\"]", limits).size(), 2);
    EXPECT_EQ(Failure([&] { InfoSyncUtil::ParseJson("[[[]],\"aaaaaaaaaaa\"] ", limits); }),
              "fail to parse JSON: 21 bytes, at most 20 are read");
    EXPECT_EQ(Failure([&] { InfoSyncUtil::ParseJson("[0,0,0,0,0 x", limits); }),
              "fail to parse JSON: 6 values, at most 5 are read");
    EXPECT_THAT(Failure([&] { InfoSyncUtil::ParseJson(Nested(5), {20, 20, 3}); }), HasSubstr("stackLimit"));
}

TEST_F(JsonUtilTest, AnswerIsAnObjectAndAStoredDocumentMayBeNull) {
    for (const char* text : {"[]", "\"text\"", "1"}) {
        EXPECT_THAT(Failure([text] { InfoSyncUtil::ParseAnswer(text); }), HasSubstr("fail to parse"));
        EXPECT_THAT(Failure([text] { InfoSyncUtil::ParseStoredObject(text); }), HasSubstr("fail to parse"));
    }
    EXPECT_THAT(Failure([] { InfoSyncUtil::ParseAnswer("null"); }), HasSubstr("fail to parse"));
    EXPECT_TRUE(InfoSyncUtil::ParseStoredObject("null").isNull());
}

TEST_F(JsonUtilTest, TimeBeyondTheRangeIsTheNearestOne) {
    constexpr std::int64_t LOWEST = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t HIGHEST = std::numeric_limits<std::int64_t>::max();
    const std::pair<std::string, std::int64_t> cases[] = {{"9007199254740993", 9007199254740993},
                                                          {"12", 12},
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
