#include <algorithm>
#include <iterator>
#include <utility>

#include "Television/Explain/Pattern.h"
#include "Television/Explain/RunReader.h"

namespace Explain {

namespace {

using Text = std::string_view;

std::int64_t NumberAfter(Text text, Text name) {
    const std::size_t found = text.find(name);
    return found == Text::npos ? 0 : Number(text.substr(found + name.size()));
}

}  // namespace

const RunReader::Rule* RunReader::FindRule(const LogLine& line) {
    constexpr std::int64_t MS_PER_SECOND = 1000;
    const auto status = [](RunReader& r, Text rest) { r.TakeStatus(rest); };
    static const Rule rules[] = {
        {"Log.h", "", "IN >> [bool CSsoManager::IsLoggedIn(", Step::SIGN_IN},
        {"Log.h", "", "IN >> [void CAccessTokenManager::Init(", Step::STORED},
        {"Log.h", "", "IN >> [void CBtInfoSync::GetAccessToken(", Step::TOKEN},
        {"Log.h", "", "IN >> [void CAccessTokenManager::OnAuthCodeIssued(", Step::CODE},
        {"Log.h", "", "IN >> [void CAccessTokenManager::IssueAccessToken(", Step::ASK_TOKEN},
        {"Log.h", "", "IN >> [void CAccessTokenManager::RefreshAccessToken(", Step::ASK_TOKEN},
        {"Log.h", "", "IN >> [void CCloudServerManager::ActivateCloudServer(", Step::ASK_ACTIVATION},
        {"Log.h", "", "IN >> [void CCloudServerManager::IssueJWT(", Step::ASK_APP_TOKEN},
        {"Log.h", "", "IN >> [void CCloudServerManager::DownSyncBtInfoFromCloud(", Step::ASK_RECORDS},
        {"Log.h", "", "IN >> [void CDeviceInfo::ImportData(", Step::LIST},
        {"Log.h", "", "IN >> [void CBtInfoSync::Stop(", Step::END},
        {"main.cpp", "", "<<Not Error>>Start main loop", Step::START,
         [](RunReader& r, Text) { r.m_run.sawStart = true; }},
        {"main.cpp", "", "<<Not Error>>End main loop", Step::END,
         [](RunReader& r, Text) { r.m_run.sawEnd = true; }},
        {"CBtInfoSync.cpp", "", "<<Not Error>> Reset all datas", Step::START,
         [](RunReader& r, Text) { r.m_run.wasReset = true; }},
        {"CBtInfoSync.cpp", "", "Not logged in, try : ", Step::SIGN_IN,
         [](RunReader& r, Text rest) { r.m_run.failedChecks = static_cast<int>(Number(rest)); }},
        {"CBtInfoSync.cpp", "", "Exit process", Step::SIGN_IN},
        {"CAccessTokenManager.cpp", "Init", "Fail to parse", Step::STORED,
         [](RunReader& r, Text) { r.Missing("access token"); }},
        {"CAccessTokenManager.cpp", "Init", "exception : ", Step::STORED,
         [](RunReader& r, Text) { r.Missing("sign-in document"); }},
        {"CJsonWebToken.cpp", "Init", "Fail to parse", Step::STORED,
         [](RunReader& r, Text) { r.Missing("application token"); }},
        {"CServiceActivationInfo.cpp", "Init", "Fail to parse", Step::STORED,
         [](RunReader& r, Text) { r.Missing("activation"); }},
        {"CServiceActivationInfo.cpp", "ReadFromSecureStorage", "", Step::STORED},
        {"CAuthCode.cpp", "ReadAuthCodeFromSecureStorage", "", Step::STORED},
        {"CAccessToken.cpp", "", "issuedTime ", Step::TOKEN,
         [](RunReader& r, Text rest) {
             // Once for the refresh token, then for the access token.
             r.TakeLifetime(Number(rest) + NumberAfter(rest, "expiredTime ") -
                            NumberAfter(rest, "currtneTime "));
             r.m_run.tokenRequest.why = r.m_lifetime;
         }},
        {"CAccessTokenManager.cpp", "", "null", Step::TOKEN},
        {"CAccessTokenManager.cpp", "", "token does not exist", Step::TOKEN,
         [](RunReader& r, Text) { r.AskToken(Run::Token::NEW, "none was stored for this user"); }},
        {"CAccessTokenManager.cpp", "", "Refresh Token Expired", Step::TOKEN,
         [](RunReader& r, Text) { r.AskToken(Run::Token::NEW, r.RanOut("the refresh token")); }},
        {"CAccessTokenManager.cpp", "", "Token expired.", Step::TOKEN,
         [](RunReader& r, Text) { r.AskToken(Run::Token::REFRESHED, r.RanOut("the access token")); }},
        {"CAccessTokenManager.cpp", "OnAuthCodeIssued", "", Step::CODE},
        {"CAccessTokenManager.cpp", "", "userData is ", Step::CODE},
        {"CAccessTokenManager.cpp", "", "result != SSO_TRUE", Step::CODE},
        {"CAccessTokenManager.cpp", "IssueAccessToken", "", Step::ASK_TOKEN},
        {"CAccessTokenManager.cpp", "RefreshAccessToken", "", Step::ASK_TOKEN},
        {"CHttpMessage.cpp", "", "key:code,", Step::ASK_TOKEN},
        {"CHttpMessage.cpp", "", "key:refresh_token,", Step::ASK_TOKEN},
        {"CHttpMessage.cpp", "", "key:Authorization,", Step::ASK_RECORDS},
        {"CHttpMessage.cpp", "", "before send", Step::START,
         [](RunReader& r, Text) {
             r.Advance(Next(r.m_run.step));
             if (Exchange* exchange = r.Answered()) {
                 exchange->sent = true;
             }
         }},
        {"CHttpMessage.cpp", "", "after send", Step::START,
         [](RunReader& r, Text) {
             if (Exchange* exchange = r.Answered()) {
                 exchange->answered = true;
             }
         }},
        {"CAuthServerHttpMessage.cpp", "", "error code : ", Step::TOKEN_ANSWER, status},
        {"CAccessToken.cpp", "", "accessToken : ", Step::TOKEN_ANSWER},
        {"CServiceActivationInfo.cpp", "", "No token", Step::ASK_ACTIVATION,
         [](RunReader& r, Text) { r.Ask(r.m_run.activation, "none was stored"); }},
        {"CServiceActivationInfo.cpp", "", "expired time : ", Step::ASK_ACTIVATION,
         [](RunReader& r, Text rest) {
             r.TakeLifetime((Number(rest) - NumberAfter(rest, "time : ")) / MS_PER_SECOND);
         }},
        {"CServiceActivationInfo.cpp", "", "Expired Token", Step::ASK_ACTIVATION,
         [](RunReader& r, Text) { r.Ask(r.m_run.activation, r.RanOut("the stored one")); }},
        {"CCloudServerManager.cpp", "", "Fail to activate", Step::ACTIVATION_ANSWER},
        {"CCloudServerManager.cpp", "", "Fail to get JWT", Step::APP_TOKEN_ANSWER},
        {"CCloudServerManager.cpp", "GetBTInfoDataFromCloud", "request failed", Step::ASK_ACTIVATION,
         [](RunReader& r, Text) { r.LocateUnanswered(); }},
        {"CCloudServerManager.cpp", "GetBTInfoDataFromCloud", "", Step::ASK_ACTIVATION},
        {"CCloudServerManager.cpp", "", "Already activated", Step::ASK_ACTIVATION,
         [](RunReader& r, Text) { r.m_run.activation.why = std::exchange(r.m_lifetime, {}); }},
        {"CCloudServerManager.cpp", "", "Service is not acitivated", Step::ASK_ACTIVATION,
         [](RunReader& r, Text) { r.m_run.activation.asked = true; }},
        {"CKCloudActivateHttpMessage.cpp", "", "status code : ", Step::ACTIVATION_ANSWER, status},
        {"CJsonWebToken.cpp", "", "No token", Step::ASK_APP_TOKEN,
         [](RunReader& r, Text) { r.Ask(r.m_run.appToken, "none was stored"); }},
        {"CJsonWebToken.cpp", "", "expired time : ", Step::ASK_APP_TOKEN,
         [](RunReader& r, Text rest) { r.TakeLifetime(Number(rest) - NumberAfter(rest, "time : ")); }},
        {"CJsonWebToken.cpp", "", "Expired Token", Step::ASK_APP_TOKEN,
         [](RunReader& r, Text) { r.Ask(r.m_run.appToken, r.RanOut("the stored one")); }},
        {"CCloudServerManager.cpp", "", "Already valid JWT exist", Step::ASK_APP_TOKEN,
         [](RunReader& r, Text) { r.m_run.appToken.why = std::exchange(r.m_lifetime, {}); }},
        {"CCloudServerManager.cpp", "", "JWT is not valid", Step::ASK_APP_TOKEN,
         [](RunReader& r, Text) { r.m_run.appToken.asked = true; }},
        {"CKCloudAuthHttpMessage.cpp", "", "status code : ", Step::APP_TOKEN_ANSWER, status},
        {"CDeviceInfo.cpp", "ReadFromSecureStorage", "exception: ", Step::ASK_RECORDS,
         [](RunReader& r, Text) { r.Missing("device records"); }},
        {"CCloudServerManager.cpp", "", "last synced timestamp : ", Step::ASK_RECORDS,
         [](RunReader& r, Text rest) { r.m_run.mark = rest; }},
        {"CCloudServerManager.cpp", "DownSyncBtInfoFromCloud", "", Step::ASK_RECORDS},
        {"CKCloudDataHttpMessage.cpp", "", "error code : ", Step::RECORDS_ANSWER, status},
        {"CDeviceInfo.cpp", "ImportData", "data:", Step::LIST,
         [](RunReader& r, Text rest) { r.TakeBatch(rest); }},
        {"CDeviceInfo.cpp", "", "user : ", Step::LIST},
        {"CDeviceInfo.cpp", "", "record_id : ", Step::LIST,
         [](RunReader& r, Text rest) { r.m_list.Begin(rest); }},
        {"CommonUtil.cpp", "", "input : ", Step::LIST,
         [](RunReader& r, Text rest) { r.m_list.Decide(Listing::NO_SINK, rest); }},
        {"BluetoothUtil.cpp", "IsBondedDevice", "", Step::LIST,
         [](RunReader& r, Text) { r.m_list.Decide(Listing::UPDATED); }},
        {"CDeviceInfo.cpp", "", "already locally bonded device", Step::LIST,
         [](RunReader& r, Text) { r.m_list.Decide(Listing::PAIRED); }},
        {"CDeviceInfo.cpp", "", "new data. add it", Step::LIST,
         [](RunReader& r, Text) { r.m_list.Decide(Listing::ADDED); }},
        {"CDeviceInfo.cpp", "RemoveFromDeviceList", "", Step::LIST,
         [](RunReader& r, Text rest) { r.m_list.TakeRemoval(rest); }},
        {"CDeviceInfo.cpp", "", "skip ", Step::LIST, [](RunReader& r, Text rest) { r.TakeSkipped(rest); }},
        {"CDeviceInfo.cpp", "UpdateDeviceList", "", Step::LIST},
    };
    const auto rule = std::find_if(std::begin(rules), std::end(rules), [&line](const Rule& candidate) {
        return candidate.file == line.file && StartsWith(line.message, candidate.start) &&
               (candidate.function.empty() || candidate.function == line.function);
    });
    return rule == std::end(rules) ? nullptr : rule;
}

}  // namespace Explain
