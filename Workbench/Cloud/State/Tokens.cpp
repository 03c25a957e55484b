#include "Cloud/State/Tokens.h"

#include <glib.h>
#include <jwt.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>

#include "Cli/Json.h"
#include "Cloud/State/Crypto.h"
#include "Files.h"

namespace LocalCloud {

namespace {

// Many more than the televisions of a fleet. Older entries make way, so that a client that signs in over and
// over cannot make the state grow without end.
constexpr Json::ArrayIndex MOST_KEPT = 1000;

// Beside a list for each of HOLDINGS, in tokens.json:
constexpr char CODES[] = "used_codes";
constexpr char TOKEN[] = "token";
constexpr char LOGIN[] = "login";
constexpr char EXPIRES[] = "expires";
/** The refresh token that this one was traded for. */
constexpr char REPLACES[] = "replaces";

void Append(Json::Value& list, Json::Value entry) {
    list.append(std::move(entry));
    while (list.size() > MOST_KEPT) {
        list.removeIndex(0, nullptr);
    }
}

void Remove(Json::Value& list, const char* member, const std::string& value) {
    for (Json::ArrayIndex i = list.size(); i-- > 0;) {
        if (Cli::StringMember(list[i], member) == value) {
            list.removeIndex(i, nullptr);
        }
    }
}

/** The entry in a list, or null. */
Json::Value Entry(const Json::Value& list, const std::string& token) {
    const auto entry = std::find_if(list.begin(), list.end(), [&](const Json::Value& each) {
        return Cli::StringMember(each, TOKEN) == token;
    });
    return entry != list.end() ? *entry : Json::Value();
}

void RequireList(const Json::Value& state, const char* name) {
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
            RequireList(state, kind->name);
        }
        return state;
    } catch (const std::runtime_error& damage) {
        throw std::runtime_error(std::string(damage.what()) + "; remove " + path +
                                 ": every television then signs in anew");
    }
}

std::string SignAppToken(const std::string& login, std::int64_t expires, const std::string& secret) {
    jwt_t* made = nullptr;
    const bool isMade = jwt_new(&made) == 0;
    const std::unique_ptr<jwt_t, decltype(&jwt_free)> jwt(made, &jwt_free);
    const std::string id = RandomDigits();
    const auto* key = reinterpret_cast<const unsigned char*>(secret.data());
    // The library's type ends in 2038 where it has 32 bits.
    const auto last = static_cast<long>(std::min<std::int64_t>(expires, std::numeric_limits<long>::max()));
    const bool isFilled = isMade && jwt_add_grant(made, "preferred_username", login.c_str()) == 0 &&
                          jwt_add_grant(made, "jti", id.c_str()) == 0 &&
                          jwt_add_grant_int(made, "exp", last) == 0 &&
                          jwt_set_alg(made, JWT_ALG_HS256, key, static_cast<int>(secret.size())) == 0;
    const std::unique_ptr<char, decltype(&std::free)> text(isFilled ? jwt_encode_str(made) : nullptr,
                                                           &std::free);
    if (!text) {
        throw std::runtime_error("could not sign an application token");
    }
    return text.get();
}

}  // namespace

std::int64_t SystemTime() {
    return g_get_real_time() / 1000;
}

TokenStore::TokenStore(const Folder& folder, Clock clock)
    : m_folder(folder),
      m_path(folder.StateFile("tokens.json")),
      m_clock(std::move(clock)),
      m_secret(folder.SigningSecret()) {
    Load(m_path);
}

bool TokenStore::Edit(const std::function<bool(Json::Value& state)>& change) const {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    Json::Value state = Load(m_path);
    const bool isChanged = change(state);
    if (isChanged) {
        Files::Replace(m_path, Cli::EditableJson(state));
    }
    return isChanged;
}

bool TokenStore::Holds(const Json::Value& entry) const {
    return Now() <= Cli::IntegerMember(entry, EXPIRES);
}

