#include "Cloud/State/Tokens.h"

#include <glib.h>
#include <jwt.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

#include "Cli/Json.h"
#include "Cli/Text.h"
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

void Append(Json::Value& list, const Json::Value& entry) {
    list.append(entry);
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

void Add(Json::Value& list, const Json::Value& entry) {
    Remove(list, TOKEN, entry[TOKEN].asString());
    Append(list, entry);
}

Json::Value In(const Json::Value& list, const std::string& token) {
    const auto entry = std::find_if(list.begin(), list.end(), [&](const Json::Value& each) {
        return Cli::StringMember(each, TOKEN) == token;
    });
    return entry != list.end() ? *entry : Json::Value();
}

std::string Sign(const Json::Value& claims, const std::string& secret) {
    jwt_t* made = nullptr;
    const auto* key = reinterpret_cast<const unsigned char*>(secret.data());
    const bool isMade = jwt_new(&made) == 0 &&
                        jwt_add_grants_json(made, Cli::CompactJson(claims).c_str()) == 0 &&
                        jwt_set_alg(made, JWT_ALG_HS256, key, static_cast<int>(secret.size())) == 0;
    std::string token = Cli::Taken(isMade ? jwt_encode_str(made) : nullptr);
    jwt_free(made);
    if (token.empty()) {
        throw std::runtime_error("could not sign an application token");
    }
    return token;
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
    Load();
}

Json::Value TokenStore::Load() const {
    return ReadOwn(m_path, "every television then signs in anew", [](const Json::Value& state) {
        return std::all_of(state.begin(), state.end(),
                           [](const Json::Value& list) { return list.isNull() || list.isArray(); });
    });
}

void TokenStore::Edit(const std::function<void(Json::Value& state)>& change) const {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    const Json::Value before = Load();
    Json::Value state = before;
    change(state);
    if (state != before) {
        Files::Replace(m_path, Cli::EditableJson(state));
    }
}

Json::Value TokenStore::NewEntry(const Holding& kind, const std::string& login,
                                 const std::string& token) const {
    Json::Value entry;
    entry[TOKEN] = token;
    entry[LOGIN] = login;
    entry[EXPIRES] = Json::Int64(m_clock() / 1000 + m_folder.Lifetime(kind));
    return entry;
}

TokenPair TokenStore::AddPair(Json::Value& state, const std::string& login,
                              const std::string& replaced) const {
    TokenPair pair = {"at." + RandomDigits(), "rt." + RandomDigits()};
    Json::Value refresh = NewEntry(Holding::REFRESH, login, pair.refresh);
    refresh[REPLACES] = replaced;
    Add(state[Holding::ACCESS.name], NewEntry(Holding::ACCESS, login, pair.access));
    Add(state[Holding::REFRESH.name], refresh);
    return pair;
}

bool TokenStore::UseCode(const std::string& code) const {
    bool isNew = false;
    Edit([&, digest = Json::Value(Sha256(code))](Json::Value& state) {
        Json::Value& used = state[CODES];
        isNew = std::find(used.begin(), used.end(), digest) == used.end();
        if (isNew) {
            Append(used, digest);
        }
    });
    return isNew;
}

TokenPair TokenStore::Issue(const std::string& login) const {
    TokenPair pair;
    Edit([&](Json::Value& state) { pair = AddPair(state, login, ""); });
    return pair;
}

std::optional<TokenPair> TokenStore::Refresh(const std::string& refreshToken) const {
    std::optional<TokenPair> pair;
    Edit([&](Json::Value& state) {
        Json::Value& list = state[Holding::REFRESH.name];
        const Json::Value entry = In(list, refreshToken);
        if (Holds(entry)) {
            // What it was traded for is used now; what it was traded for before never came.
            Remove(list, TOKEN, Cli::StringMember(entry, REPLACES));
            Remove(list, REPLACES, refreshToken);
            pair = AddPair(state, entry[LOGIN].asString(), refreshToken);
        }
    });
    return pair;
}

Json::Value TokenStore::Give(const Holding& kind, const std::string& login, const std::string& token) const {
    Json::Value entry = NewEntry(kind, login, token);
    Edit([&](Json::Value& state) { Add(state[kind.name], entry); });
    return entry;
}

Json::Value TokenStore::GiveAppToken(const std::string& login) const {
    Json::Value entry = NewEntry(Holding::APP, login, "");
    Json::Value claims;
    claims["preferred_username"] = login;
    claims["jti"] = RandomDigits();
    claims["exp"] = entry[EXPIRES];
    entry[TOKEN] = Sign(claims, m_secret);
    Edit([&](Json::Value& state) { Add(state[Holding::APP.name], entry); });
    return entry;
}

Json::Value TokenStore::Find(const Holding& kind, const std::string& token) const {
    return In(Load()[kind.name], token);
}

bool TokenStore::Holds(const Json::Value& entry) const {
    return m_clock() / 1000 <= Cli::IntegerMember(entry, EXPIRES);
}

std::optional<std::string> TokenStore::OwnerOf(const Holding& kind, const std::string& token) const {
    const Json::Value entry = Find(kind, token);
    return Holds(entry) ? std::optional(entry[LOGIN].asString()) : std::nullopt;
}

std::uint64_t TokenStore::Expire(const Holding& kind, const std::string& login) const {
    std::uint64_t expired = 0;
    Edit([&](Json::Value& state) {
        for (auto& entry : state[kind.name]) {
            if (Holds(entry) && entry[LOGIN] == login) {
                entry[EXPIRES] = Json::Int64(m_clock() / 1000 - 1);
                ++expired;
            }
        }
    });
    return expired;
}

std::vector<std::string> TokenStore::Secrets() const {
    const Json::Value state = Load();
    std::vector<std::string> tokens;
    for (const Holding* kind : {&Holding::ACCESS, &Holding::REFRESH, &Holding::APP}) {
        for (const auto& entry : state[kind->name]) {
            tokens.push_back(Cli::StringMember(entry, TOKEN));
        }
    }
    return tokens;
}

std::string TokenStore::UserId(const std::string& login) const {
    return HmacSha256(m_secret, "user " + login).substr(0, 20);
}

std::string TokenStore::DeviceId(const std::string& login, const std::string& cdid) const {
    // The length keeps two pairs apart whose texts run into the same whole.
    const std::string device = "device " + std::to_string(login.size()) + ":" + login + cdid;
    return HmacSha256(m_secret, device).substr(0, 32);
}

}  // namespace LocalCloud
