#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>

#include "Cloud/State/Exchanges.h"
#include "cloud_folder.h"

namespace LocalCloud {
namespace {

class ExchangesTest : public CloudTest {
protected:
    static void Add(ExchangeLog& log, const std::string& target, const std::string& body = "") {
        Json::Value exchange;
        log.Add(exchange, "POST " + target + " HTTP/1.1\r\nHost: h\r\nX: y\r\n\r\n" + body,
                "HTTP/1.1 200 OK\r\n\r\nyes");
    }

    /** The numbers of those after the given one, in words. */
    std::string Numbers(std::int64_t after) {
        std::string numbers;
        for (const Json::Value& exchange : ReadExchanges(folder, after)) {
            numbers += exchange["number"].asString() + exchange["path"].asString() + " ";
        }
        return numbers;
    }

    const std::string path = folder.StateFile("exchanges.jsonl");
};

TEST_F(ExchangesTest, AreNumberedOnByTheNextServerAlsoAfterDamagedLines) {
    EXPECT_EQ(Numbers(0), "");
    ExchangeLog first(folder);
    Add(first, "/a");
    Add(first, "/b");
    Files::Replace(path, Files::Read(path) + R"({"number":3,"pa)");
    EXPECT_EQ(Numbers(0), "1/a 2/b ");
    ExchangeLog second(folder);
    Add(second, "/c");
    EXPECT_EQ(Numbers(0), "1/a 2/b 3/c ");
    EXPECT_EQ(Numbers(2), "3/c ");
    EXPECT_EQ(Numbers(3), "");
    Files::Replace(path, "what?\n\n" + Files::Read(path) + "[]\n\xff\n");
    ExchangeLog third(folder);
    Add(third, "/d");
    EXPECT_EQ(Numbers(0), "1/a 2/b 3/c 4/d ");
    struct stat status = {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(ExchangesTest, AreTakenApartAndLongBodiesShortened) {
    ExchangeLog log(folder);
    Add(log, "/", std::string(LONGEST_KEPT_BODY + 1, 'a'));
    const Json::Value entry = ReadExchanges(folder, 0).at(0);
    EXPECT_EQ(entry["request"]["headers"][1], "X: y");
    EXPECT_EQ(entry["request"]["headers"].size(), 2U);
    EXPECT_EQ(entry["request"]["body"].asString().size(), LONGEST_KEPT_BODY);
    EXPECT_EQ(entry["request"]["body_bytes"].asUInt64(), LONGEST_KEPT_BODY + 1);
    EXPECT_EQ(entry["response"]["body"], "yes");
    EXPECT_FALSE(entry["response"].isMember("body_bytes"));
}

TEST_F(ExchangesTest, OldOnesMakeWayAndTheFileStaysBounded) {
    ExchangeLog log(folder);
    const int many = static_cast<int>(ExchangeLog::MOST_BYTES / LONGEST_KEPT_BODY) + 10;
    for (int i = 0; i < many; ++i) {
        Add(log, "/", std::string(LONGEST_KEPT_BODY, 'a'));
        EXPECT_LE(std::filesystem::file_size(path), ExchangeLog::MOST_BYTES);
    }
    const auto kept = ReadExchanges(folder, 0);
    EXPECT_GT(kept.front()["number"], 10);
    EXPECT_EQ(kept.back()["number"], many);
    EXPECT_EQ(kept.back()["number"].asInt() - kept.front()["number"].asInt() + 1,
              static_cast<int>(kept.size()));
}

TEST_F(ExchangesTest, FullDiskIsToldAndLeavesTheFileWhole) {
    ExchangeLog log(folder);
    Add(log, "/a");
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    rlimit before = {};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit full = {std::filesystem::file_size(path) + 3, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &full);
    EXPECT_THROW(Add(log, "/b"), std::runtime_error);
    EXPECT_THROW(Add(log, "/c"), std::runtime_error);
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(Numbers(0), "1/a ");
    Add(log, "/d");
    EXPECT_EQ(Numbers(0), "1/a 4/d ");
}

}  // namespace
}  // namespace LocalCloud
