#include "Cloud/State/Certificates.h"

#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "Files.h"

namespace LocalCloud {

namespace {

constexpr long DAY = 24L * 60 * 60;
constexpr long AUTHORITY_LIFETIME = 3650 * DAY;
constexpr long SERVER_LIFETIME = 365 * DAY;
// Clocks that differ a little must not make a new certificate look as if it came from the future.
constexpr long BACKDATING = DAY;

constexpr char HOSTS[] =
    "DNS:auth.quorlen.example,DNS:api.cloud.quorlen.example,DNS:api-staging.cloud.quorlen.example,"
    "DNS:localhost,IP:127.0.0.1";

constexpr char CERTIFICATE_FILE[] = "/ca.pem";
constexpr char KEY_FILE[] = "/ca.key";

using Bio = std::unique_ptr<BIO, Freed<&BIO_free>>;

/** What a certificate says. */
struct Contents {
    const char* commonName;
    const char* hosts;
    long validFrom;  // seconds from now
    long validTo;
    const char* basicConstraints;
    const char* keyUsage;
    const char* extendedKeyUsage;
};

enum class Signer { AUTHORITY, STRANGER, ITSELF };

struct Flaw {
    const char* name;
    void (*spoil)(Contents& contents);
    Signer signer;
};

constexpr Flaw FLAWS[] = {
    {"wrong-host", [](Contents& c) { c.hosts = "DNS:elsewhere.quorlen.example"; }, Signer::AUTHORITY},
    {"expired", [](Contents& c) { c.validFrom = -30 * DAY, c.validTo = -DAY; }, Signer::AUTHORITY},
    {"not-yet-valid", [](Contents& c) { c.validFrom = 30 * DAY; }, Signer::AUTHORITY},
    {"self-signed", [](Contents&) {}, Signer::ITSELF},
    {"unknown-authority", [](Contents&) {}, Signer::STRANGER},
    {"client-only", [](Contents& c) { c.extendedKeyUsage = "clientAuth"; }, Signer::AUTHORITY},
};

void ThrowUnless(bool success) {
    if (!success) {
        const char* reason = ERR_reason_error_string(ERR_get_error());
        throw std::runtime_error(std::string("could not make a certificate: ") +
                                 (reason != nullptr ? reason : "OpenSSL does not say why"));
    }
}

void AddExtension(X509* certificate, X509* issuer, int kind, const char* value) {
    if (value == nullptr) {
        return;
    }
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const std::unique_ptr<X509_EXTENSION, Freed<&X509_EXTENSION_free>> extension(
        X509V3_EXT_conf_nid(nullptr, &context, kind, value));
    ThrowUnless(extension && X509_add_ext(certificate, extension.get(), -1) == 1);
}

/** A new key and a certificate for it; without an issuer it is signed by itself. */
Identity Issue(const Contents& contents, const Identity* issuer) {
    Identity identity;
    identity.key.reset(EVP_EC_gen("P-256"));
    identity.certificate.reset(X509_new());
    X509* certificate = identity.certificate.get();
    ThrowUnless(identity.key && certificate != nullptr &&
                X509_set_version(certificate, X509_VERSION_3) == 1 &&
                X509_set_pubkey(certificate, identity.key.get()) == 1);
    const Identity& signer = issuer != nullptr ? *issuer : identity;
    std::uint64_t serial = 0;
    const auto* name = reinterpret_cast<const unsigned char*>(contents.commonName);
    ThrowUnless(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof(serial)) == 1 &&
                ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial) == 1 &&
                X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8, name, -1,
                                           -1, 0) == 1 &&
                X509_gmtime_adj(X509_getm_notBefore(certificate), contents.validFrom) != nullptr &&
                X509_gmtime_adj(X509_getm_notAfter(certificate), contents.validTo) != nullptr &&
                X509_set_issuer_name(certificate, X509_get_subject_name(signer.certificate.get())) == 1);
    const std::pair<int, const char*> extensions[] = {
        {NID_basic_constraints, contents.basicConstraints}, {NID_key_usage, contents.keyUsage},
        {NID_ext_key_usage, contents.extendedKeyUsage},     {NID_subject_key_identifier, "hash"},
        {NID_authority_key_identifier, "keyid:always"},     {NID_subject_alt_name, contents.hosts}};
    for (const auto& [kind, value] : extensions) {
        AddExtension(certificate, signer.certificate.get(), kind, value);
    }
    ThrowUnless(X509_sign(certificate, signer.key.get(), EVP_sha256()) > 0);
    return identity;
}

