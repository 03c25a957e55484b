/**
 * Feeds bytes to the service as one of the things that come in from outside, through a whole run of it.
 * Whatever they are: the run ends, its last line is logged, what is stored stays readable, and two good runs
 * later at the latest the device of the good answers is listed.
 *
 * FUZZ_TARGET, given by the build, says what the bytes are.
 */
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "FakePlatform.h"
#include "Util/JsonUtil.h"

int InfoSyncMain();

namespace {

constexpr int TARGET = FUZZ_TARGET;

enum Target {
    TOKEN_ANSWER,
    ACTIVATION_ANSWER,
    APP_TOKEN_ANSWER,
    RECORDS_ANSWER,
    REFUSAL,
    SIGN_IN_DOCUMENT,
    STORED_TOKEN,
    STORED_CODE,
    STORED_RECORDS,
    STORED_JWT,
    STORED_ACTIVATION,
    DEVICE_LIST,
};

constexpr int REQUESTS = 4;

/** Good as the answer to each request, so that it does not matter which ones a run needs. */
constexpr char GOOD_ANSWER[] =
    R"({"rcode":0,"dvcId":"d","expireTime":9999999999999,"accessToken":"j","tokenExpireTimeSec":9999999999,)"
    R"("rsp":{"result":{"access_token":"a","refresh_token":"r","access_token_expires_in":100,)"
    R"("refresh_token_expires_in":1000,"userId":"u"}},"meta":{"synced_timestamp":5},)"
    R"("records":[{"record_id":"good","name":"n","address":"AA","uuids":"0000110b-0000-1000-8000-00805f9b34fb"}]})";

constexpr char GOOD_DOCUMENT[] =
    R"(<rsp stat="ok"><auth_code>c</auth_code><code_verifier>v</code_verifier>)"
    R"(<kap_auth_domain>d</kap_auth_domain><kap_api_domain>e</kap_api_domain></rsp>)";

void Require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "not so: %s\n", what);
        for (const auto& entry : Fake::Log()) {
            std::fprintf(stderr, "%d %s\n", entry.priority, entry.message.c_str());
        }
        std::abort();
    }
}

void RequireReadable(const std::string& alias) {
    const auto& records = Fake::Tv().records;
    const auto record = records.find(alias);
    if (record != records.end() && record->second) {
        InfoSyncUtil::ParseStoredObject(*record->second);
    }
}

void Run() {
    Require(InfoSyncMain() == 0, "the exit status is 0");
    Require(!Fake::Log().empty() && Fake::Log().back().message == "<<Not Error>>End main loop",
            "the last line");
    Require(!Fake::LoopWasLeftWaiting(), "the run ends by itself");
}

/** A run in which nothing is wrong but what earlier runs left. */
void GoodRun() {
    const Fake::Television television = Fake::Tv();
    Fake::Reset(Fake::Keep::ERRORS);
    Fake::Tv() = television;
    Fake::Tv().authCodeAnswer->document = GOOD_DOCUMENT;
    for (int i = 0; i < REQUESTS; ++i) {
        Fake::Answer(GOOD_ANSWER);
    }
    Run();
}

bool GoodDeviceIsListed() {
    return Fake::Tv().textSettings[Fake::DEVICES_KEY].find("\"good\"") != std::string::npos;
}

void Store(const std::string& input) {
    static const std::map<int, std::string> ALIASES = {{STORED_TOKEN, "InfoSyncAccessToken"},
                                                       {STORED_CODE, "InfoSyncAuthCode"},
                                                       {STORED_RECORDS, "InfoSyncRecords"},
                                                       {STORED_JWT, "InfoSyncJWT"},
                                                       {STORED_ACTIVATION, "InfoSyncServiceActivationInfo"}};
    Fake::Tv().records["InfoSyncAuthCode"] = GOOD_DOCUMENT;
    Fake::Tv().records[ALIASES.at(TARGET)] = input;
}

void FirstRun(const std::string& input) {
    Fake::Tv().authCodeAnswer.emplace();
    Fake::Tv().authCodeAnswer->document = TARGET == SIGN_IN_DOCUMENT ? input : GOOD_DOCUMENT;
    if (TARGET >= STORED_TOKEN && TARGET <= STORED_ACTIVATION) {
        Store(input);
    } else if (TARGET == DEVICE_LIST) {
        Fake::Tv().textSettings[Fake::DEVICES_KEY] = input.substr(0, input.find('\0'));
    }
    for (int i = 0; i < REQUESTS; ++i) {
        if (i == TARGET) {
            Fake::Answer(input);
        } else if (i == RECORDS_ANSWER && TARGET == REFUSAL) {
            Fake::Answer(input, 400);
        } else {
            Fake::Answer(GOOD_ANSWER);
        }
    }
    Run();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fake::Reset(Fake::Keep::ERRORS);
    FirstRun(std::string(reinterpret_cast<const char*>(data), size));
    GoodRun();
    for (const char* alias :
         {"InfoSyncAccessToken", "InfoSyncRecords", "InfoSyncJWT", "InfoSyncServiceActivationInfo"}) {
        RequireReadable(alias);
    }
    if (!GoodDeviceIsListed()) {
        GoodRun();
        // A device list that is not JSON is the one thing that a run must leave alone.
        Require(TARGET == DEVICE_LIST || GoodDeviceIsListed(), "the device is listed");
    }
    return 0;
}
