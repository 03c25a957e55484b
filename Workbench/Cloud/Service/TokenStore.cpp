#include "Cloud/Service/TokenStore.h"

#include <algorithm>
#include <utility>

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
constexpr Json::ArrayIndex CODES_KEPT = 2000;
constexpr Json::ArrayIndex TOKENS_KEPT = 2000;

constexpr char CODES[] = "used_codes";
constexpr char ACCESS[] = "access_tokens";
constexpr char GRANTS[] = "grants";
constexpr char ACTIVATIONS[] = "activations";
constexpr char APP_TICKETS[] = "app_tickets";
constexpr char LOGIN[] = "login";
constexpr char EXPIRES[] = "expires";
constexpr char TOKEN[] = "token";
constexpr char CURRENT[] = "current";
constexpr char NEXT[] = "next";

std::string NewToken(const char* prefix) {
    return prefix + Base64UrlEncode(RandomBytes(TOKEN_BYTES));
}

Json::Value Ticket(const std::string& token, std::int64_t expires) {
    Json::Value ticket;
    ticket[TOKEN] = token;
    ticket[EXPIRES] = Json::Int64(expires);
    return ticket;
}

Json::Value Ticket(const std::string& token, std::int64_t expires, const std::string& login) {
    Json::Value ticket = Ticket(token, expires);
    ticket[LOGIN] = login;
    return ticket;
}

const char* ListOf(const std::string& kind) {
    return kind == "access" ? ACCESS : kind == "refresh" ? GRANTS : kind == "app" ? APP_TICKETS : ACTIVATIONS;
}

void Append(Json::Value& list, Json::Value entry, Json::ArrayIndex limit) {
    list.append(std::move(entry));
    while (list.size() > limit) {
        list.removeIndex(0, nullptr);
    }
}

bool IsValid(const Json::Value& ticket, std::int64_t now) {
    return now <= IntegerMember(ticket, EXPIRES);
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
    for (const auto& used : m_state[CODES]) {
        if (used == digest) {
            return false;
        }
    }
    Json::Value state = m_state;
    Append(state[CODES], digest, CODES_KEPT);
    Commit(std::move(state));
    return true;
}

TokenPair TokenStore::Issue(const std::string& login) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    Json::Value state = m_state;
    TokenPair tokens = AddTokens(state, login);
    Json::Value grant;
    grant[LOGIN] = login;
    grant[CURRENT] = Ticket(tokens.refreshToken, m_clock() + tokens.refreshLifetime);
    Append(state[GRANTS], grant, TOKENS_KEPT);
    Commit(std::move(state));
    return tokens;
}

std::optional<TokenPair> TokenStore::Refresh(const std::string& refreshToken) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    Json::Value state = m_state;
    Json::Value* grant = FindGrant(state, refreshToken);
    if (grant == nullptr) {
        return std::nullopt;
    }
    if (TextMember((*grant)[NEXT], TOKEN) == refreshToken) {
        (*grant)[CURRENT] = (*grant)[NEXT];
    }
    TokenPair tokens = AddTokens(state, TextMember(*grant, LOGIN));
    (*grant)[NEXT] = Ticket(tokens.refreshToken, m_clock() + tokens.refreshLifetime);
    Commit(std::move(state));
    return tokens;
}

std::optional<std::string> TokenStore::RefreshTokenOwner(const std::string& token) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Json::Value* grant = FindGrant(m_state, token);
    return grant != nullptr ? std::optional(TextMember(*grant, LOGIN)) : std::nullopt;
}

std::optional<std::string> TokenStore::AccessTokenOwner(const std::string& token) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& ticket : std::as_const(m_state)[ACCESS]) {
        if (TextMember(ticket, TOKEN) == token && IsValid(ticket, m_clock())) {
            return TextMember(ticket, LOGIN);
        }
    }
    return std::nullopt;
}

