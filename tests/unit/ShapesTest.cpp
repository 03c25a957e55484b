/**
 * All that comes in from outside, in every shape that it may have but should not, each through a whole run of
 * the service and the good ones after it. What must come of a shape is a letter; Outside.h says what they
 * mean.
 */
#include <gtest/gtest.h>
#include <json/json.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "Outside.h"

using namespace Outside;

namespace {

char Came(Input input, const std::string& text, long status = 200, bool whole = true) {
    const Outcome outcome = Try(input, text, status, whole);
    EXPECT_EQ(outcome.wrong, "") << Name(input) << ", status " << status << ":\n" << text.substr(0, 500);
    return static_cast<char>(outcome.verdict);
}

/** The letters of the texts, each as this input. */
template <typename Texts>
std::string CameOfEach(Input input, const Texts& texts) {
    std::string letters;
    for (const auto& text : texts) {
        letters += Came(input, text);
    }
    return letters;
}

/** The input's good text with the member at the path replaced by JSON text, or taken out by an empty one. */
std::string With(Input input, const std::string& path, const std::string& value) {
    constexpr char MARK[] = "\"@\"";
    Json::Value root;
    std::istringstream(Good(input)) >> root;
    const auto dot = path.rfind('.');
    Json::Value& parent = dot == std::string::npos ? root : Json::Path(path.substr(0, dot)).make(root);
    const std::string name = path.substr(dot + 1);
    const std::string good = Json::FastWriter().write(parent[name]);
    parent[name] = "@";
    if (value.empty()) {
        parent.removeMember(name);
    }
    std::string text = Json::writeString(Json::StreamWriterBuilder(), root);
    if (!value.empty()) {
        const std::string twice = "[],\"" + name + "\":" + good;
        text.replace(text.find(MARK), std::size(MARK) - 1, value == "twice" ? twice : value);
    }
    return text;
}

const std::string ODD_BODIES[] = {"",
                                  " \n",
                                  "null",
                                  "17",
                                  "\"text\"",
                                  "[]",
                                  "[1]",
                                  "{}",
                                  "<html><body>503</body></html>",
                                  "// no\n{}",
                                  "{'rcode':0}",
                                  "{\"rcode\":0,}",
                                  "{\"rcode\":NaN}",
                                  "{\"rcode\":1e999}",
                                  "{\"rcode\":0.5}",
                                  "{\"rcode\":4294967296}",
                                  "{\"rcode\":99999999999999999999}",
                                  "{} {}",
                                  std::string("\0{}", 3),
                                  std::string("{}\0", 3),
                                  "\xEF\xBB\xBF{}",
                                  "\xFF\xFE{",
                                  "{\"a\":\"\xFF\"}",
                                  R"({"\ud800":1})",
                                  std::string(100000, '['),
                                  "{\"a\":" + std::string(991, '[') + std::string(991, ']') + "}"};

}  // namespace

TEST(ShapesTest, GoodInputIsTaken) {
    for (int i = 0; i < INPUT_COUNT; ++i) {
        const auto input = static_cast<Input>(i);
        EXPECT_EQ(Came(input, Good(input)), input == REFUSAL ? STORED : TAKEN)
            << Name(input) << ": what a good run leaves behind is in tests/fakes/Outside.cpp";
    }
}

