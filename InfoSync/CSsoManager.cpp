#include "CSsoManager.h"

#include <sso.h>

#include <cstdlib>
#include <memory>

#include "Util/CInfoSyncException.h"
#include "Util/Log.h"

namespace {

constexpr int STATE_SIGNED_IN = 1;

}  // namespace

static_assert(CSsoManager::AUTH_CODE_ISSUED == SSO_TRUE, "the service's success value");

bool CSsoManager::IsLoggedIn() {
    ApiTracker tracker("bool CSsoManager::IsLoggedIn()", __LINE__);
    int state = 0;
    sso_get_login_state(&state);
    return state == STATE_SIGNED_IN;
}

std::string CSsoManager::GetLogInId() {
    ApiTracker tracker("std::string CSsoManager::GetLogInId()", __LINE__);
    char* id = nullptr;
    sso_get_login_user_id(&id);
    const std::unique_ptr<char, decltype(&std::free)> owned(id, &std::free);
    if (!owned) {
        throw CInfoSyncException("fail sso_get_login_user_id ");
    }
    return owned.get();
}

void CSsoManager::RequestAuthCode(const std::string& clientId, const std::string& scope,
                                  AuthCodeCompletion completion, void* userData) {
    sso_request_user_authcode(clientId.c_str(), scope.c_str(), completion, userData);
}
