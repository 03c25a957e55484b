#include "Cloud/Server/TlsContexts.h"

#include "Cloud/Util/Errors.h"

namespace LocalCloud {

namespace {

SslContext MakeContext(const Identity& identity) {
    SslContext context(SSL_CTX_new(TLS_server_method()));
    if (!context || SSL_CTX_use_certificate(context.get(), identity.certificate.get()) != 1 ||
        SSL_CTX_use_PrivateKey(context.get(), identity.key.get()) != 1) {
        throw CloudError("could not set up TLS with the certificates of the folder's tls/");
    }
    SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    SSL_CTX_set_mode(context.get(), SSL_MODE_AUTO_RETRY);
    return context;
}

/** Old versions sign with what OpenSSL no longer counts as safe at its default security level. */
void AllowOnlyTls11(SSL_CTX* context) {
    SSL_CTX_set_min_proto_version(context, TLS1_1_VERSION);
    SSL_CTX_set_max_proto_version(context, TLS1_1_VERSION);
    SSL_CTX_set_cipher_list(context, "DEFAULT:@SECLEVEL=0");
}

}  // namespace

TlsContexts::TlsContexts(const std::string& folder)
    : m_authority(LoadIdentity(folder, "ca")),
      m_identity(LoadIdentity(folder, "server")),
      m_context(MakeContext(m_identity)) {}

SslSession TlsContexts::NewSession(int socket, const std::optional<Fault>& fault) const {
    SslContext faulty;
    if (fault && fault->kind == FaultKind::Certificate) {
        faulty = MakeContext(MakeServerIdentity(m_authority, fault->flaw));
    } else if (fault && fault->kind == FaultKind::Tls) {
        faulty = MakeContext(m_identity);
        AllowOnlyTls11(faulty.get());
    }
    SslSession session(SSL_new(faulty ? faulty.get() : m_context.get()));
    if (!session || SSL_set_fd(session.get(), socket) != 1) {
        throw CloudError("could not set up a TLS session");
    }
    return session;
}

}  // namespace LocalCloud
