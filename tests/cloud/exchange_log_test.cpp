#include <sys/resource.h>

#include <algorithm>
#include <csignal>

#include "Cloud/State/Exchanges.h"
#include "Files.h"
#include "cloud_folder.h"

namespace LocalCloud {
namespace {

Exchange Asked(const std::string& target, const std::string& body) {
    Exchange exchange;
    exchange.method = "POST";
    exchange.target = target;
    exchange.status = 200;
    exchange.request = "POST " + target + " HTTP/1.1\r\nHost: h\r\nX: y\r\n\r\n" + body;
    exchange.answer = "HTTP/1.1 200 OK\r\n\r\nyes";
    return exchange;
}

TEST(ExchangeLog, KeepsTheLastThousandInOrder) {
    ExchangeLog log(nullptr);
    EXPECT_TRUE(log.After(0).empty());
    for (int i = 1; i <= 1003; ++i) {
        log.Add(Asked("/" + std::to_string(i), ""));
    }
    const Json::Value all = log.After(0);
    EXPECT_EQ(all.size(), 1000U);
    EXPECT_EQ(all[0]["path"], "/4");
    EXPECT_EQ(all[0]["number"], 4);
    EXPECT_EQ(log.After(1002).size(), 1U);
    EXPECT_EQ(log.After(1002)[0]["path"], "/1003");
    EXPECT_TRUE(log.After(1003).empty());
    EXPECT_TRUE(log.After(9999).empty());
    EXPECT_EQ(log.After(-1).size(), 1000U);
}

TEST(ExchangeLog, TakesMessagesApartAndShortensLongBodies) {
    ExchangeLog log(nullptr);
    log.Add(Asked("/", std::string(ExchangeLog::LONGEST_BODY + 1, 'a')));
    const Json::Value entry = log.After(0)[0];
    EXPECT_EQ(entry["request"]["headers"][1], "X: y");
    EXPECT_EQ(entry["request"]["headers"].size(), 2U);
    EXPECT_EQ(entry["request"]["body"].asString().size(), ExchangeLog::LONGEST_BODY);
    EXPECT_EQ(entry["request"]["body_bytes"].asUInt64(), ExchangeLog::LONGEST_BODY + 1);
    EXPECT_EQ(entry["response"]["body"], "yes");
    EXPECT_FALSE(entry["response"].isMember("body_bytes"));
}

/** Until it is destroyed, no file may grow beyond so many bytes. */
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) {
        static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit = {bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit m_before = {};
};

TEST(Recorder, SaysOnceThatThereIsNoRoomAndGoesOnWhenThereIs) {
    const TemporaryFolder folder;
    const std::string path = folder.Path() + "/record";
    Console console(true);
    Recorder recorder(path, console);
    const std::string first(5000, 'f');
    recorder.Append(first);
    testing::internal::CaptureStderr();
    {
        const FullDisk full(first.size() + 3);
        recorder.Append("second");
        recorder.Append("third");
    }
    recorder.Append("fourth");
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(Files::Read(path), first + "\nfourth\n");
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 2) << said;
    EXPECT_NE(said.find("missing there: 2"), std::string::npos) << said;
}

}  // namespace
}  // namespace LocalCloud
