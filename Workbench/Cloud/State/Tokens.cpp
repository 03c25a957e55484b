#include "Cloud/State/Tokens.h"

#include <json/json.h>
#include <jwt.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <memory>
#include <stdexcept>

#include "Cli/Json.h"
#include "Cloud/State/Crypto.h"
#include "Files.h"

namespace LocalCloud {

namespace {

// Many more than the televisions of a fleet. Older entries make way, so that a client that signs in over and
// over cannot make the state grow without end.
constexpr Json::ArrayIndex MOST_KEPT = 1000;

constexpr char FILE_NAME[] = "tokens.json";
constexpr char CODES[] = "used_codes";
constexpr char LOGIN[] = "login";
constexpr char EXPIRES[] = "expires";
constexpr char TOKEN[] = "token";
// A grant's refresh tokens: the one in use, and the one that it was traded for and that was not used yet.
constexpr char CURRENT[] = "current";
constexpr char NEXT[] = "next";

Json::Value Stored(const Ticket& ticket) {
    Json::Value stored;
    stored[TOKEN] = ticket.token;
    stored[EXPIRES] = Json::Int64(ticket.expires);
    return stored;
}

void Append(Json::Value& list, Json::Value entry) {
    list.append(std::move(entry));
    while (list.size() > MOST_KEPT) {
        list.removeIndex(0, nullptr);
    }
}

/** What holds for a while in an entry of the store: the entry itself, or a grant's refresh tokens. */
std::vector<Json::Value*> TicketsOf(Json::Value& entry) {
    std::vector<Json::Value*> tickets;
    for (const char* role : {CURRENT, NEXT}) {
        if (entry.isObject() && entry.isMember(role)) {
            tickets.push_back(&entry[role]);
        }
    }
    return tickets.empty() ? std::vector{&entry} : tickets;
}

void RequireList(Json::Value& state, const char* name) {
    if (!state[name].isNull() && !state[name].isArray()) {
        throw std::runtime_error(std::string("tokens.json: \"") + name + "\" must be an array");
    }
}

Json::Value Load(const std::string& path) {
    const auto text = Files::ReadIfThere(path);
    try {
        Json::Value state = text ? Cli::ParseObject(*text, path) : Json::Value(Json::objectValue);
        RequireList(state, CODES);
        for (const Holding* kind : HOLDINGS) {
            RequireList(state, kind->list);
        }
        return state;
    } catch (const std::runtime_error& damage) {
        throw std::runtime_error(std::string(damage.what()) + "; remove " + path +
                                 ": every television then signs in anew");
    }
}

// The claims of an application token.
constexpr char USER_NAME[] = "preferred_username";
constexpr char TOKEN_ID[] = "jti";

using Jwt = std::unique_ptr<jwt_t, decltype(&jwt_free)>;

const unsigned char* Key(const std::string& secret) {
    return reinterpret_cast<const unsigned char*>(secret.data());
}

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

/** Empty where there is no such claim, or it is no text. */
std::string Claim(const Jwt& token, const char* name) {
    const char* claim = jwt_get_grant(token.get(), name);
    return claim != nullptr ? claim : "";
}

void Store(const std::string& path, const Json::Value& state) {
    Files::Replace(path, Cli::EditableJson(state));
}

}  // namespace

TokenStore::TokenStore(const Folder& folder, Clock clock)
    : m_folder(folder),
      m_path(folder.StateFile(FILE_NAME)),
      m_clock(std::move(clock)),
      m_secret(folder.SigningSecret()) {
    const Json::Value damageIsToldNow = Load(m_path);
}

bool TokenStore::Holds(const Json::Value& ticket) const {
    return m_clock() <= Cli::IntegerMember(ticket, EXPIRES);
}

Json::Value* TokenStore::Find(Json::Value& state, const Holding& kind, const std::string& token) const {
    for (auto& entry : state[kind.list]) {
        for (const Json::Value* ticket : TicketsOf(entry)) {
            if (Cli::StringMember(*ticket, TOKEN) == token && Holds(*ticket)) {
                return &entry;
            }
        }
    }
    return nullptr;
}

Ticket TokenStore::Add(Json::Value& state, const Holding& kind, const std::string& token,
                       const std::string& login) const {
    Ticket ticket = {token, m_clock() + m_folder.Lifetime(kind)};
    Json::Value& list = state[kind.list];
    for (Json::ArrayIndex i = list.size(); i-- > 0;) {
        if (Cli::StringMember(list[i], TOKEN) == token) {
            list.removeIndex(i, nullptr);
        }
    }
    Json::Value entry = Stored(ticket);
    entry[LOGIN] = login;
    Append(list, std::move(entry));
    return ticket;
}

TokenPair TokenStore::AddTokens(Json::Value& state, const std::string& login, Json::Value& refresh) const {
    constexpr std::size_t BYTES_OF_TOKEN = 32;
    TokenPair tokens = {"at." + Base64UrlEncode(RandomBytes(BYTES_OF_TOKEN)),
                        "rt." + Base64UrlEncode(RandomBytes(BYTES_OF_TOKEN)),
                        m_folder.Lifetime(Holding::ACCESS), m_folder.Lifetime(Holding::REFRESH)};
    refresh = Stored({tokens.refreshToken, m_clock() + tokens.refreshLifetime});
    Add(state, Holding::ACCESS, tokens.accessToken, login);
    return tokens;
}

bool TokenStore::UseCode(const std::string& code) const {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    Json::Value state = Load(m_path);
    const std::string digest = Hex(Sha256(code));
    Json::Value& used = state[CODES];
    if (std::find(used.begin(), used.end(), Json::Value(digest)) != used.end()) {
        return false;
    }
    Append(used, digest);
    Store(m_path, state);
    return true;
}

TokenPair TokenStore::Issue(const std::string& login) const {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    Json::Value state = Load(m_path);
    Json::Value grant;
    grant[LOGIN] = login;
    TokenPair tokens = AddTokens(state, login, grant[CURRENT]);
    Append(state[Holding::REFRESH.list], grant);
    Store(m_path, state);
    return tokens;
}

std::optional<TokenPair> TokenStore::Refresh(const std::string& refreshToken) const {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    Json::Value state = Load(m_path);
    Json::Value* grant = Find(state, Holding::REFRESH, refreshToken);
    if (grant == nullptr) {
        return std::nullopt;
    }
    if (Cli::StringMember((*grant)[NEXT], TOKEN) == refreshToken) {
        (*grant)[CURRENT] = (*grant)[NEXT];
    }
    TokenPair tokens = AddTokens(state, Cli::StringMember(*grant, LOGIN), (*grant)[NEXT]);
    Store(m_path, state);
    return tokens;
}

Ticket TokenStore::Give(const Holding& kind, const std::string& token, const std::string& login) const {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    Json::Value state = Load(m_path);
    Ticket ticket = Add(state, kind, token, login);
    Store(m_path, state);
    return ticket;
}

std::optional<std::string> TokenStore::OwnerOf(const Holding& kind, const std::string& token) const {
    Json::Value state = Load(m_path);
    const Json::Value* entry = Find(state, kind, token);
    return entry != nullptr ? std::optional(Cli::StringMember(*entry, LOGIN)) : std::nullopt;
}

std::int64_t TokenStore::Expire(const Holding& kind, const std::string& login) const {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    Json::Value state = Load(m_path);
    std::int64_t expired = 0;
    for (auto& entry : state[kind.list]) {
        for (Json::Value* ticket : TicketsOf(entry)) {
            if (Cli::StringMember(entry, LOGIN) == login && Holds(*ticket)) {
                (*ticket)[EXPIRES] = Json::Int64(m_clock() - 1);
                ++expired;
            }
        }
    }
    if (expired > 0) {
        Store(m_path, state);
    }
    return expired;
}

std::string TokenStore::UserId(const std::string& login) const {
    constexpr std::size_t DIGITS = 20;
    return HmacSha256(m_secret, "user " + login).substr(0, DIGITS);
}

std::string TokenStore::DeviceId(const std::string& login, const std::string& cdid) const {
    constexpr std::size_t DIGITS = 32;
    // The length keeps two pairs apart whose texts run into the same whole.
    const std::string device = "device " + std::to_string(login.size()) + ":" + login + cdid;
    return HmacSha256(m_secret, device).substr(0, DIGITS);
}

std::vector<std::string> StoredTokens(const Folder& folder) {
    Json::Value state = Load(folder.StateFile(FILE_NAME));
    std::vector<std::string> tokens;
    for (const Holding* kind : {&Holding::ACCESS, &Holding::REFRESH}) {
        for (auto& entry : state[kind->list]) {
            for (const Json::Value* ticket : TicketsOf(entry)) {
                tokens.push_back(Cli::StringMember(*ticket, TOKEN));
            }
        }
    }
    return tokens;
}

std::string SignAppToken(const AppToken& token, std::int64_t expires, const std::string& secret) {
    jwt_t* made = nullptr;
    const bool isMade = jwt_new(&made) == 0;
    const Jwt jwt(made, &jwt_free);
    // The library's type ends in 2038 where it has 32 bits.
    const auto last = static_cast<long>(std::min<std::int64_t>(expires, std::numeric_limits<long>::max()));
    const bool isFilled = isMade && jwt_add_grant(made, USER_NAME, token.login.c_str()) == 0 &&
                          jwt_add_grant(made, TOKEN_ID, token.id.c_str()) == 0 &&
                          jwt_add_grant_int(made, "exp", last) == 0 &&
                          jwt_set_alg(made, JWT_ALG_HS256, Key(secret), static_cast<int>(secret.size())) == 0;
    const std::unique_ptr<char, decltype(&std::free)> text(isFilled ? jwt_encode_str(made) : nullptr,
                                                           &std::free);
    if (!text) {
        throw std::runtime_error("could not sign an application token");
    }
    return text.get();
}

std::optional<AppToken> VerifyAppToken(const std::string& text, const std::string& secret) {
    if (!IsCompactForm(text)) {
        return std::nullopt;
    }
    jwt_t* decoded = nullptr;
    jwt_decode(&decoded, text.c_str(), Key(secret), static_cast<int>(secret.size()));
    const Jwt token(decoded, &jwt_free);
    // The token names its algorithm itself: any but the one that this cloud signs with is refused.
    if (!token || jwt_get_alg(token.get()) != JWT_ALG_HS256) {
        return std::nullopt;
    }
    const AppToken claims = {Claim(token, USER_NAME), Claim(token, TOKEN_ID)};
    return claims.id.empty() ? std::nullopt : std::optional(claims);
}

}  // namespace LocalCloud
