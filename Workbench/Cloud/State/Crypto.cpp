#include "Cloud/State/Crypto.h"

#include <glib.h>
#include <openssl/rand.h>
#include <openssl/sha.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "Cli/Text.h"

namespace LocalCloud {

namespace {

const unsigned char* Bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* Bytes(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

}  // namespace

std::string Sha256(const std::string& bytes) {
    std::string digest(SHA256_DIGEST_LENGTH, '\0');
    SHA256(Bytes(bytes), bytes.size(), Bytes(digest));
    return digest;
}

std::string HmacSha256(const std::string& key, const std::string& bytes) {
    return Cli::Taken(
        g_compute_hmac_for_data(G_CHECKSUM_SHA256, Bytes(key), key.size(), Bytes(bytes), bytes.size()));
}

std::string RandomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    if (RAND_bytes(Bytes(bytes), static_cast<int>(count)) != 1) {
        throw std::runtime_error("no random numbers: OpenSSL's generator is not seeded");
    }
    return bytes;
}

std::string Base64UrlEncode(const std::string& bytes) {
    std::string text = Cli::Taken(g_base64_encode(Bytes(bytes), bytes.size()));
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    text.erase(std::find(text.begin(), text.end(), '='), text.end());
    return text;
}

std::optional<std::string> Base64UrlDecode(const std::string& text) {
    std::string padded = text;
    std::replace(padded.begin(), padded.end(), '-', '+');
    std::replace(padded.begin(), padded.end(), '_', '/');
    padded.append((4 - padded.size() % 4) % 4, '=');
    gsize length = 0;
    const std::unique_ptr<guchar, decltype(&g_free)> decoded(g_base64_decode(padded.c_str(), &length),
                                                             &g_free);
    std::string bytes(reinterpret_cast<const char*>(decoded.get()), length);
    // The library skips what it does not know; only the one right spelling survives this.
    if (Base64UrlEncode(bytes) != text) {
        return std::nullopt;
    }
    return bytes;
}

std::string Hex(const std::string& bytes) {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += DIGITS[value >> 4U];
        text += DIGITS[value & 0xFU];
    }
    return text;
}

}  // namespace LocalCloud
