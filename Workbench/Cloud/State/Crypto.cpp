#include "Cloud/State/Crypto.h"

#include <glib.h>
#include <openssl/rand.h>
#include <openssl/sha.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "Cli/Text.h"

namespace LocalCloud {

namespace {

using Digest = std::array<unsigned char, SHA256_DIGEST_LENGTH>;

const unsigned char* Bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string Base64UrlEncode(const unsigned char* bytes, std::size_t size) {
    std::string text = Cli::Taken(g_base64_encode(bytes, size));
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    return text.substr(0, text.find('='));
}

}  // namespace

std::string Sha256(const std::string& text) {
    return Cli::Taken(
        g_compute_checksum_for_string(G_CHECKSUM_SHA256, text.c_str(), static_cast<gssize>(text.size())));
}

std::string HmacSha256(const std::string& key, const std::string& text) {
    return Cli::Taken(g_compute_hmac_for_string(G_CHECKSUM_SHA256, Bytes(key), key.size(), text.c_str(),
                                                static_cast<gssize>(text.size())));
}

std::string RandomDigits() {
    Digest bytes = {};
    if (RAND_bytes(bytes.data(), bytes.size()) != 1) {
        throw std::runtime_error("no random numbers: OpenSSL's generator is not seeded");
    }
    return Cli::Taken(g_compute_checksum_for_data(G_CHECKSUM_SHA256, bytes.data(), bytes.size()));
}

std::string ChallengeOf(const std::string& verifier) {
    Digest digest = {};
    SHA256(Bytes(verifier), verifier.size(), digest.data());
    return Base64UrlEncode(digest.data(), digest.size());
}

std::string Base64UrlDecode(const std::string& text) {
    std::string padded = text;
    std::replace(padded.begin(), padded.end(), '-', '+');
    std::replace(padded.begin(), padded.end(), '_', '/');
    padded.append((4 - padded.size() % 4) % 4, '=');
    gsize size = 0;
    if (!padded.empty()) {
        g_base64_decode_inplace(padded.data(), &size);
    }
    padded.resize(size);
    // The library skips what it does not know; only the one right spelling survives this.
    return Base64UrlEncode(Bytes(padded), size) == text ? padded : "";
}

}  // namespace LocalCloud
