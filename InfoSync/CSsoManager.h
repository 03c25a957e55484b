/** The set's single-sign-on service. Nothing is cached: each call asks the platform afresh. */
#pragma once

#include <functional>
#include <string>

class CSsoManager {
public:
    /** Gets the outcome of a code request; the text is valid during the call only. */
    using AuthCodeCompletion = int (*)(void* userData, int result, const char* authCode);

    /** The result that a completion gets when a code was issued. */
    static constexpr int AUTH_CODE_ISSUED = 0;

    /** Whether a user is signed in; a state that cannot be read counts as signed out. */
    bool IsLoggedIn();

    /** The signed-in user's login id. @throws CInfoSyncException when there is none */
    std::string GetLogInId();

    /**
     * Asks for an OAuth 2.0 authorisation code. The sign-in service runs the completion, once, with the
     * outcome.
     */
    static void RequestAuthCode(const std::string& clientId, const std::string& scope,
                                AuthCodeCompletion completion, void* userData);

private:
    std::function<void(int, const std::string&)> m_authCodeCallback;  // part of the class; never filled
};
