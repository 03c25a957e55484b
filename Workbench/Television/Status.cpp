#include "Television/Status.h"

#include <glib.h>

#include <exception>
#include <map>
#include <set>

#include "AdapterDevices.h"
#include "AuthData/CDeviceInfo.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "CSsoManager.h"
#include "Cli/Json.h"
#include "Cli/Masker.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "TvFolder.h"
#include "TvIni.h"
#include "Util/BluetoothUtil.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"
#include "Util/SettingsUtil.h"

namespace Television {

namespace {

using Kind = State::Kind;

constexpr std::int64_t MILLISECONDS = 1000;

struct Stored {
    Document tokens = ReadKey(InfoSyncUtil::ALIAS_ACCESS_TOKEN);
    Document activation = ReadKey(InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO);
    Document appToken = ReadKey(InfoSyncUtil::ALIAS_JWT);
    RecordStore records = ReadRecords();
};

/** What is kept in a user's entry, and for how long. */
class Entry {
public:
    Entry(const Document& document, const std::string& user)
        : m_value(InfoSyncUtil::ObjectMember(document.value, user)), m_state(document.state) {
        if (m_state.kind == Kind::STORED && !m_value.isObject()) {
            m_state = document.value.isMember(user) ? State{Kind::DAMAGED, "the user's entry is no object"}
                                                    : State{};
        }
    }

    std::int64_t Number(const char* member) const {
        return InfoSyncUtil::ToInt64(m_value[member]);
    }

    /** @param isValid as the service has it @param secondsLeft by the entry */
    State Until(bool isValid, std::int64_t secondsLeft, const std::string& detail) const {
        return m_state.kind == Kind::STORED
                   ? State{isValid ? Kind::VALID : Kind::EXPIRED, "", secondsLeft, detail}
                   : m_state;
    }

    State OAuthToken(const char* member, const char* lifetime, bool isExpired, std::int64_t now) const {
        const std::string token = Cli::TextMember(m_value, member);
        if (m_state.kind == Kind::STORED && token.empty()) {
            return m_value.isMember(member) ? State{Kind::DAMAGED, "the token is no text"} : State{};
        }
        const std::int64_t end = Cli::Sum(Number(CAccessToken::ISSUED_TIME), Number(lifetime));
        return Until(!isExpired, Cli::Difference(end, now), Cli::Abbreviate(token));
    }