TEST(ShapesTest, EachMemberOfEveryWrongType) {
    const char* values[] = {"",      "twice", "null", "true", "-1",        "1e300", "18446744073709551615",
                            "\"x\"", "[]",    "{}",   "[[]]", "{\"a\":{}}"};
    struct Row {
        Input input;
        std::string path;
        std::string letters;
    };
    const Row rows[] = {
        {TOKEN_ANSWER, "rsp", "a.a------a-a"},
        {TOKEN_ANSWER, "rsp.stat", "............"},
        {TOKEN_ANSWER, "rsp.result", "a.a------a-a"},
        {TOKEN_ANSWER, "rsp.result.access_token", "a.......ssss"},
        {TOKEN_ANSWER, "rsp.result.refresh_token", "............"},
        {TOKEN_ANSWER, "rsp.result.userId", "........FFFF"},
        {TOKEN_ANSWER, "rsp.result.access_token_expires_in", "....a......."},
        {TOKEN_ANSWER, "rsp.result.refresh_token_expires_in", "....a......."},
        {REFRESH_ANSWER, "rsp", "a.a------a-a"},
        {REFRESH_ANSWER, "rsp.result", "a.a------a-a"},
        {REFRESH_ANSWER, "rsp.result.access_token", "a.......aaaa"},
        {REFRESH_ANSWER, "rsp.result.refresh_token", "............"},
        {REFRESH_ANSWER, "rsp.result.access_token_expires_in", "....a......."},
        {REFRESH_ANSWER, "rsp.result.refresh_token_expires_in", "....a......."},
        {ACTIVATION_ANSWER, "rcode", "...---------"},
        {ACTIVATION_ANSWER, "dvcId", "........ssss"},
        {ACTIVATION_ANSWER, "expireTime", "a.aaa..aaaaa"},
        {APP_TOKEN_ANSWER, "rcode", "...---------"},
        {APP_TOKEN_ANSWER, "accessToken", "........ssss"},
        {APP_TOKEN_ANSWER, "tokenExpireTimeSec", "a.aaa..aaaaa"},
        {RECORDS_ANSWER, "meta", "a.aaaaaaaaaa"},
        {RECORDS_ANSWER, "meta.synced_timestamp", "a.a.aaaaaaaa"},
        {RECORDS_ANSWER, "records", "L.L-----L-L-"},
        {RECORDS_ANSWER, "records[0].record_id", "L.LLLLLLLLLL"},
        {RECORDS_ANSWER, "records[0].address", "L.LLLLLLLLLL"},
        {RECORDS_ANSWER, "records[0].name", "L.LLLLLLLLLL"},
        {RECORDS_ANSWER, "records[0].uuids", "L.LLLLLLLLLL"},
        {RECORDS_ANSWER, "records[1].record_id", "L.LLLLLLLLLL"},
        {RECORDS_ANSWER, "records[1].name", "............"},
        {REFUSAL, "rcode", "-s----------"},
        {STORED_TOKEN, "user-1", "a.aaaaaaaaaa"},
        {STORED_TOKEN, "user-1.access_token", "a.......aaaa"},
        {STORED_TOKEN, "user-1.refresh_token", "............"},
        {STORED_TOKEN, "user-1.userId", "............"},
        {STORED_TOKEN, "user-1.issued_time_in_second", "a.aaa..aaaaa"},
        {STORED_TOKEN, "user-1.access_token_expires_in", "a.aaa..aaaaa"},
        {STORED_TOKEN, "user-1.refresh_token_expires_in", "a.aaa..aaaaa"},
        {STORED_RECORDS, "user-1", "a.aaaaaaaaaa"},
        {STORED_RECORDS, "user-1.meta", "a.aaaaaaaaaa"},
        {STORED_RECORDS, "user-1.meta.synced_timestamp", "a.asaaaaaaaa"},
        {STORED_RECORDS, "user-1.records", "............"},
        {STORED_RECORDS, "user-1.records[0].record_id", "+.++++++...."},
        {STORED_RECORDS, "user-1.records[0].address", "............"},
        {STORED_JWT, "user-1", "a.aaaaaaaaaa"},
        {STORED_JWT, "user-1.accessToken", "........aaaa"},
        {STORED_JWT, "user-1.tokenExpireTimeSec", "a.aaa..aaaaa"},
        {STORED_ACTIVATION, "user-1", "a.aaaaaaaaaa"},
        {STORED_ACTIVATION, "user-1.dvcId", "........aaaa"},
        {STORED_ACTIVATION, "user-1.expireTime", "a.aaa..aaaaa"},
        {DEVICE_LIST, "pod", "............"},
        {DEVICE_LIST, "pod.users", "............"},
        {DEVICE_LIST, "pod.name", "............"},
        {DEVICE_LIST, "gone", "............"},
        {DEVICE_LIST, "gone.users", "............"},
    };
    for (const auto& [input, path, letters] : rows) {
        std::string came;
        for (const char* value : values) {
            came += Came(input, With(input, path, value));
        }
        EXPECT_EQ(came, letters) << Name(input) << ": " << path;
    }
}

TEST(ShapesTest, EachStatusOfAGoodAnswer) {
    const long statuses[] = {0, 204, 301, 400, 401, 403, 404, 429, 500, 503, 4000, 4001};
    const std::pair<Input, std::string> rows[] = {{TOKEN_ANSWER, "...........-"},
                                                  {REFRESH_ANSWER, "...........-"},
                                                  {ACTIVATION_ANSWER, "............"},
                                                  {APP_TOKEN_ANSWER, "............"},
                                                  {RECORDS_ANSWER, "------------"}};
    for (const auto& [input, letters] : rows) {
        std::string came;
        for (const long status : statuses) {
            came += Came(input, Good(input), status);
        }
        EXPECT_EQ(came, letters) << Name(input);
        EXPECT_EQ(Came(input, Good(input), 200, false), REFUSED) << Name(input);
    }
}

