#include "Cloud/State/Tokens.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Cloud/State/Crypto.h"
#include "Cloud/Util/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr std::size_t TOKEN_BYTES = 32;
constexpr std::size_t USER_ID_BYTES = 10;
constexpr std::size_t DEVICE_ID_BYTES = 16;

// Many more than the televisions of a fleet. Older entries make way, so that a client that signs in over and
// over cannot make the state grow without end.
constexpr Json::ArrayIndex MOST_KEPT = 2000;

constexpr char CODES[] = "used_codes";
constexpr char ACCESS[] = "access_tokens";
constexpr char GRANTS[] = "grants";
constexpr char ACTIVATIONS[] = "activations";
constexpr char APP_TICKETS[] = "app_tickets";
constexpr char LOGIN[] = "login";
constexpr char EXPIRES[] = "expires";
constexpr char TOKEN[] = "token";
// A grant's refresh tokens: the one in use, and the one that it was traded for and that was not used yet.
constexpr char CURRENT[] = "current";
constexpr char NEXT[] = "next";

const char* ListOf(const std::string& kind) {
    return kind == "access" ? ACCESS : kind == "refresh" ? GRANTS : kind == "app" ? APP_TICKETS : ACTIVATIONS;
}

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

Json::Value Load(const std::string& path) {
    const auto text = Files::ReadIfThere(path);
    Json::Value state = Json::objectValue;
    try {
        if (text) {
            state = ParseJsonObject(*text, path);
        }
        for (const char* name : {CODES, ACCESS, GRANTS, ACTIVATIONS, APP_TICKETS}) {
            if (state[name].isNull()) {
                state[name] = Json::arrayValue;
            }
            if (!state[name].isArray()) {
                throw std::runtime_error(path + ": \"" + name + "\" must be an array");
            }
        }
    } catch (const std::runtime_error& damage) {
        throw std::runtime_error(std::string(damage.what()) +
                                 "; remove the file: every television then signs in anew");
    }
    return state;
}

}  // namespace

TokenStore::TokenStore(const Folder& folder, Clock clock)
    : m_path(folder.StateFile("tokens.json")),
      m_settings(folder.SettingsFile()),
      m_clock(std::move(clock)),
      m_secret(m_settings.SigningSecret()),
      m_state(Load(m_path)) {}

bool TokenStore::UseCode(const std::string& code) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::string digest = Hex(Sha256(code));
    Json::Value state = m_state;
    Json::Value& used = state[CODES];
    if (std::find(used.begin(), used.end(), Json::Value(digest)) != used.end()) {
        return false;
    }
    Append(used, digest);
    Commit(std::move(state));
    return true;
}

TokenPair TokenStore::Issue(const std::string& login) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    Json::Value state = m_state;
    TokenPair tokens = AddTokens(state, login);
    Json::Value grant;
    grant[LOGIN] = login;
    grant[CURRENT] = Stored({tokens.refreshToken, m_clock() + tokens.refreshLifetime});
    Append(state[GRANTS], grant);
    Commit(std::move(state));
    return tokens;
}

std::optional<TokenPair> TokenStore::Refresh(const std::string& refreshToken) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    Json::Value state = m_state;
    Json::Value* grant = FindEntry(state, "refresh", refreshToken);
    if (grant == nullptr) {
        return std::nullopt;
    }
    if (TextMember((*grant)[NEXT], TOKEN) == refreshToken) {
        (*grant)[CURRENT] = (*grant)[NEXT];
    }
    TokenPair tokens = AddTokens(state, TextMember(*grant, LOGIN));
    (*grant)[NEXT] = Stored({tokens.refreshToken, m_clock() + tokens.refreshLifetime});
    Commit(std::move(state));
    return tokens;
}

Ticket TokenStore::Give(const std::string& kind, const std::string& token, const std::string& login) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    Json::Value state = m_state;
    Ticket ticket = Add(state, kind, token, login);
    Commit(std::move(state));
    return ticket;
}

std::optional<std::string> TokenStore::OwnerOf(const std::string& kind, const std::string& token) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Json::Value* entry = FindEntry(m_state, kind, token);
    return entry != nullptr ? std::optional(TextMember(*entry, LOGIN)) : std::nullopt;
}

std::int64_t TokenStore::Expire(const std::string& kind, const std::string& login) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    Json::Value state = m_state;
    std::int64_t expired = 0;
    for (auto& entry : state[ListOf(kind)]) {
        for (Json::Value* ticket : TicketsOf(entry)) {
            if (TextMember(entry, LOGIN) == login && Holds(*ticket)) {
                (*ticket)[EXPIRES] = Json::Int64(m_clock() - 1);
                ++expired;
            }
        }
    }
    Commit(std::move(state));
    return expired;
}

std::string TokenStore::UserId(const std::string& login) const {
    return Hex(HmacSha256(m_secret, "user " + login)).substr(0, 2 * USER_ID_BYTES);
}

std::string TokenStore::DeviceId(const std::string& login, const std::string& cdid) const {
    // The length keeps two pairs apart whose texts run into the same whole.
    const std::string device = "device " + std::to_string(login.size()) + ":" + login + cdid;
    return Hex(HmacSha256(m_secret, device)).substr(0, 2 * DEVICE_ID_BYTES);
}

Ticket TokenStore::Add(Json::Value& state, const std::string& kind, const std::string& token,
                       const std::string& login) const {
    Ticket ticket = {token, m_clock() + m_settings.Lifetime(kind)};
    Json::Value& list = state[ListOf(kind)];
    for (Json::ArrayIndex i = list.size(); i-- > 0;) {
        if (TextMember(list[i], TOKEN) == token) {
            list.removeIndex(i, nullptr);
        }
    }
    Json::Value entry = Stored(ticket);
    entry[LOGIN] = login;
    Append(list, entry);
    return ticket;
}

TokenPair TokenStore::AddTokens(Json::Value& state, const std::string& login) const {
    TokenPair tokens = {"at." + Base64UrlEncode(RandomBytes(TOKEN_BYTES)),
                        "rt." + Base64UrlEncode(RandomBytes(TOKEN_BYTES)), m_settings.Lifetime("access"),
                        m_settings.Lifetime("refresh")};
    Add(state, "access", tokens.accessToken, login);
    return tokens;
}

bool TokenStore::Holds(const Json::Value& ticket) const {
    return m_clock() <= IntegerMember(ticket, EXPIRES);
}

Json::Value* TokenStore::FindEntry(Json::Value& state, const std::string& kind,
                                   const std::string& token) const {
    for (auto& entry : state[ListOf(kind)]) {
        for (const Json::Value* ticket : TicketsOf(entry)) {
            if (TextMember(*ticket, TOKEN) == token && Holds(*ticket)) {
                return &entry;
            }
        }
    }
    return nullptr;
}

void TokenStore::Commit(Json::Value state) {
    Files::Replace(m_path, ReadableJson(state));
    m_state = std::move(state);
}

}  // namespace LocalCloud
