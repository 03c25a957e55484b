/** One synchronisation with the cloud: activation, application token, download of the device records. */
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "HttpMessage/IHttpMessage.h"

class CAccessToken;
class CDeviceInfo;
class CJsonWebToken;
class CServiceActivationInfo;
class CSsoManager;

class CCloudServerManager {
public:
    static constexpr char ACTIVATE_PATH[] = "/user/v7/activate";
    static constexpr char APP_TOKEN_PATH[] = "/auth/kc/tokens/v1/app";
    static constexpr char RECORDS_PATH[] = "/data/v2/com.quorlen.bluetooth.device_sync";

    // Result codes of a refused download; with either, the cloud asks for what was downloaded before to be
    // discarded.
    static constexpr int RESULT_MARK_TOO_OLD = 4009100;
    static constexpr int RESULT_MARK_UNKNOWN = 4000002;

    /** Loads what is stored for the signed-in user. @throws CInfoSyncException when there is no such user */
    void Init(std::shared_ptr<CSsoManager> ssoManager);

    /** The whole synchronisation. Its first failure ends it and is logged; nothing is thrown. */
    void GetBTInfoDataFromCloud(const std::shared_ptr<CAccessToken>& accessToken);

    /** The steps, each of which throws std::exception on failure and needs the ones before it. */
    void ActivateCloudServer();
    void IssueJWT();
    void DownSyncBtInfoFromCloud();

    /** Lets go of the sign-in service. */
    void Deinit();

private:
    /** The cloud's mark of the user's last synchronisation; 0 when there is none. */
    static std::int64_t GetLatSyncedTimestamp(CDeviceInfo& deviceInfo);

    void AddUserCredentials(IHttpMessage& message) const;

    std::shared_ptr<CSsoManager> m_ssoManager;
    std::shared_ptr<CAccessToken> m_accessToken;
    std::unique_ptr<CJsonWebToken, std::function<void(CJsonWebToken*)>> m_jwt;
    std::unique_ptr<CServiceActivationInfo, std::function<void(CServiceActivationInfo*)>>
        m_serviceActivationInfo;
};
