/** Gives the service a valid OAuth 2.0 access token: the stored one, a refreshed one, or a newly issued one.
 */
#pragma once

#include <functional>
#include <memory>
#include <string>

class CAccessToken;
class CAuthCode;
class CSsoManager;

class CAccessTokenManager {
public:
    enum AccessTokenResult {
        Failure = 0,
        Success = 1,
    };

    // Of the authorisation server.
    static constexpr char ISSUE_PATH[] = "/auth/openapi/v1/oauth2/accesstoken";
    static constexpr char REFRESH_PATH[] = "/auth/openapi/v1/oauth2/refreshtoken";

    using AccessTokenCallback = std::function<void(AccessTokenResult, const std::shared_ptr<CAccessToken>&)>;

    CAccessTokenManager();
    ~CAccessTokenManager();
    CAccessTokenManager(const CAccessTokenManager&) = delete;
    CAccessTokenManager& operator=(const CAccessTokenManager&) = delete;

    /** Loads what is stored for the signed-in user. @throws CInfoSyncException when there is no such user */
    void Init(std::shared_ptr<CSsoManager> ssoManager);

    /**
     * Runs the callback once with the outcome: within the call when a stored or refreshed token will do, and
     * later, from the sign-in service, when a new authorisation code is needed. It is not run at all when the
     * sign-in service rejects the request for a code. What it throws is handled as if getting the token had
     * failed so, and it may be run once more. A second call takes the place of the first one's callback.
     */
    void GetAccessToken(AccessTokenCallback callback);

    /** The exchanges with the authorisation server, only after Init; each reports its outcome through the
     * callback. */
    void RefreshAccessToken();
    void IssueAccessToken();

    /** Takes the sign-in service's document over and exchanges its code for a token. */
    void OnAuthCodeIssued(int result, const std::string& authCode);

    void CallAccessTokenCallback(AccessTokenResult result, const std::shared_ptr<CAccessToken>& token);

    /** Lets go of the sign-in service. */
    void Deinit();

private:
    AccessTokenCallback m_callback;
    std::shared_ptr<CAccessToken> m_accessToken;
    std::shared_ptr<CAuthCode> m_authCode;
    std::shared_ptr<CSsoManager> m_ssoManager;
};
