#include <gmock/gmock.h>

#include "Television/IniFile.h"

namespace {

/** The problems as "LINE WORDS". */
std::vector<std::string> Problems(const std::string& content) {
    std::vector<std::string> problems;
    for (const auto& [line, words] : Television::CheckIni(content)) {
        problems.push_back(std::to_string(line) + " " + words);
    }
    return problems;
}

}  // namespace

TEST(IniCheck, TellsTheLineOfWhatTheTelevisionWouldNotUnderstand) {
    const std::pair<std::string, std::string> cases[] = {
        {"[sytem]\nmodel=x\n", "1 [sytem]: no such group; nearest: system"},
        {"# c\n\n[http]\ngatesite=https://a.example\n", "4 [http] gatesite: no such key; nearest: gate_site"},
        {"[http]\n gate_site = http://a.example\n",
         "2 [http] gate_site: “http://a.example” is not an https origin"},
        {"[http]\ngate_site=https://a.example/path\n", "2 [http] gate_site: “https://a.example/path” is not"},
        {"[http]\nca_file=/nowhere/ca.pem\n", "2 [http] ca_file: /nowhere/ca.pem: No such file"},
        {"[sso]\nauth_code=/\n", "2 [sso] auth_code: /: Is a directory"},
        {"[log]\nfile=/nowhere/log\n", "2 [log] file: “/nowhere/log” is no file in a folder that is there"},
        {"[http]\nconnect_to=::127.0.0.1:1;a:b:c:d\n", "2 [http] connect_to: \"a:b:c:d\" is no route"},
        {"[http]\nconnect_to=a.example:443:127.0.0.1\n", "is no route"},
        {"[http]\nconnect_to=::127.0.0.1:65536\n", "is no route"},
        {"[bluetooth]\nbonded=AA:BB:CC:00:11:22;AA:BB:CC:00:11\n",
         "2 [bluetooth] bonded: \"AA:BB:CC:00:11\" is no"},
        {"[bluetooth]\nknown=AA-BB-CC-00-11-22\n", "2 [bluetooth] known: \"AA-BB-CC-00-11-22\" is no"},
        {"[bluetooth]\nsource=other\n", "2 [bluetooth] source: “other” is none of: lists bluez"},
        {"[http]\nmax_seconds=0\n", "2 [http] max_seconds: 0 is not from 1"},
        {"[sso]\nstate=yes\n", "2 [sso] state: "},
        {"model=x\n", "1 “model=x” is no comment"},
        {"[sso]\nstate\n", "2 “state” is no comment"},
        {"[sso\n", "1 “[sso” is no comment"},
        {"[log]\nlevel=I\n[sso]\n[log]\nlevel=W\n", "5 [log] level: is in line 2 already"},
        {"[sso]\nlogin_id=\xff\n", "2 [sso] login_id: "},
    };
    for (const auto& [content, problem] : cases) {
        EXPECT_THAT(Problems(content), testing::ElementsAre(testing::HasSubstr(problem))) << content;
    }
}

TEST(IniCheck, TakesWhatATelevisionUnderstands) {
    EXPECT_THAT(
        Problems("# a comment\n\n[system]\nmodel=\ntizen_id=a b\n[sso]\nstate=-1\nlogin_id=\\s\n"
                 "[bluetooth]\nbonded=\nknown=aa:bb:cc:00:11:22 ;AA:BB:CC:00:11:33;\nsource=bluez\n"
                 "[http]\ngate_site=HTTPS://a.example:443/\nca_file=/dev/../etc/passwd\nmax_seconds=1\n"
                 "connect_to=::127.0.0.1:8443;a.example:443:[::1]:8443;:::\n[log]\nlevel=V\nfile=log\n"),
        testing::IsEmpty());
}