Activation TokenStore::Activate(const std::string& login, const std::string& cdid) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    // The lengths keep two pairs apart whose texts run into the same whole.
    const std::string device = std::to_string(login.size()) + ":" + login + cdid;
    Activation activation = {Hex(HmacSha256(m_secret, "device " + device)).substr(0, 2 * DEVICE_ID_BYTES),
                             m_clock() + m_settings.Lifetime("activation")};
    Json::Value state = m_state;
    Json::Value kept = Json::arrayValue;
    for (const auto& ticket : state[ACTIVATIONS]) {
        if (TextMember(ticket, TOKEN) != activation.deviceId) {
            kept.append(ticket);
        }
    }
    Append(kept, Ticket(activation.deviceId, activation.expiresAt, login), TOKENS_KEPT);
    state[ACTIVATIONS] = kept;
    Commit(std::move(state));
    return activation;
}

bool TokenStore::IsActivated(const std::string& login, const std::string& deviceId) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& ticket : std::as_const(m_state)[ACTIVATIONS]) {
        if (TextMember(ticket, TOKEN) == deviceId && TextMember(ticket, LOGIN) == login) {
            return IsValid(ticket, m_clock());
        }
    }
    return false;
}

AppTicket TokenStore::IssueAppTicket(const std::string& login) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::int64_t now = m_clock();
    AppTicket ticket = {Base64UrlEncode(RandomBytes(TICKET_BYTES)), now, now + m_settings.Lifetime("app")};
    Json::Value state = m_state;
    Append(state[APP_TICKETS], Ticket(ticket.id, ticket.expiresAt, login), TOKENS_KEPT);
    Commit(std::move(state));
    return ticket;
}

bool TokenStore::IsValidAppTicket(const std::string& id) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Json::Value& tickets = std::as_const(m_state)[APP_TICKETS];
    return std::any_of(tickets.begin(), tickets.end(), [&](const Json::Value& ticket) {
        return TextMember(ticket, TOKEN) == id && IsValid(ticket, m_clock());
    });
}

std::int64_t TokenStore::Expire(const std::string& kind, const std::string& login) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    Json::Value state = m_state;
    std::int64_t expired = 0;
    const auto end = [&](Json::Value& ticket) {
        if (IsValid(ticket, m_clock())) {
            ticket[EXPIRES] = Json::Int64(m_clock() - 1);
            ++expired;
        }
    };
    for (auto& entry : state[ListOf(kind)]) {
        if (TextMember(entry, LOGIN) != login) {
            continue;
        }
        if (kind == "refresh") {
            end(entry[CURRENT]);
            end(entry[NEXT]);
        } else {
            end(entry);
        }
    }
    Commit(std::move(state));
    return expired;
}

std::string TokenStore::UserId(const std::string& login) const {
    return Hex(HmacSha256(m_secret, "user " + login)).substr(0, 2 * USER_ID_BYTES);
}

/** The valid refresh token's entry in the given state. */
Json::Value* TokenStore::FindGrant(Json::Value& state, const std::string& refreshToken) const {
    for (auto& grant : state[GRANTS]) {
        for (const char* role : {CURRENT, NEXT}) {
            const Json::Value& ticket =
                grant.isObject() ? std::as_const(grant)[role] : Json::Value::nullSingleton();
            if (!refreshToken.empty() && TextMember(ticket, TOKEN) == refreshToken &&
                IsValid(ticket, m_clock())) {
                return &grant;
            }
        }
    }
    return nullptr;
}

TokenPair TokenStore::AddTokens(Json::Value& state, const std::string& login) const {
    TokenPair tokens = {NewToken("at."), NewToken("rt."), m_settings.Lifetime("access"),
                        m_settings.Lifetime("refresh")};
    Append(state[ACCESS], Ticket(tokens.accessToken, m_clock() + tokens.accessLifetime, login), TOKENS_KEPT);
    return tokens;
}

void TokenStore::Commit(Json::Value state) {
    Files::Replace(m_path, ReadableJson(state));
    m_state = std::move(state);
}

}  // namespace LocalCloud