TEST(ShapesTest, BodiesThatAreNoAnswerAndDocumentsThatAreNone) {
    const std::pair<Input, std::string> rows[] = {
        {TOKEN_ANSWER, "-------a------aaa--aa-a--a"},      {REFRESH_ANSWER, "-------a------aaa--aa-a--a"},
        {ACTIVATION_ANSWER, "-------a------a----aa-a--a"}, {APP_TOKEN_ANSWER, "-------a------a----aa-a--a"},
        {RECORDS_ANSWER, "-------s------sss--ss-s--s"},    {REFUSAL, "--------------------------"},
        {STORED_TOKEN, "aaaaaaaaaaaaaaaaaaaaaaaaaa"},      {STORED_CODE, "FFFFFFFFFFFFFFFFFFFFFFFFFF"},
        {STORED_RECORDS, "aaaaaaaaaaaaaaaaaaaaaaaaaa"},    {STORED_JWT, "aaaaaaaaaaaaaaaaaaaaaaaaaa"},
        {STORED_ACTIVATION, "aaaaaaaaaaaaaaaaaaaaaaaaaa"}, {DEVICE_LIST, ".s......ssssss...s...s.sss"}};
    for (const auto& [input, letters] : rows) {
        EXPECT_EQ(CameOfEach(input, ODD_BODIES), letters) << Name(input);
    }
}

TEST(ShapesTest, CodeDocuments) {
    const std::string start = R"(<rsp stat="ok">)";
    const std::string code = "<auth_code>c</auth_code>";
    const std::string verifier = "<code_verifier>v</code_verifier>";
    const std::string auth = "<kap_auth_domain>d</kap_auth_domain>";
    const std::string api = "<kap_api_domain>e</kap_api_domain>";
    std::string levels;
    for (int i = 0; i < 1000; ++i) {
        levels += "<a>";
    }
    const std::string documents[] = {
        "no document",
        start + "<auth_code>c",
        R"(<answer stat="ok"/>)",
        "<rsp/>",
        R"(<rsp stat="OK"/>)",
        R"(<rsp stat=" ok"/>)",
        R"(<rsp stat="ok"/>)",
        start + code + verifier + auth + api + "<empty/></rsp>",
        start + "<empty/>" + code + verifier + auth + api + "</rsp>",
        start + verifier + auth + api + "</rsp>",
        start + code + auth + api + "</rsp>",
        start + code + verifier + api + "</rsp>",
        start + code + verifier + auth + "</rsp>",
        start + code + verifier + auth + api + "<auth_code>2</auth_code></rsp>",
        "\xEF\xBB\xBF<?xml version='1.0'?>\n" + start + code + verifier + auth + api + "</rsp>\n",
        R"(<!DOCTYPE d [<!ENTITY a "aa"><!ENTITY b "&a;&a;">]>)" + start + "<auth_code>&b;</auth_code></rsp>",
        start + levels + "</rsp>",
    };
    EXPECT_EQ(CameOfEach(SIGN_IN_DOCUMENT, documents), "------s--ssss..s-");
    EXPECT_EQ(CameOfEach(STORED_CODE, documents), "FFFFFFF.F..FF..FF");
}

TEST(ShapesTest, CutAtEachByte) {
    const std::pair<Input, char> rows[] = {
        {TOKEN_ANSWER, '-'},   {REFRESH_ANSWER, '-'}, {ACTIVATION_ANSWER, '-'}, {APP_TOKEN_ANSWER, '-'},
        {RECORDS_ANSWER, '-'}, {REFUSAL, '-'},        {SIGN_IN_DOCUMENT, '-'},  {STORED_TOKEN, 'a'},
        {STORED_RECORDS, 'a'}, {STORED_JWT, 'a'},     {STORED_ACTIVATION, 'a'}, {DEVICE_LIST, 's'}};
    for (const auto& [input, letter] : rows) {
        const std::string good = Good(input);
        std::string came;
        for (std::size_t length = 1; length < good.size(); ++length) {
            came += Came(input, good.substr(0, length));
        }
        EXPECT_EQ(came, std::string(good.size() - 1, letter)) << Name(input);
    }
}

TEST(ShapesTest, WhatTheFuzzersStartFrom) {
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(INFOSYNC_CORPUS)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        for (int input = 0; input < INPUT_COUNT; ++input) {
            SCOPED_TRACE(entry.path().string());
            Came(static_cast<Input>(input), text);
        }
        ++files;
    }
    EXPECT_GT(files, 0);
}
