#include "Cloud/State/Certificates.h"

#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char CERTIFICATE_FILE[] = "/ca.pem";
constexpr char KEY_FILE[] = "/ca.key";

constexpr char HOSTS[] =
    "DNS:auth.quorlen.example,DNS:api.cloud.quorlen.example,DNS:api-staging.cloud.quorlen.example,"
    "DNS:localhost,IP:127.0.0.1";
constexpr char SERVER[] = "serverAuth";

// In seconds.
constexpr long DAY = 24L * 60 * 60;
constexpr long YEAR = 365 * DAY;
// Clocks that differ a little must not make a new certificate look as if it came from the future.
constexpr long NOW = -DAY;

enum class Signer { AUTHORITY, STRANGER, ITSELF };

/** What a certificate says, by the flaw that it has. An authority's names no hosts. */
struct Contents {
    const char* flaw;
    Signer signer;
    const char* hosts;
    const char* usage;
    long validFrom;
    long validTo;
};

constexpr Contents CONTENTS[] = {
    {"", Signer::AUTHORITY, HOSTS, SERVER, NOW, YEAR},
    {"wrong-host", Signer::AUTHORITY, "DNS:elsewhere.quorlen.example", SERVER, NOW, YEAR},
    {"expired", Signer::AUTHORITY, HOSTS, SERVER, -30 * DAY, -DAY},
    {"not-yet-valid", Signer::AUTHORITY, HOSTS, SERVER, 30 * DAY, YEAR},
    {"self-signed", Signer::ITSELF, HOSTS, SERVER, NOW, YEAR},
    {"unknown-authority", Signer::STRANGER, HOSTS, SERVER, NOW, YEAR},
    {"client-only", Signer::AUTHORITY, HOSTS, "clientAuth", NOW, YEAR},
};
constexpr Contents AUTHORITY = {"", Signer::ITSELF, nullptr, nullptr, NOW, 10 * YEAR};

using Bio = std::unique_ptr<BIO, Freed<&BIO_free>>;

/** A certificate with its private key. */
struct Identity {
    std::unique_ptr<EVP_PKEY, Freed<&EVP_PKEY_free>> key;
    std::unique_ptr<X509, Freed<&X509_free>> certificate;
};

void ThrowUnless(bool success) {
    if (!success) {
        throw std::runtime_error("could not make a certificate: " + TlsError("OpenSSL does not say why"));
    }
}

void AddExtensions(X509* certificate, X509* issuer, const Contents& contents) {
    const bool isAuthority = contents.hosts == nullptr;
    const std::pair<int, const char*> extensions[] = {
        {NID_basic_constraints, isAuthority ? "critical,CA:TRUE" : "critical,CA:FALSE"},
        {NID_key_usage, isAuthority ? "critical,keyCertSign,cRLSign" : "critical,digitalSignature"},
        {NID_ext_key_usage, contents.usage},
        {NID_subject_key_identifier, "hash"},
        {NID_authority_key_identifier, "keyid:always"},
        {NID_subject_alt_name, contents.hosts}};
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    for (const auto& [kind, value] : extensions) {
        const std::unique_ptr<X509_EXTENSION, Freed<&X509_EXTENSION_free>> extension(
            value != nullptr ? X509V3_EXT_conf_nid(nullptr, &context, kind, value) : nullptr);
        ThrowUnless(value == nullptr || (extension && X509_add_ext(certificate, extension.get(), -1) == 1));
    }
}

