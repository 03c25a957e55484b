#include <gmock/gmock.h>

#include "ExplainLogs.h"

using ExplainLogs::InForm;
using ExplainLogs::Log;
using ExplainLogs::Stories;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(Explain, TellsWhatEachLevelTells) {
    struct Case {
        std::string name;
        char level;
        std::vector<std::string> told;
    };
    const std::string noAnswer =
        "failed: no whole answer came (request failed; NXCURL: https://api.cloud.quorlen.example/data/";
    const Case cases[] = {
        {"nobody",
         'I',
         {"failed: nobody was signed in at any of the five checks", "sign in, start the service"}},
        {"nobody",
         'E',
         {"failed: nobody was signed in at any of the five checks", "sign in, start the service"}},
        {"first",
         'I',
         {"success: \n",
          "stored: missing: access token, sign-in document, application token, activation, device records",
          "token: new, since none was stored for this user; the authorisation server gave one",
          "activation: asked for, since none was stored; status 200",
          "app token: asked for, since none was stored",
          "download: of everything, since no mark was stored; status 200; 3 records; next mark 17",
          "list: 1 added, 1 paired with the set, 1 no audio sink", "Kitchen speaker AA:BB:CC:00:00:01: added",
          "Sound bar AA:BB:CC:00:00:02: left out, paired",
          "no audio sink among its services: 0000111e-0000"}},
        {"first", 'W', {"success: \n", "signed in at the first check", "status 200\n", "told at level I"}},
        {"first",
         'E',
         {"success: \n", "after how many checks is told at level W", "token: new, since none was stored"}},
        {"changed",
         'D',
         {"token: stored, still valid for another", "activation: stored, still valid for another",
          "download: of what changed after mark", "Bath radio AA:BB:CC:00:00:03: added",
          "Dining speaker AA:BB:CC:00:00:01: brought up to date",
          ": deleted in the cloud, was not in the list"}},
        {"changed",
         'E',
         {"success: \n", "token: at hand; stored, refreshed or new is told", "download: from a mark that"}},
        {"removed", 'I', {"success: \n", "list: 1 removed,"}},
        {"refresh",
         'I',
         {"success: \n", "token: refreshed, since the access token ran out 11s before", "server gave one"}},
        {"mark",
         'I',
         {"failed: the download was refused (HTTP error); status 400, 4009100: changed_after is too old",
          "the stored records were dropped", "the next run downloads everything"}},
        {"mark", 'E', {"status 400, 4009100: changed_after is too old", "the stored records were dropped"}},
        {"refused",
         'I',
         {"failed: the cloud refused (Fail to activate); status 401, 4010001: access token unknown",
          "token: stored, still valid for another",
          "activation: asked for, since none was stored; status 401"}},
        {"refused",
         'E',
         {"failed: the cloud refused (Fail to activate); status 401\n", "rcode and rmsg, logged at I"}},
        {"grant",
         'I',
         {"failed: the authorisation server gave no token, invalid_grant: code used", "sign out and in"}},
        {"grant",
         'E',
         {"failed: the cloud refused (Fail to activate); status 400\n", "what it holds is told at level I"}},
        {"drop",
         'I',
         {noAnswer, "download: of everything, since no mark was stored; failed", "network, name"}},
        {"drop", 'E', {noAnswer, "app token: asked for; status 200"}},
        {"rejected",
         'E',
         {"unfinished: the sign-in service gave no code; the process waits", "sign out and in again"}},
    };
    for (const auto& [name, level, told] : cases) {
        const auto stories = Stories(Log(name, level));
        ASSERT_EQ(stories.size(), 1U) << name;
        for (const std::string& text : told) {
            EXPECT_THAT(stories[0], HasSubstr(text)) << name << " at " << level;
        }
    }
}

