/** How the server presents itself in a TLS handshake, rightly and wrongly. */
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "Cloud/State/Certificates.h"

namespace LocalCloud {

struct SslDeleter {
    void operator()(SSL_CTX* context) const {
        SSL_CTX_free(context);
    }
    void operator()(SSL* ssl) const {
        SSL_free(ssl);
    }
};

using SslContext = std::unique_ptr<SSL_CTX, SslDeleter>;
using SslSession = std::unique_ptr<SSL, SslDeleter>;

/** Makes sessions on accepted sockets, before their handshake; the socket stays the caller's. */
class TlsContexts {
public:
    /** @throws std::runtime_error when the folder's certificates cannot be used */
    explicit TlsContexts(const std::string& folder);

    SslSession NewSession(int socket) const;
    /** The same with a certificate that has a flaw. */
    SslSession NewFlawedSession(int socket, const std::string& flaw) const;
    /** The same with nothing newer than TLS 1.1. */
    SslSession NewOldSession(int socket) const;

private:
    Identity m_authority;
    Identity m_identity;
    SslContext m_context;
};

}  // namespace LocalCloud
