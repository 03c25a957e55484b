#include "Cloud/Service/TokenStore.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Cloud/Util/Crypto.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr std::size_t TOKEN_BYTES = 32;
constexpr std::size_t TICKET_BYTES = 12;
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

Json::Value Stored(const Ticket& ticket, const std::string& login) {
    Json::Value stored = Stored(ticket);
    stored[LOGIN] = login;
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
        state = text ? ParseJsonObject(*text, path) : state;
        for (const char* name : {CODES, ACCESS, GRANTS, ACTIVATIONS, APP_TICKETS}) {
            if (state[name].isNull()) {
                state[name] = Json::arrayValue;
            }
            if (!state[name].isArray()) {
                throw CloudError(path + ": \"" + name + "\" must be an array");
            }
        }
    } catch (const CloudError& damage) {
        throw CloudError(std::string(damage.what()) +
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

Ticket TokenStore::Activate(const std::string& login, const std::string& cdid) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    // The lengths keep two pairs apart whose texts run into the same whole.
    const std::string device = std::to_string(login.size()) + ":" + login + cdid;
    Ticket ticket = {Hex(HmacSha256(m_secret, "device " + device)).substr(0, 2 * DEVICE_ID_BYTES),
                     m_clock() + m_settings.Lifetime("activation")};
    Json::Value state = m_state;
    Json::Value& activations = state[ACTIVATIONS];
    for (Json::ArrayIndex i = activations.size(); i-- > 0;) {
        if (TextMember(activations[i], TOKEN) == ticket.token) {
            activations.removeIndex(i, nullptr);
        }
    }
    Append(activations, Stored(ticket, login));
    Commit(std::move(state));
    return ticket;
}

Ticket TokenStore::IssueAppTicket(const std::string& login) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    Ticket ticket = {Base64UrlEncode(RandomBytes(TICKET_BYTES)), m_clock() + m_settings.Lifetime("app")};
    Json::Value state = m_state;
    Append(state[APP_TICKETS], Stored(ticket, login));
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

TokenPair TokenStore::AddTokens(Json::Value& state, const std::string& login) const {
    TokenPair tokens = {"at." + Base64UrlEncode(RandomBytes(TOKEN_BYTES)),
                        "rt." + Base64UrlEncode(RandomBytes(TOKEN_BYTES)), m_settings.Lifetime("access"),
                        m_settings.Lifetime("refresh")};
    Append(state[ACCESS], Stored({tokens.accessToken, m_clock() + tokens.accessLifetime}, login));
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
