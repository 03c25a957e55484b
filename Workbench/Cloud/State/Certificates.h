/** The certificates in tls/: an authority of the cloud's own, and what it issues, rightly and wrongly. */
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

namespace LocalCloud {

struct OpenSslDeleter {
    void operator()(EVP_PKEY* key) const {
        EVP_PKEY_free(key);
    }
    void operator()(X509* certificate) const {
        X509_free(certificate);
    }
};

/** A certificate with its private key. */
struct Identity {
    std::unique_ptr<EVP_PKEY, OpenSslDeleter> key;
    std::unique_ptr<X509, OpenSslDeleter> certificate;
};

/** What may be the matter with a server certificate. */
std::vector<std::string> CertificateFlaws();

/**
 * Makes ca.pem, ca.key, server.pem and server.key in the folder. What is there and still good stays, so that
 * clients that trust the authority go on doing so. @throws std::runtime_error
 */
void MakeCertificates(const std::string& folder);

/** Reads NAME.pem and NAME.key, "ca" or "server". @throws std::runtime_error that says what to do */
Identity LoadIdentity(const std::string& folder, const std::string& name);

/** A certificate for the cloud's hosts that is right but for the flaw, of which there may be none. */
Identity MakeServerIdentity(const Identity& authority, const std::string& flaw = "");

}  // namespace LocalCloud
