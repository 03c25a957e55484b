/** The set's single-sign-on service: our own declarations of the three calls that the service makes. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/** The result that a completion function gets when a code was issued. */
enum { SSO_TRUE = 0 };

/** *state becomes 1 when a user is signed in. @return 0 or an error, with *state untouched */
int sso_get_login_state(int* state);

/** *login_id is the caller's, to be released with free(); null when nobody is signed in. @return 0 or an
 * error */
int sso_get_login_user_id(char** login_id);

/** Gets the outcome of a code request, once. auth_code (an XML document) is valid during the call only. */
typedef int (*sso_authcode_cb)(void* user_data, int result, const char* auth_code);

/** Asks for an OAuth 2.0 authorisation code for the signed-in user; the callback gets the outcome. */
int sso_request_user_authcode(const char* client_id, const char* scope, sso_authcode_cb callback,
                              void* user_data);

#ifdef __cplusplus
}
#endif
