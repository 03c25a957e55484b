/** How the server presents itself in a TLS handshake, rightly and wrongly. */
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <optional>

#include "Cloud/Server/Fault.h"
#include "Cloud/Util/Certificates.h"

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

class TlsContexts {
public:
    /** @throws CloudError when the folder's certificates cannot be used */
    explicit TlsContexts(const std::string& folder);

    /** A session on an accepted socket, before its handshake; the socket stays the caller's. */
    SslSession NewSession(int socket, const std::optional<Fault>& fault) const;

private:
    Identity m_authority;
    Identity m_identity;
    SslContext m_context;
};

}  // namespace LocalCloud
