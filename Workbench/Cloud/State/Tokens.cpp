#include "Cloud/State/Tokens.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Cli/Json.h"
#include "Cloud/State/Crypto.h"
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
    if (state[name].isNull()) {
        state[name] = Json::arrayValue;
    }
    if (!state[name].isArray()) {
        throw std::runtime_error(std::string("tokens.json: \"") + name + "\" must be an array");
    }
}

Json::Value Load(const std::string& path) {
    const auto text = Files::ReadIfThere(path);
    Json::Value state = Json::objectValue;
    try {
        if (text) {
            state = Cli::ParseObject(*text, path);
        }
        RequireList(state, CODES);
        for (const HoldingKind& kind : HOLDINGS) {
            RequireList(state, kind.list);
        }
    } catch (const std::runtime_error& damage) {
        throw std::runtime_error(std::string(damage.what()) + "; remove " + path +
                                 ": every television then signs in anew");
    }
    return state;
}

}  // namespace

class TokenStore::Turn {
public:
    explicit Turn(TokenStore& store) : m_thread(store.m_mutex), m_process(store.m_folder.LockForEdit()) {
        store.Reload();
    }

private:
    std::lock_guard<std::mutex> m_thread;
    Cli::FileLock m_process;
};

TokenStore::TokenStore(const Folder& folder, Clock clock)
    : m_folder(folder),
      m_path(folder.StateFile("tokens.json")),
      m_settings(folder.SettingsFile()),
      m_clock(std::move(clock)),
      m_secret(m_settings.SigningSecret()) {
    const Turn turn(*this);
}

bool TokenStore::UseCode(const std::string& code) {
    const Turn turn(*this);
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
    const Turn turn(*this);
    Json::Value state = m_state;
    TokenPair tokens = AddTokens(state, login);
    Json::Value grant;
    grant[LOGIN] = login;
    grant[CURRENT] = Stored({tokens.refreshToken, m_clock() + tokens.refreshLifetime});
    Append(state[KindOf(Holding::REFRESH).list], grant);
    Commit(std::move(state));
    return tokens;
}

std::optional<TokenPair> TokenStore::Refresh(const std::string& refreshToken) {
    const Turn turn(*this);
    Json::Value state = m_state;
    Json::Value* grant = FindEntry(state, Holding::REFRESH, refreshToken);
    if (grant == nullptr) {
        return std::nullopt;
    }
    if (Cli::StringMember((*grant)[NEXT], TOKEN) == refreshToken) {
        (*grant)[CURRENT] = (*grant)[NEXT];
    }
    TokenPair tokens = AddTokens(state, Cli::StringMember(*grant, LOGIN));
    (*grant)[NEXT] = Stored({tokens.refreshToken, m_clock() + tokens.refreshLifetime});
    Commit(std::move(state));
    return tokens;
}

Ticket TokenStore::Give(Holding kind, const std::string& token, const std::string& login) {
    const Turn turn(*this);
    Json::Value state = m_state;
    Ticket ticket = Add(state, kind, token, login);
    Commit(std::move(state));
    return ticket;
}

std::optional<std::string> TokenStore::OwnerOf(Holding kind, const std::string& token) {
    const Turn turn(*this);
    const Json::Value* entry = FindEntry(m_state, kind, token);
    return entry != nullptr ? std::optional(Cli::StringMember(*entry, LOGIN)) : std::nullopt;
}

std::int64_t TokenStore::Expire(Holding kind, const std::string& login) {
    const Turn turn(*this);
    Json::Value state = m_state;
    std::int64_t expired = 0;
    for (auto& entry : state[KindOf(kind).list]) {
        for (Json::Value* ticket : TicketsOf(entry)) {
            if (Cli::StringMember(entry, LOGIN) == login && Holds(*ticket)) {
                (*ticket)[EXPIRES] = Json::Int64(m_clock() - 1);
                ++expired;
            }
        }
    }
    if (expired > 0) {
        Commit(std::move(state));
    }
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

Ticket TokenStore::Add(Json::Value& state, Holding kind, const std::string& token,
                       const std::string& login) const {
    Ticket ticket = {token, m_clock() + m_settings.Lifetime(kind)};
    Json::Value& list = state[KindOf(kind).list];
    for (Json::ArrayIndex i = list.size(); i-- > 0;) {
        if (Cli::StringMember(list[i], TOKEN) == token) {
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
                        "rt." + Base64UrlEncode(RandomBytes(TOKEN_BYTES)),
                        m_settings.Lifetime(Holding::ACCESS), m_settings.Lifetime(Holding::REFRESH)};
    Add(state, Holding::ACCESS, tokens.accessToken, login);
    return tokens;
}

bool TokenStore::Holds(const Json::Value& ticket) const {
    return m_clock() <= Cli::IntegerMember(ticket, EXPIRES);
}

Json::Value* TokenStore::FindEntry(Json::Value& state, Holding kind, const std::string& token) const {
    for (auto& entry : state[KindOf(kind).list]) {
        for (const Json::Value* ticket : TicketsOf(entry)) {
            if (Cli::StringMember(*ticket, TOKEN) == token && Holds(*ticket)) {
                return &entry;
            }
        }
    }
    return nullptr;
}

std::vector<std::string> TokenStore::Secrets() {
    const Turn turn(*this);
    std::vector<std::string> secrets;
    for (const HoldingKind& kind : HOLDINGS) {
        for (auto& entry : m_state[kind.list]) {
            for (const Json::Value* ticket : TicketsOf(entry)) {
                secrets.push_back(Cli::StringMember(*ticket, TOKEN));
            }
        }
    }
    return secrets;
}

void TokenStore::Reload() {
    if (!m_open || !(Files::Version(m_path) == m_version)) {
        Remember(Load(m_path));
    }
}

void TokenStore::Commit(Json::Value state) {
    Files::Replace(m_path, Cli::EditableJson(state));
    Remember(std::move(state));
}

void TokenStore::Remember(Json::Value state) {
    m_open.reset(std::fopen(m_path.c_str(), "re"));
    m_version = Files::Version(m_path);
    m_state = std::move(state);
}

}  // namespace LocalCloud
