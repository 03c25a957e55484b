#include <gmock/gmock.h>
#include <json/json.h>
#include <sys/resource.h>

#include <algorithm>
#include <set>

#include "ExplainLogs.h"
#include "Television/Explain/KnownLines.h"
#include "Television/Explain/Page.h"
#include "Util/JsonUtil.h"

using ExplainLogs::ExplainLog;
using ExplainLogs::InForm;
using ExplainLogs::Log;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

std::string Replaced(std::string text, const std::string& what, const std::string& with) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size())) {
        text.replace(at, what.size(), with);
    }
    return text;
}

long PeakMegabytes() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

}  // namespace

TEST(Explain, ShowsNoSecret) {
    const std::string log = Log("first");
    static const std::regex secret(R"((at|rt|lc1)\.[-\w.]{20,}|eyJ[-\w.]{20,}|code_verifier>[^<]{20,})");
    std::set<std::string> secrets;
    for (std::sregex_iterator at(log.begin(), log.end(), secret); at != std::sregex_iterator(); ++at) {
        secrets.insert(at->str().substr(at->str().find('>') + 1));
    }
    ASSERT_EQ(secrets.size(), 5U);
    Explain::Page page("x");
    std::string shown;
    for (const Explain::Run& run : ExplainLog(log).runs) {
        page.Add(run);
        shown += InfoSyncUtil::WriteJson(Explain::StoryJson(run));
    }
    for (const std::string& hidden : secrets) {
        EXPECT_THAT(shown + page.Code(), Not(HasSubstr(hidden)));
    }
}

TEST(Explain, ReadsMuchInLittleMemory) {
    constexpr std::size_t MEGABYTE = 1U << 20U;
    constexpr std::size_t ROUNDS = 20;  // of a megabyte of lines, then of one line's
    constexpr long MOST_MEGABYTES = 12;
    const std::string log = Log("changed");
    const std::string record = "I/BT_INFOSYNC(29999): CDeviceInfo.cpp: UpdateDeviceList(1) > record_id : ";
    std::size_t runs = 0;
    std::size_t listed = 0;
    const auto onRun = [&](const Explain::Run& run) {
        ++runs;
        listed = std::max(listed, run.listings.count(Explain::Listing::UNKNOWN) > 0
                                      ? run.listings.at(Explain::Listing::UNKNOWN)
                                      : 0);
    };
    Explain::Explainer explainer(onRun, [](const Explain::LogLine&) {});
    const long before = PeakMegabytes();
    std::string others;
    while (others.size() < MEGABYTE) {
        others += "11-25 21:46:11.123  4711  4712 I OTHER   : " + std::to_string(others.size()) +
                  " of something else\n";
    }
    for (std::size_t i = 0; i < ROUNDS; ++i) {
        explainer.Feed(others);
        explainer.Feed(Replaced(log, "): ", std::to_string(i) + "): "));
        for (int j = 0; j < 1000; ++j) {
            explainer.Feed(record + std::to_string(j) + "\n");
        }
    }
    for (std::size_t i = 0; i < ROUNDS; ++i) {
        explainer.Feed(std::string(MEGABYTE, 'x'));
    }
    explainer.Finish();
    EXPECT_EQ(runs, ROUNDS + 1);
    EXPECT_EQ(listed, ROUNDS * 1000);
#ifndef __SANITIZE_ADDRESS__  // which keeps what was freed for a while
    EXPECT_LT(PeakMegabytes() - before, MOST_MEGABYTES);
#else
    static_cast<void>(before + MOST_MEGABYTES);
#endif
}

TEST(Explain, TracesWholeCalls) {
    const std::string log = InForm(Log("changed"), "@t @b\n");
    for (const std::size_t cut : {std::size_t{0}, std::size_t{2000}, std::size_t{9000}}) {
        const Json::Value trace = InfoSyncUtil::ParseJson(ExplainLog(log.substr(cut)).trace);
        std::vector<std::string> open;
        std::int64_t last = 0;
        for (const Json::Value& event : trace["traceEvents"]) {
            EXPECT_GT(event["ts"].asInt64(), last);
            last = event["ts"].asInt64();
            if (event["ph"] == "B") {
                open.push_back(event["args"]["call"].asString());
            } else {
                ASSERT_FALSE(open.empty());
                EXPECT_EQ(event["args"]["call"].asString(), open.back());
                open.pop_back();
            }
        }
        EXPECT_THAT(open, IsEmpty());
        EXPECT_GT(trace["traceEvents"].size(), 50U) << cut;
        EXPECT_EQ(trace["traceEvents"][0]["name"].asString().substr(0, 1), "C");
    }
    EXPECT_THAT(InfoSyncUtil::ParseJson(ExplainLog(Log("first")).trace)["traceEvents"], testing::SizeIs(0));
}

TEST(KnownLines, TheDocumentHasEveryLineOfTheService) {
    static const std::regex text(R"re((?:DLOG_(?:WARN|ERROR),|Exception\()\s*"([^"%]+))re");
    std::size_t count = 0;
    for (const auto& file : std::filesystem::recursive_directory_iterator(EXPLAIN_SERVICE)) {
        const std::string source = file.is_regular_file() ? ExplainLogs::ReadFile(file.path()) : "";
        for (std::sregex_iterator at(source.begin(), source.end(), text); at != std::sregex_iterator();
             ++at) {
            const std::string message = (*at)[1];
            ++count;
            EXPECT_TRUE(message == "exception : " || message == "Exception : " ||
                        Explain::FindKnownLine(message) != nullptr)
                << file.path() << ": " << message;
        }
    }
    EXPECT_GT(count, 50U);
}
