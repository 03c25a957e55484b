#include <dlog.h>
#include <glib.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sso.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "Files.h"
#include "GateSite.h"
#include "TvFolder.h"
#include "TvIni.h"

namespace {

/** The outcome of a code request on its way to the completion function. */
struct Completion {
    sso_authcode_cb callback;
    void* userData;
    int result;
    std::optional<std::string> document;
};

/** Base64 for URLs, without padding (RFC 4648, section 5). */
std::string Base64Url(const unsigned char* bytes, std::size_t size) {
    const std::unique_ptr<char, decltype(&g_free)> encoded(g_base64_encode(bytes, size), &g_free);
    std::string text = encoded.get();
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    text.erase(std::find(text.begin(), text.end(), '='), text.end());
    return text;
}

std::string Base64Url(const std::string& text) {
    return Base64Url(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

template <std::size_t SIZE>
std::string RandomBase64Url() {
    std::array<unsigned char, SIZE> bytes;
    if (RAND_bytes(bytes.data(), static_cast<int>(SIZE)) != 1) {
        throw std::runtime_error("no random bytes to be had");
    }
    return Base64Url(bytes.data(), SIZE);
}

/** The PKCE challenge of method S256 (RFC 7636, section 4.2). */
std::string ChallengeOf(const std::string& verifier) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned int size = 0;
    if (EVP_Digest(verifier.data(), verifier.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("no SHA-256 to be had");
    }
    return Base64Url(digest.data(), size);
}

/**
 * A document for the local cloud. Nobody registers the code there, so the code itself carries what the cloud
 * must know: "lc1." LOGIN-ID "." CHALLENGE "." NONCE, the login id and the 16 random bytes of the nonce in
 * Base64 for URLs. The nonce makes each code one of its own, so that a second use shows.
 */
std::string MakeDocument(const std::string& loginId) {
    const std::string host = GateSite::Read().host;
    const std::string verifier = RandomBase64Url<32>();
    const std::string code =
        "lc1." + Base64Url(loginId) + "." + ChallengeOf(verifier) + "." + RandomBase64Url<16>();
    const std::unique_ptr<char, decltype(&g_free)> document(
        g_markup_printf_escaped(
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<rsp stat=\"ok\"><auth_code>%s</auth_code><code_verifier>%s</code_verifier>"
            "<kap_auth_domain>%s</kap_auth_domain><kap_api_domain>%s</kap_api_domain></rsp>",
            code.c_str(), verifier.c_str(), host.c_str(), host.c_str()),
        &g_free);
    return document.get();
}

std::string ReadDocument(const TvIni& ini) {
    const auto file = ini.Text(TvKeys::AUTH_CODE);
    return file ? Files::Read(TvFolder::Resolve(*file))
                : MakeDocument(ini.Text(TvKeys::LOGIN_ID).value_or(""));
}

/** Runs from the main loop. */
gboolean Complete(gpointer data) {
    const auto& completion = *static_cast<Completion*>(data);
    completion.callback(completion.userData, completion.result,
                        completion.document ? completion.document->c_str() : nullptr);
    return G_SOURCE_REMOVE;
}

void Release(gpointer data) {
    delete static_cast<Completion*>(data);
}

}  // namespace

int sso_get_login_state(int* state) {
    if (state == nullptr) {
        return -EINVAL;
    }
    *state = static_cast<int>(TvFolder::ReadIni()->Integer(TvKeys::SSO_STATE));
    return 0;
}

int sso_get_login_user_id(char** login_id) {
    if (login_id == nullptr) {
        return -EINVAL;
    }
    const auto id = TvFolder::ReadIni()->Text(TvKeys::LOGIN_ID);
    *login_id = id ? strdup(id->c_str()) : nullptr;
    return 0;
}

int sso_request_user_authcode(const char* client_id, const char* scope, sso_authcode_cb callback,
                              void* user_data) {
    if (client_id == nullptr || scope == nullptr || callback == nullptr) {
        return -EINVAL;
    }
    const auto ini = TvFolder::ReadIni();
    const auto result = static_cast<int>(ini->Integer(TvKeys::SSO_RESULT));
    auto completion = std::make_unique<Completion>(Completion{callback, user_data, result, std::nullopt});
    try {
        completion->document = ReadDocument(*ini);
    } catch (const std::exception& error) {
        __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "SSO", "no authorisation code: %s", error.what());
        completion->result = result != SSO_TRUE ? result : -1;
    }
    g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, &Complete, completion.release(), &Release);
    return 0;
}
