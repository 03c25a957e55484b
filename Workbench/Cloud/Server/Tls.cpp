#include "Cloud/Server/Tls.h"

#include <stdexcept>

namespace LocalCloud {

namespace {

SslContext MakeContext(const Identity& identity) {
    SslContext context(SSL_CTX_new(TLS_server_method()));
    if (!context || SSL_CTX_use_certificate(context.get(), identity.certificate.get()) != 1 ||
        SSL_CTX_use_PrivateKey(context.get(), identity.key.get()) != 1) {
        throw std::runtime_error("could not set up TLS with the certificates of the folder's tls/");
    }
    SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    // Many silent connections are to take little memory.
    SSL_CTX_set_mode(context.get(), SSL_MODE_RELEASE_BUFFERS);
    return context;
}

SslSession SessionOf(SSL_CTX* context, int socket) {
    SslSession session(SSL_new(context));
    if (!session || SSL_set_fd(session.get(), socket) != 1) {
        throw std::runtime_error("could not set up a TLS session");
    }
    return session;
}

}  // namespace

TlsContexts::TlsContexts(const std::string& folder)
    : m_authority(LoadIdentity(folder, "ca")),
      m_identity(LoadIdentity(folder, "server")),
      m_context(MakeContext(m_identity)) {}

SslSession TlsContexts::NewSession(int socket) const {
    return SessionOf(m_context.get(), socket);
}

SslSession TlsContexts::NewFlawedSession(int socket, const std::string& flaw) const {
    return SessionOf(MakeContext(MakeServerIdentity(m_authority, flaw)).get(), socket);
}

SslSession TlsContexts::NewOldSession(int socket) const {
    const SslContext context = MakeContext(m_identity);
    SSL_CTX_set_min_proto_version(context.get(), TLS1_1_VERSION);
    SSL_CTX_set_max_proto_version(context.get(), TLS1_1_VERSION);
    // It signs with what OpenSSL no longer counts as safe at its default security level.
    SSL_CTX_set_cipher_list(context.get(), "DEFAULT:@SECLEVEL=0");
    return SessionOf(context.get(), socket);
}

}  // namespace LocalCloud
