/**
 * Whole processes, compared line by line with what they are known to do: every log entry and every call of
 * the platform, in one order.
 */
#include <algorithm>
#include <functional>

#include "Expected.h"
#include "Outside.h"
#include "ServiceTest.h"

/** The service's main, under the name that it has in this program. */
int InfoSyncMain();

using namespace Outside;

namespace {

constexpr char RECORDS[] =
    R"({"meta":{"synced_timestamp":7},"records":[)"
    R"({"record_id":"b","name":"Bar","address":"BB","uuids":"0000110b-0000-1000-8000-00805f9b34fb"},)"
    R"({"record_id":"a","name":"Pod","address":"AA","uuids":"x,0000110b-0000-1000-8000-00805f9b34fb"},)"
    R"({"record_id":"c","name":"Mic","address":"CC","uuids":"0000111e-0000-1000-8000-00805f9b34fb"},)"
    R"({"record_id":"d"}]})";
constexpr char NOTHING_NEW[] = R"({"meta":{"synced_timestamp":8},"records":[]})";
constexpr char CHANGES[] =
    R"({"meta":{"synced_timestamp":9},"records":[{"record_id":"b"},{"record_id":"e","name":"New",)"
    R"("address":null,"uuids":"0000110b-0000-1000-8000-00805f9b34fb"},{"record_id":"d","name":"Old",)"
    R"("address":"DD","uuids":"0000110b-0000-1000-8000-00805f9b34fb"}]})";

constexpr char ONE_MALFORMED[] =
    R"({"meta":{"synced_timestamp":9},"records":[{"record_id":"b"},{"record_id":"e","name":{},)"
    R"("address":"EE","uuids":"0000110b-0000-1000-8000-00805f9b34fb"}]})";

std::string OfUser(const std::string& entry) {
    return R"({"user-1":)" + entry + "}";
}

/** A set that has synchronised before, whose token is valid and that the cloud has nothing new for. */
void SynchronisedBefore() {
    Fake::Tv().records = {{"InfoSyncAccessToken", OfUser(TokenEntry(200, 300))},
                          {"InfoSyncAuthCode", Good(SIGN_IN_DOCUMENT)},
                          {"InfoSyncServiceActivationInfo", OfUser(Good(ACTIVATION_ANSWER))},
                          {"InfoSyncJWT", OfUser(Good(APP_TOKEN_ANSWER))},
                          {"InfoSyncRecords", OfUser(RECORDS)}};
    Fake::Tv().textSettings[Fake::DEVICES_KEY] =
        R"({"b":{"address":"BB","deleted_on_tv":false,"name":"Bar","users":["user-1"]},)"
        R"("d":{"address":"DD","deleted_on_tv":true,"name":"Older","users":["user-0"]}})";
}

struct Run {
    std::string name;
    std::vector<Fake::HttpAnswer> answers;
    /** What differs from a set that has synchronised before. */
    std::function<void(Fake::Television& tv)> change = [](Fake::Television& /*tv*/) {};
};

void PrintTo(const Run& run, std::ostream* out) {
    *out << run.name;
}

const Run RUNS[] = {
    {"first",
     {{{Good(TOKEN_ANSWER)}}, {{Good(ACTIVATION_ANSWER)}}, {{Good(APP_TOKEN_ANSWER)}}, {{RECORDS}}},
     [](auto& tv) {
         tv = {};
         tv.authCodeAnswer = {SSO_TRUE, Good(SIGN_IN_DOCUMENT)};
         tv.bonds = {{"AA", true}};
         tv.resultToIgnore = -1;
     }},
    {"later",
     {{{CHANGES}}},
     [](auto& tv) {
         tv.bonds = {{"DD", false}};
         tv.resultToIgnore = -1;
     }},
    {"refresh",
     {{{Good(TOKEN_ANSWER)}}, {{NOTHING_NEW}}},
     [](auto& tv) { tv.records["InfoSyncAccessToken"] = OfUser(TokenEntry(99, 300)); }},
    {"refused-refresh",
     {{{"{}"}, 4001}},
     [](auto& tv) { tv.records["InfoSyncAccessToken"] = OfUser(TokenEntry(99, 300)); }},
    {"refresh-token-run-out",
     {},
     [](auto& tv) {
         tv.records["InfoSyncAccessToken"] = OfUser(TokenEntry(99, 99));
         tv.authCodeAnswer = {7, Good(SIGN_IN_DOCUMENT)};
     }},
    {"refused-mark", {{{R"({"rcode":4009100,"rmsg":"too old"})"}, 409}}},
    {"sign-in-on-third-check",
     {{{NOTHING_NEW}}},
     [](auto& tv) {
         tv.signInStates = {0, 2, 1};
     }},
    {"factory-reset",
     {},
     [](auto& tv) {
         tv.signInStates = {0};
         tv.intSettings[Fake::RESET_KEY] = 1;
         tv.resultToIgnore = -1;
         Fake::FailCall("vconf_set_int");
         Fake::FailCall("vconf_set_str");
         Fake::FailCall("ckmc_remove_alias", 2);
     }},
    {"damaged-store",
     {{{Good(ACTIVATION_ANSWER)}}, {{CHANGES}}},
     [](auto& tv) {
         tv.records["InfoSyncServiceActivationInfo"] = "{";
         tv.textSettings[Fake::DEVICES_KEY] = "[]";
     }},
    {"failing-save",
     {{{Good(APP_TOKEN_ANSWER)}}, {{ONE_MALFORMED}}},
     [](auto& tv) {
         tv.records["InfoSyncJWT"] = OfUser(R"({"accessToken":"old","tokenExpireTimeSec":1000})");
         tv.records["InfoSyncRecords"] = OfUser(R"({"meta":{"synced_timestamp":"7"},"records":[]})");
         Fake::FailCall("ckmc_save_data", 2);
     }},
    {"vanishing-user",
     {},
     [](auto& tv) {
         tv.signInStates = {0, 1};
         tv.loginId.reset();
         Fake::FailCall("bt_deinitialize");
     }},
    {"code-without-verifier",
     {},
     [](auto& tv) {
         tv.records.erase("InfoSyncAccessToken");
         tv.authCodeAnswer = {SSO_TRUE, R"(<rsp stat="ok"><auth_code>code</auth_code>)"
                                        R"(<kap_auth_domain>auth.example</kap_auth_domain></rsp>)"};
     }},
    {"download-of-no-object", {{{"[]"}}}},
    {"list-of-no-json", {{{NOTHING_NEW}}}, [](auto& tv) { tv.textSettings[Fake::DEVICES_KEY] = "{"; }},
    {"refused-mark-and-list-of-no-json",
     {{{R"({"rcode":4009100,"rmsg":"too old"})"}, 409}},
     [](auto& tv) { tv.textSettings[Fake::DEVICES_KEY] = "{"; }},
    {"token-of-another-kind",
     {{{R"({"rsp":{"result":7}})"}}},
     [](auto& tv) { tv.records["InfoSyncAccessToken"] = OfUser(TokenEntry(99, 300)); }},
    {"refusal-without-code", {{{R"({"rcode":"none"})"}, 500}}},
    {"damaged-code",
     {},
     [](auto& tv) {
         tv = {};
         tv.authCodeAnswer = {SSO_TRUE, "<rsp"};
     }},
};

class TranscriptTest : public ServiceTest, public ::testing::WithParamInterface<Run> {};

}  // namespace

TEST_P(TranscriptTest, EveryLineAndCallIsInItsPlace) {
    SynchronisedBefore();
    GetParam().change(Fake::Tv());
    for (const Fake::HttpAnswer& answer : GetParam().answers) {
        Fake::Answer(answer);
    }
    EXPECT_EQ(InfoSyncMain(), 0);
    ExpectFile("transcripts/" + GetParam().name + ".txt", Fake::Transcript());
}

INSTANTIATE_TEST_SUITE_P(Process, TranscriptTest, ::testing::ValuesIn(RUNS),
                         [](const ::testing::TestParamInfo<Run>& run) {
                             std::string name = run.param.name;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });
