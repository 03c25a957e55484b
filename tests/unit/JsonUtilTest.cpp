#include "Expected.h"
#include "ServiceTest.h"
#include "Util/JsonUtil.h"

using ::testing::HasSubstr;

using JsonUtilTest = ServiceTest;

namespace {

std::string Nested(int levels) {
    const auto count = static_cast<std::size_t>(levels);
    return std::string(count, '[') + std::string(count, ']');
}

}  // namespace

/** What the text is read and written as, its value as a time, and how many values the limits count in it. */
TEST_F(JsonUtilTest, EachText) {
    // clang-format off
    const std::string texts[] = {
        "", "{\"a\":1,}", "[1,\n 2,\n x]", "{'a':1}", "// comment\n{}", "{} {}", "[\"abc", "[NaN]",
        R"(["\ud83d"])", Nested(1002), std::string(1000000, '['),
        "\xEF\xBB\xBF { \"b\" : [ 1 , -2.5 ] ,\r\n\t\"a\" : null } ", R"({"a":1,"a":2})",
        R"(["\u0000\ud83d\ude00\/\n"])", "[\"\xC3\xA9\"]", "[\"a\xFF\"]", R"(["x\udc00y"])",
        "[18446744073709551615,-9223372036854775808]", "true", "[0,0,0]", "[[],{}]",
        R"({"a":{"b":1,"c":2}})", R"({"a,[{":"\",[{","\\":[0],"":"/*"})", R"({"a":0/*"*/,"b":[0,0]})",
        R"({"a":0/*/,*/,"b":0})", "{\"a\":0//\"\n,\"b\":[0]}", R"(["a,,,,,)", R"(["a\",,,)", "[0/*,,,,",
        "[0//,,,,", "[0/,0]", "9007199254740993", "12", "12.9", "9223372036854775807",
        "9223372036854775808.0", "1e300", "-1e300", "-9223372036854775809", "null", "\"12\"", "{}"};
    // clang-format on
    std::string all;
    for (const std::string& text : texts) {
        std::size_t values = 0;
        while (values < 20 && !InfoSyncUtil::WhyTooHeavy(text, {text.size(), values, 2000}).empty()) {
            ++values;
        }
        all += "# " + text.substr(0, 60) + "\n" + std::to_string(values) + " values, ";
        const std::string failure = Failure([&] {
            const Json::Value value = InfoSyncUtil::ParseJson(text);
            all += "time " + std::to_string(InfoSyncUtil::ToInt64(value)) + ", " +
                   InfoSyncUtil::WriteJson(value) + "\n";
            EXPECT_EQ(InfoSyncUtil::WriteJson(InfoSyncUtil::ParseJson(InfoSyncUtil::WriteJson(value))),
                      InfoSyncUtil::WriteJson(value));
        });
        all += failure == "nothing thrown" ? "" : failure + "\n";
    }
    ExpectFile("json.txt", all);
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
