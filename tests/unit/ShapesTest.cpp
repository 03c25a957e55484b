/**
 * All that comes in from outside, in every shape that it may have but should not, each through a whole run of
 * the service and the good ones after it. What comes of a shape is a letter, and shapes.txt has the letters
 * that must come; Outside.h says what they mean.
 */
#include <json/json.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "Expected.h"
#include "Outside.h"
#include "Rows.h"

using namespace Outside;

namespace {

char Came(Input input, const std::string& text, long status = 200, bool whole = true) {
    const Outcome outcome = Try(input, text, status, whole);
    EXPECT_EQ(outcome.wrong, "") << Name(input) << ", status " << status << ":\n" << text.substr(0, 500);
    return static_cast<char>(outcome.verdict);
}

/** One line of the table: the letters of the texts, each as this input. */
template <typename Texts>
std::string Row(Input input, const std::string& what, const Texts& texts) {
    std::string letters;
    for (const auto& text : texts) {
        letters += Came(input, text);
    }
    return Name(input) + ", " + what + ": " + letters + "\n";
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

/** The paths of all members below. */
void AddPaths(const Json::Value& value, const std::string& above, std::vector<std::string>* paths) {
    for (auto member = value.begin(); member != value.end(); ++member) {
        const bool isElement = value.isArray();
        const std::string path =
            isElement ? above + "[" + std::to_string(member.index()) + "]" : above + "." + member.name();
        if (!isElement) {
            paths->push_back(path.substr(1));
        }
        AddPaths(*member, path, paths);
    }
}

/** Each member of the input out, twice and of each wrong type. */
std::string RowsOfMembers(Input input) {
    const char* values[] = {"",      "twice", "null", "true", "-1",        "1e300", "18446744073709551615",
                            "\"x\"", "[]",    "{}",   "[[]]", "{\"a\":{}}"};
    Json::Value good;
    std::istringstream(Good(input)) >> good;
    good.removeMember("user-0");
    std::vector<std::string> paths;
    AddPaths(good, "", &paths);
    std::string rows;
    for (const std::string& path : paths) {
        std::vector<std::string> texts;
        std::transform(std::begin(values), std::end(values), std::back_inserter(texts),
                       [&](const char* value) { return With(input, path, value); });
        rows += Row(input, path, texts);
    }
    return rows;
}

/** The good answer with each status; then one that breaks off. */
std::string RowOfStatuses(Input input) {
    std::string letters;
    for (const long status : {0, 204, 301, 400, 401, 403, 404, 429, 500, 503, 4000, 4001}) {
        letters += Came(input, Good(input), status);
    }
    return Name(input) + ", statuses: " + letters + Came(input, Good(input), 200, false) + "\n";
}

/** The different letters of the good text cut at each byte. */
std::string RowOfCuts(Input input) {
    std::set<char> letters;
    for (std::size_t length = 1; length < Good(input).size(); ++length) {
        letters.insert(Came(input, Good(input).substr(0, length)));
    }
    return Name(input) + ", cut anywhere: " + std::string(letters.begin(), letters.end()) + "\n";
}

/** The table's texts, and those that no table can have. */
std::vector<std::string> Texts(const char* table, std::vector<std::string> texts) {
    for (auto& [text] : Rows<1>("tables.txt", table)) {
        texts.push_back(text);
    }
    return texts;
}

}  // namespace

TEST(ShapesTest, EachShapeOfWhatComesIn) {
    std::string levels;
    for (int i = 0; i < 1000; ++i) {
        levels += "<a>";
    }
    const auto documents = Texts("a sign-in document", {R"(<rsp stat="ok">)" + levels + "</rsp>"});
    const auto bodies =
        Texts("an odd body", {"",
                              {"\0{}", 3},
                              {"{}\0", 3},
                              std::string(100000, '['),
                              "{\"a\":" + std::string(991, '[') + std::string(991, ']') + "}"});
    std::string table;
    for (int i = 0; i < INPUT_COUNT; ++i) {
        const auto input = static_cast<Input>(i);
        const bool isDocument = input == SIGN_IN_DOCUMENT || input == STORED_CODE;
        table += Row(input, "good", std::vector{Good(input)});
        table += isDocument ? Row(input, "documents", documents) : RowsOfMembers(input);
        table += Row(input, "odd bodies", bodies);
        table += input <= RECORDS_ANSWER ? RowOfStatuses(input) : "";
        table += input == STORED_CODE ? "" : RowOfCuts(input);
    }
    ExpectFile("shapes.txt", table);
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