    std::string Text(const char* member) const {
        return Cli::TextMember(m_value, member);
    }

private:
    const Json::Value& m_value;
    State m_state;
};

void ReadTokens(const Stored& stored, UserStatus& user, std::int64_t now) {
    CAccessToken token = TokensOf(user.user);
    const Entry tokens(stored.tokens, user.user);
    user.accessToken = tokens.OAuthToken(CAccessToken::ACCESS_TOKEN, CAccessToken::ACCESS_TOKEN_LIFETIME,
                                         token.IsTokenExpired(), now);
    user.refreshToken = tokens.OAuthToken(CAccessToken::REFRESH_TOKEN, CAccessToken::REFRESH_TOKEN_LIFETIME,
                                          token.IsRefreshTokenExpired(), now);

    CServiceActivationInfo activation;
    activation.Init(user.user);
    const Entry activated(stored.activation, user.user);
    const std::int64_t activeUntil = activated.Number(CServiceActivationInfo::EXPIRE_TIME) / MILLISECONDS;
    user.activation = activated.Until(activation.IsValid(), Cli::Difference(activeUntil, now),
                                      activated.Text(CServiceActivationInfo::DEVICE_ID));

    CJsonWebToken appToken;
    appToken.Init(user.user);
    const Entry app(stored.appToken, user.user);
    user.appToken =
        app.Until(appToken.IsValid(), Cli::Difference(app.Number(CJsonWebToken::EXPIRE_TIME), now),
                  Cli::Abbreviate(app.Text(CJsonWebToken::TOKEN)));
}

void ReadRecordCount(const RecordStore& store, UserStatus& user) {
    const auto entry = store.users.find(user.user);
    if (entry == store.users.end()) {
        user.records = store.state.IsReadable() ? State{} : store.state;
        return;
    }
    const UserRecords& records = entry->second;
    user.records = {records.problem.empty() ? Kind::STORED : Kind::DAMAGED, records.problem};
    user.recordCount = records.records.size();
    user.mark = records.mark;
}

std::vector<UserStatus> ReadUsers(const Stored& stored, const std::string& signedIn, std::int64_t now) {
    std::set<std::string> names;
    for (const Document* document : {&stored.tokens, &stored.activation, &stored.appToken}) {
        const std::vector<std::string> members = document->value.getMemberNames();
        names.insert(members.begin(), members.end());
    }
    for (const auto& [name, records] : stored.records.users) {
        names.insert(name);
    }
    if (!signedIn.empty()) {
        names.insert(signedIn);
    }
    std::vector<UserStatus> users;
    for (const std::string& name : names) {
        UserStatus user = {name, name == signedIn};
        ReadTokens(stored, user, now);
        ReadRecordCount(stored.records, user);
        users.push_back(std::move(user));
    }
    return users;
}

void AddUnreadable(const Stored& stored, const Status& status, std::vector<Problem>& problems) {
    const std::pair<const char*, const State&> states[] = {
        {InfoSyncUtil::ALIAS_ACCESS_TOKEN, stored.tokens.state},
        {InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO, stored.activation.state},
        {InfoSyncUtil::ALIAS_JWT, stored.appToken.state},
        {InfoSyncUtil::ALIAS_RECORDS, stored.records.state},
        {InfoSyncUtil::ALIAS_AUTH_CODE, status.authCode},
        {"devices", status.devices}};
    for (const auto& [name, state] : states) {
        if (!state.IsReadable()) {
            problems.push_back({name, state.Complaint(), state.kind == Kind::FORBIDDEN});
        }
    }
    if (status.lastRun && status.lastRun->number == 0) {  // not even the folder can be read
        problems.push_back({"runs", Cli::Join(status.lastRun->story.reason, "; "), true});
    }
}

std::vector<BluetoothDevice> ReadBluetooth(const RecordStore& store) {
    std::map<std::string, std::string> names;
    for (const auto& [user, records] : store.users) {
        for (const Json::Value& record : records.records) {
            const std::string address = Cli::TextMember(record, CDeviceInfo::ADDRESS);
            names[Cli::Taken(g_ascii_strup(address.c_str(), -1))] =
                Cli::TextMember(record, CDeviceInfo::NAME);
        }
    }
    BluetoothUtil::Initialize();
    std::vector<BluetoothDevice> devices;
    for (const auto& [address, isPaired] : AdapterDevices()) {
        devices.push_back({address, isPaired, names[address]});
    }
    return devices;
}

}  // namespace

std::string SignedInUser() {
    const auto ini = TvFolder::ReadIni();
    return CSsoManager().IsLoggedIn() ? ini->Text(TvKeys::LOGIN_ID).value_or("") : "";
}

CAccessToken TokensOf(const std::string& user) {
    CAccessToken tokens;
    tokens.Init(user);
    try {
        tokens.ReadFromSecureStorage();
    } catch (const std::exception&) {
        // As the service has it: what cannot be read is no token.
    }
    return tokens;
}

Status ReadStatus(std::int64_t now) {
    const Stored stored;
    const DeviceList devices = ReadDeviceList();
    Status status;
    status.folder = TvFolder::Path();
    status.isSignedIn = CSsoManager().IsLoggedIn();
    status.loginId = SignedInUser();
    status.users = ReadUsers(stored, status.loginId, now);
    status.devices = devices.state;
    status.deviceCount = devices.devices.size();
    status.authCode = ReadAuthCode().state;
    status.isFactoryResetRequested = InfoSyncUtil::GetFactoryResetFlag() == 1;
    status.bluetooth = ReadBluetooth(stored.records);
    status.cloud = Cloud::Find();
    status.lastRun = ReadNewestRun();
    status.nextRun = PlanNextRun(status, now);
    status.problems = FindProblems(now);
    AddUnreadable(stored, status, status.problems);
    return status;
}

}  // namespace Television