Ticket TokenStore::Add(Json::Value& state, const Holding& kind, const std::string& token,
                       const std::string& login) const {
    const std::int64_t lifetime = m_folder.Lifetime(kind);
    Ticket ticket = {token, Now() + lifetime, lifetime};
    Json::Value entry;
    entry[TOKEN] = token;
    entry[LOGIN] = login;
    entry[EXPIRES] = Json::Int64(ticket.expires);
    Remove(state[kind.name], TOKEN, token);
    Append(state[kind.name], entry);
    return ticket;
}

TokenPair TokenStore::AddPair(Json::Value& state, const std::string& login,
                              const std::string& replaced) const {
    TokenPair pair = {Add(state, Holding::ACCESS, "at." + RandomDigits(), login),
                      Add(state, Holding::REFRESH, "rt." + RandomDigits(), login)};
    Json::Value& refresh = state[Holding::REFRESH.name];
    refresh[refresh.size() - 1][REPLACES] = replaced;
    return pair;
}

bool TokenStore::UseCode(const std::string& code) const {
    const Json::Value digest = Sha256(code);
    return Edit([&](Json::Value& state) {
        Json::Value& used = state[CODES];
        const bool isNew = std::find(used.begin(), used.end(), digest) == used.end();
        if (isNew) {
            Append(used, digest);
        }
        return isNew;
    });
}

TokenPair TokenStore::Issue(const std::string& login) const {
    TokenPair pair;
    Edit([&](Json::Value& state) {
        pair = AddPair(state, login, "");
        return true;
    });
    return pair;
}

std::optional<TokenPair> TokenStore::Refresh(const std::string& refreshToken) const {
    std::optional<TokenPair> pair;
    Edit([&](Json::Value& state) {
        Json::Value& list = state[Holding::REFRESH.name];
        const Json::Value entry = Entry(list, refreshToken);
        if (Holds(entry)) {
            // What it was traded for is used now; what it was traded for before never came.
            Remove(list, TOKEN, Cli::StringMember(entry, REPLACES));
            Remove(list, REPLACES, refreshToken);
            pair = AddPair(state, Cli::StringMember(entry, LOGIN), refreshToken);
        }
        return pair.has_value();
    });
    return pair;
}

Ticket TokenStore::Give(const Holding& kind, const std::string& token, const std::string& login) const {
    Ticket ticket;
    Edit([&](Json::Value& state) {
        ticket = Add(state, kind, token, login);
        return true;
    });
    return ticket;
}

Ticket TokenStore::GiveAppToken(const std::string& login) const {
    const std::int64_t expires = Now() + m_folder.Lifetime(Holding::APP);
    Ticket ticket = Give(Holding::APP, SignAppToken(login, expires, m_secret), login);
    ticket.expires = expires;
    return ticket;
}

std::optional<Given> TokenStore::Find(const Holding& kind, const std::string& token) const {
    const Json::Value entry = Entry(Load(m_path)[kind.name], token);
    return entry.isNull() ? std::nullopt
                          : std::optional<Given>({Cli::StringMember(entry, LOGIN), Holds(entry)});
}

std::optional<std::string> TokenStore::OwnerOf(const Holding& kind, const std::string& token) const {
    const auto given = Find(kind, token);
    return given && given->holds ? std::optional(given->login) : std::nullopt;
}

std::int64_t TokenStore::Expire(const Holding& kind, const std::string& login) const {
    std::int64_t expired = 0;
    Edit([&](Json::Value& state) {
        for (auto& entry : state[kind.name]) {
            if (Cli::StringMember(entry, LOGIN) == login && Holds(entry)) {
                entry[EXPIRES] = Json::Int64(Now() - 1);
                ++expired;
            }
        }
        return expired > 0;
    });
    return expired;
}

std::vector<std::string> TokenStore::Secrets() const {
    const Json::Value state = Load(m_path);
    std::vector<std::string> tokens;
    for (const Holding* kind : {&Holding::ACCESS, &Holding::REFRESH, &Holding::APP}) {
        for (const auto& entry : state[kind->name]) {
            tokens.push_back(Cli::StringMember(entry, TOKEN));
        }
    }
    return tokens;
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

}  // namespace LocalCloud
