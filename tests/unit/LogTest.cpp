#include "ServiceTest.h"
#include "Util/CInfoSyncException.h"
#include "Util/Log.h"

using ::testing::ElementsAre;

using LogTest = ServiceTest;

TEST_F(LogTest, ExitIsLoggedWhenTheOperationThrows) {
    const auto operation = [] {
        ApiTracker tracker("void Traced::Operation(int)", 42);
        throw CInfoSyncException("thrown");
    };
    EXPECT_EQ(Failure(operation), "thrown");

    EXPECT_THAT(Fake::Logged(DLOG_DEBUG), ElementsAre("IN >> [void Traced::Operation(int)(42)]",
                                                      "OUT << [void Traced::Operation(int)(42)]"));
    // The entries name the tracker itself; only the brackets name what is traced.
    EXPECT_EQ(Fake::Log()[0].file, "Log.h");
    EXPECT_EQ(Fake::Log()[0].function, "ApiTracker");
    EXPECT_EQ(Fake::Log()[1].function, "~ApiTracker");
}

TEST_F(LogTest, LambdaAndPathShowAsTheCompilerNamesThem) {
    const auto logging = [] { INFOSYNC_LOG(DLOG_WARN, "%s %d %d %s", "a", 1, 2, "b"); };
    logging();
    ASSERT_EQ(Fake::Log().size(), 1U);
    EXPECT_EQ(Fake::Log()[0].file, "LogTest.cpp");
    EXPECT_EQ(Fake::Log()[0].function, "operator()");
    EXPECT_EQ(Fake::Log()[0].message, "a 1 2 b");
    EXPECT_STREQ(InfoSyncLog::BaseName("no-folder.cpp"), "no-folder.cpp");
}

TEST_F(LogTest, ExceptionsCarryTheirTextAndCode) {
    const CInfoSyncTokenNotExistException notExist;
    EXPECT_STREQ(notExist.what(), "token does not exist. Need to issue newly");
    EXPECT_EQ(notExist.GetCode(), 2);
    const CInfoSyncTokenExpiredException expired;
    EXPECT_STREQ(expired.what(), "Token expired. need to refresh token");
    EXPECT_EQ(expired.GetCode(), 1);
    const CInfoSyncHttpException http("body", 409);
    EXPECT_STREQ(http.what(), "HTTP error");
    EXPECT_EQ(http.GetCode(), 4);
    EXPECT_EQ(http.GetResponse(), "body");
    EXPECT_EQ(http.GetStatus(), 409);
}
