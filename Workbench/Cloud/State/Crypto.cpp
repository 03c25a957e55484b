#include "Cloud/State/Crypto.h"

#include <glib.h>
#include <jwt.h>
#include <openssl/crypto.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "Cloud/Util/Json.h"

namespace LocalCloud {

namespace {

const unsigned char* Bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* Bytes(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

using Jwt = std::unique_ptr<jwt_t, decltype(&jwt_free)>;
using JwtText = std::unique_ptr<char, decltype(&std::free)>;

/**
 * RFC 7515, section 3.1: three parts in base64url. The library must not see anything else: it passes what
 * comes after a NUL, and version 1.10 writes a byte beyond the memory that it takes for an empty part.
 */
bool IsCompactForm(const std::string& token) {
    constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
    return token.find_first_not_of(ALPHABET) == std::string::npos &&
           std::count(token.begin(), token.end(), '.') == 2 && token.front() != '.' && token.back() != '.' &&
           token.find("..") == std::string::npos;
}

}  // namespace

std::string Sha256(const std::string& bytes) {
    std::string digest(SHA256_DIGEST_LENGTH, '\0');
    SHA256(Bytes(bytes), bytes.size(), Bytes(digest));
    return digest;
}

std::string HmacSha256(const std::string& key, const std::string& bytes) {
    std::string digest(SHA256_DIGEST_LENGTH, '\0');
    HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), Bytes(bytes), bytes.size(), Bytes(digest),
         nullptr);
    return digest;
}

std::string RandomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    if (RAND_bytes(Bytes(bytes), static_cast<int>(count)) != 1) {
        throw std::runtime_error("no random numbers: OpenSSL's generator is not seeded");
    }
    return bytes;
}

std::string Base64UrlEncode(const std::string& bytes) {
    const std::unique_ptr<char, decltype(&g_free)> encoded(g_base64_encode(Bytes(bytes), bytes.size()),
                                                           &g_free);
    std::string text = encoded.get();
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

bool SameSecret(const std::string& left, const std::string& right) {
    return left.size() == right.size() && CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

std::string SignToken(const Json::Value& claims, const std::string& secret) {
    jwt_t* made = nullptr;
    jwt_new(&made);
    const Jwt token(made, &jwt_free);
    const bool filled =
        token && jwt_add_grants_json(token.get(), CompactJson(claims).c_str()) == 0 &&
        jwt_set_alg(token.get(), JWT_ALG_HS256, Bytes(secret), static_cast<int>(secret.size())) == 0;
    const JwtText text(filled ? jwt_encode_str(token.get()) : nullptr, &std::free);
    if (!text) {
        throw std::runtime_error("could not sign an application token");
    }
    return text.get();
}

std::optional<Json::Value> VerifyToken(const std::string& token, const std::string& secret) {
    if (!IsCompactForm(token)) {
        return std::nullopt;
    }
    jwt_t* decoded = nullptr;
    jwt_decode(&decoded, token.c_str(), Bytes(secret), static_cast<int>(secret.size()));
    const Jwt verified(decoded, &jwt_free);
    // The token names its algorithm itself: any but the one that this cloud signs with is refused.
    if (!verified || jwt_get_alg(verified.get()) != JWT_ALG_HS256) {
        return std::nullopt;
    }
    const JwtText claims(jwt_get_grants_json(verified.get(), nullptr), &std::free);
    try {
        return ParseJsonObject(claims ? claims.get() : "", "token");
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

}  // namespace LocalCloud