Identity NewAuthority() {
    return Issue({"infosync-cloud local authority", nullptr, -BACKDATING, AUTHORITY_LIFETIME,
                  "critical,CA:TRUE", "critical,keyCertSign,cRLSign", nullptr},
                 nullptr);
}

std::string TextOf(BIO* bio) {
    char* data = nullptr;
    const long length = BIO_get_mem_data(bio, &data);
    return {data, static_cast<std::size_t>(length)};
}

Bio Open(const std::string& text) {
    return Bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

Identity LoadAuthority(const std::string& folder) {
    const std::string certificate = Files::Read(folder + CERTIFICATE_FILE);
    const std::string key = Files::Read(folder + KEY_FILE);
    Identity identity;
    identity.certificate.reset(PEM_read_bio_X509(Open(certificate).get(), nullptr, nullptr, nullptr));
    identity.key.reset(PEM_read_bio_PrivateKey(Open(key).get(), nullptr, nullptr, nullptr));
    if (!identity.certificate || !identity.key ||
        X509_check_private_key(identity.certificate.get(), identity.key.get()) != 1) {
        ERR_clear_error();
        throw std::runtime_error(folder + "/ca.pem and .key are damaged or do not belong together; remove " +
                                 "both: the next command makes others");
    }
    return identity;
}

/** A certificate for the cloud's hosts that is right but for the flaw, of which there may be none. */
Identity MakeServerIdentity(const Identity& authority, const std::string& flaw = "") {
    Contents contents = {"infosync-cloud",    HOSTS,
                         -BACKDATING,         SERVER_LIFETIME,
                         "critical,CA:FALSE", "critical,digitalSignature",
                         "serverAuth"};
    Signer signer = Signer::AUTHORITY;
    for (const Flaw& each : FLAWS) {
        if (flaw == each.name) {
            each.spoil(contents);
            signer = each.signer;
        }
    }
    if (signer == Signer::ITSELF) {
        return Issue(contents, nullptr);
    }
    const Identity stranger = signer == Signer::STRANGER ? NewAuthority() : Identity();
    return Issue(contents, stranger.key ? &stranger : &authority);
}

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

std::vector<std::string> CertificateFlaws() {
    std::vector<std::string> names;
    for (const Flaw& flaw : FLAWS) {
        names.emplace_back(flaw.name);
    }
    return names;
}

void MakeAuthority(const std::string& folder) {
    if (std::filesystem::exists(folder + CERTIFICATE_FILE) && std::filesystem::exists(folder + KEY_FILE)) {
        return;
    }
    const Identity authority = NewAuthority();
    const Bio key(BIO_new(BIO_s_mem()));
    const Bio certificate(BIO_new(BIO_s_mem()));
    ThrowUnless(key && certificate &&
                PEM_write_bio_PKCS8PrivateKey(key.get(), authority.key.get(), nullptr, nullptr, 0, nullptr,
                                              nullptr) == 1 &&
                PEM_write_bio_X509(certificate.get(), authority.certificate.get()) == 1);
    Files::Replace(folder + KEY_FILE, TextOf(key.get()));
    Files::Replace(folder + CERTIFICATE_FILE, TextOf(certificate.get()), Files::PUBLIC);
}

TlsContexts::TlsContexts(const std::string& folder)
    : m_authority(LoadAuthority(folder)), m_context(MakeContext(MakeServerIdentity(m_authority))) {}

SslSession TlsContexts::NewSession(int socket) const {
    return SessionOf(m_context.get(), socket);
}

SslSession TlsContexts::NewFlawedSession(int socket, const std::string& flaw) const {
    return SessionOf(MakeContext(MakeServerIdentity(m_authority, flaw)).get(), socket);
}

SslSession TlsContexts::NewOldSession(int socket) const {
    const SslContext context = MakeContext(MakeServerIdentity(m_authority));
    SSL_CTX_set_min_proto_version(context.get(), TLS1_1_VERSION);
    SSL_CTX_set_max_proto_version(context.get(), TLS1_1_VERSION);
    // It signs with what OpenSSL no longer counts as safe at its default security level.
    SSL_CTX_set_cipher_list(context.get(), "DEFAULT:@SECLEVEL=0");
    return SessionOf(context.get(), socket);
}

}  // namespace LocalCloud
