/** An authority of the cloud's own, in tls/, and what it issues for each server that starts, rightly and
 * wrongly. */
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

using SslContext = std::unique_ptr<SSL_CTX, Freed<&SSL_CTX_free>>;
using SslSession = std::unique_ptr<SSL, Freed<&SSL_free>>;

/** A certificate with its private key. */
struct Identity {
    std::unique_ptr<EVP_PKEY, Freed<&EVP_PKEY_free>> key;
    std::unique_ptr<X509, Freed<&X509_free>> certificate;
};

/** What may be the matter with a server certificate. */
std::vector<std::string> CertificateFlaws();

/** Makes ca.pem and ca.key in the folder, where they are missing. @throws std::runtime_error */
void MakeAuthority(const std::string& folder);

/** Makes TLS sessions on accepted sockets, before their handshake; the socket stays the caller's. */
class TlsContexts {
public:
    /** @throws std::runtime_error that says what to do when the folder's authority cannot be used */
    explicit TlsContexts(const std::string& folder);

    SslSession NewSession(int socket) const;
    /** The same with a certificate that has a flaw. */
    SslSession NewFlawedSession(int socket, const std::string& flaw) const;
    /** The same with nothing newer than TLS 1.1. */
    SslSession NewOldSession(int socket) const;

private:
    Identity m_authority;
    SslContext m_context;
};

}  // namespace LocalCloud
