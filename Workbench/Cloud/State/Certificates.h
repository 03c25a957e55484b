/** An authority of the cloud's own, in tls/, and TLS with what it issues: for each server that starts, and
 * with a flaw on purpose. */
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <vector>

namespace LocalCloud {

template <auto FREE>
struct Freed {
    template <typename Type>
    void operator()(Type* value) const {
        FREE(value);
    }
};

using TlsContext = std::unique_ptr<SSL_CTX, Freed<&SSL_CTX_free>>;

/** What may be the matter with a server certificate. */
std::vector<std::string> CertificateFlaws();

/** Makes ca.pem and ca.key in the folder, where they are missing. @throws std::runtime_error */
void MakeAuthority(const std::string& folder);

/** A server's, with a new certificate for the cloud's hosts that is right but for the flaw, where one is
 * given.
 * @throws std::runtime_error that says what to do when the folder's authority cannot be used */
TlsContext NewTlsContext(const std::string& folder, const std::string& flaw = "");

/** Why the library's last operation failed, where it says so; that is forgotten then. */
std::string TlsError(const char* otherwise);

}  // namespace LocalCloud