TEST(Explain, TellsWhichRequestGotNoAnswer) {
    const std::string log = std::regex_replace(Log("drop", 'E'), std::regex("E/NXCURL.*\n"), "");
    EXPECT_THAT(Stories(log)[0], HasSubstr("no mark was stored; failed"));
    // Without the line of the application token's status it may have been that request.
    const std::string unlocated = std::regex_replace(log, std::regex(".*KCloudAuthHttp.*\n"), "");
    EXPECT_THAT(Stories(unlocated)[0], HasSubstr("this request or one before it failed"));
}

TEST(Explain, CallsNoRunASuccessThatStoredNothing) {
    const std::string log =
        std::regex_replace(Log("changed", 'E'), std::regex(R"(E/\S+(\(.*\)): main.cpp.*End)"),
                           "E/VCONF   $1: devices: No space left\n$&");
    EXPECT_THAT(Stories(log)[0],
                HasSubstr("failed: something could not be stored or read; VCONF: devices: No space left"));
}

TEST(Explain, ReadsEveryForm) {
    const std::string log = Log("changed") + Log("mark") + Log("grant", 'W');
    const auto wanted = Stories(log);
    ASSERT_EQ(wanted.size(), 3U);
    const std::string forms[] = {
        "@b\r\n",
        "\x1b[31m@b\x1b[0m\n",
        "@t @b\n",
        "@t+0900 @P/@T (P @p, T @p): @m\n",
        "@t  @p  @p @P @T: @m\n",
        "@t+0900 P @p T @p @P @T     : @m\n",
        "[ @t @p: @p @P/@T ]\n@m\n\n",
        "[ @t+0900 @P/@T P @p, T @p ]\n@m\n\n",
        "@s tv bt-infosync[@p]: @b\n",
        "@s tv bt-infosync[@p]: <@n>@b\n",
        "@i+0900 tv bt-infosync[@p]: <@n>@m\n",
        "@i000Z tv bt-infosync[@p]: @b\n",
        "[   12.345678] tv bt-infosync[@p]: @b\n",
        "<@n>@b\n",
        // Others in between, and what viewers put there.
        "--\n@t @b\nE/OTHER(7): main.cpp: main(1) > <<Not Error>>Start main loop\nstray\n",
        "@s tv kernel: usb 1-1: new device\n@s tv bt-infosync[@p]: @b\n\xff\xfe\x01\n",
    };
    for (const std::string& form : forms) {
        EXPECT_EQ(Stories(InForm(log, form)), wanted) << form;
    }
    std::string wide = "\xff\xfe";
    for (const char c : log) {
        wide += {c, '\0'};
    }
    EXPECT_EQ(Stories(wide), wanted) << "UTF-16";
}

TEST(Explain, TellsRunsApart) {
    std::istringstream first(Log("first"));
    std::istringstream second(Log("mark"));
    std::string mixed;
    std::string line;
    while (std::getline(first, line)) {
        mixed += line + "\n";
        mixed += std::getline(second, line) ? line + "\n" : "";
    }
    EXPECT_THAT(Stories(mixed),
                testing::UnorderedElementsAre(Stories(Log("first"))[0], Stories(Log("mark"))[0]));
    // A process that was killed, and one that got its number.
    const std::string log = Log("changed", 'I');
    const auto again = Stories(log.substr(0, log.find("before send")) + "\n" + log);
    EXPECT_THAT(again, ElementsAre(HasSubstr("unfinished: the log ends first"), Stories(log)[0]));
}

TEST(Explain, GivesNoCutLogForASuccess) {
    const std::string log = Log("changed", 'I');
    const std::string end = "<<Not Error>>End main loop";
    for (std::size_t length = 0; length < log.size() - 1; length += 37) {
        for (const std::string& story : Stories(log.substr(0, length))) {
            EXPECT_THAT(story, testing::StartsWith("unfinished")) << length;
        }
    }
    for (std::size_t start = 1; start < log.find("Factory"); start += 37) {
        EXPECT_THAT(Stories(log.substr(start))[0],
                    HasSubstr("start: the log begins in the middle of this run"));
    }
    EXPECT_THAT(Stories(""), IsEmpty());
    EXPECT_THAT(Stories("no log\n\n[ ]\n<3>\n"), IsEmpty());
}