/** A new key and a certificate for it; without an issuer it is signed by itself. */
Identity Issue(const Contents& contents, const Identity* issuer) {
    Identity identity;
    identity.key.reset(EVP_EC_gen("P-256"));
    identity.certificate.reset(X509_new());
    X509* certificate = identity.certificate.get();
    ThrowUnless(identity.key && certificate != nullptr);
    const Identity& signer = issuer != nullptr ? *issuer : identity;
    std::uint64_t serial = 0;
    const char* name = contents.hosts != nullptr ? "infosync-cloud" : "infosync-cloud local authority";
    ThrowUnless(X509_set_version(certificate, X509_VERSION_3) == 1 &&
                X509_set_pubkey(certificate, identity.key.get()) == 1 &&
                RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof(serial)) == 1 &&
                ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial) == 1 &&
                X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8,
                                           reinterpret_cast<const unsigned char*>(name), -1, -1, 0) == 1 &&
                X509_gmtime_adj(X509_getm_notBefore(certificate), contents.validFrom) != nullptr &&
                X509_gmtime_adj(X509_getm_notAfter(certificate), contents.validTo) != nullptr &&
                X509_set_issuer_name(certificate, X509_get_subject_name(signer.certificate.get())) == 1);
    AddExtensions(certificate, signer.certificate.get(), contents);
    ThrowUnless(X509_sign(certificate, signer.key.get(), EVP_sha256()) > 0);
    return identity;
}

Identity LoadAuthority(const std::string& folder) {
    const Bio certificate(BIO_new_file((folder + CERTIFICATE_FILE).c_str(), "r"));
    const Bio key(BIO_new_file((folder + KEY_FILE).c_str(), "r"));
    Identity identity;
    identity.certificate.reset(PEM_read_bio_X509(certificate.get(), nullptr, nullptr, nullptr));
    identity.key.reset(PEM_read_bio_PrivateKey(key.get(), nullptr, nullptr, nullptr));
    if (!identity.certificate || !identity.key ||
        X509_check_private_key(identity.certificate.get(), identity.key.get()) != 1) {
        ERR_clear_error();
        throw std::runtime_error(folder + "/ca.pem and .key are damaged or do not belong together; remove " +
                                 "both: the next command makes others");
    }
    return identity;
}

std::string TextOf(const Bio& bio) {
    char* data = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<std::size_t>(length)};
}

}  // namespace

std::vector<std::string> CertificateFlaws() {
    std::vector<std::string> names;
    std::transform(std::begin(CONTENTS) + 1, std::end(CONTENTS), std::back_inserter(names),
                   [](const Contents& contents) { return contents.flaw; });
    return names;
}

void MakeAuthority(const std::string& folder) {
    if (std::filesystem::exists(folder + CERTIFICATE_FILE) && std::filesystem::exists(folder + KEY_FILE)) {
        return;
    }
    const Identity authority = Issue(AUTHORITY, nullptr);
    const Bio key(BIO_new(BIO_s_mem()));
    const Bio certificate(BIO_new(BIO_s_mem()));
    ThrowUnless(key && certificate &&
                PEM_write_bio_PKCS8PrivateKey(key.get(), authority.key.get(), nullptr, nullptr, 0, nullptr,
                                              nullptr) == 1 &&
                PEM_write_bio_X509(certificate.get(), authority.certificate.get()) == 1);
    Files::Replace(folder + KEY_FILE, TextOf(key));
    Files::Replace(folder + CERTIFICATE_FILE, TextOf(certificate), Files::PUBLIC);
}

TlsContext NewTlsContext(const std::string& folder, const std::string& flaw) {
    const Contents& contents = *std::find_if(std::begin(CONTENTS), std::end(CONTENTS),
                                             [&](const Contents& each) { return flaw == each.flaw; });
    const Identity signer =
        contents.signer == Signer::STRANGER ? Issue(AUTHORITY, nullptr) : LoadAuthority(folder);
    const Identity identity = Issue(contents, contents.signer == Signer::ITSELF ? nullptr : &signer);
    TlsContext context(SSL_CTX_new(TLS_server_method()));
    ThrowUnless(context && SSL_CTX_use_certificate(context.get(), identity.certificate.get()) == 1 &&
                SSL_CTX_use_PrivateKey(context.get(), identity.key.get()) == 1);
    SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    // Many silent connections are to take little memory.
    SSL_CTX_set_mode(context.get(), SSL_MODE_RELEASE_BUFFERS);
    return context;
}

std::string TlsError(const char* otherwise) {
    const char* reason = ERR_reason_error_string(ERR_get_error());
    ERR_clear_error();
    return reason != nullptr ? reason : otherwise;
}

}  // namespace LocalCloud
