#include "Cloud/State/Users.h"

#include <glib.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <utility>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cloud/State/Crypto.h"
#include "Cloud/State/Refused.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char OLDEST[] = "oldest";
constexpr char LATEST[] = "latest";
constexpr char MARK[] = "mark";
constexpr char DIGEST[] = "sha256";

/** @throws std::runtime_error that begins with the name and says what is wrong where */
Json::Value ParseUserFile(const std::string& text, const std::string& name) {
    Json::Value document = Cli::ParseObject(text, name);
    const Json::Value& records = document[CDeviceInfo::RECORDS];
    if (!records.isArray()) {
        throw std::runtime_error(name + ": \"records\" must be an array");
    }
    std::set<std::string> ids;
    for (const auto& record : records) {
        const std::string id = Cli::StringMember(record, CDeviceInfo::RECORD_ID);
        if (id.empty() || !ids.insert(id).second) {
            throw std::runtime_error(name + ": record " + std::to_string(ids.size() + 1) +
                                     (id.empty() ? " needs a text \"record_id\""
                                                 : " has the record_id \"" + id + "\" of an earlier one"));
        }
    }
    return document;
}

/** It has, by id, when each record changed ("mark"), and what it was then: a digest, or none of one that is
 * gone. */
Json::Value LoadLedger(const std::string& path) {
    return ReadOwn(path, "every television then starts afresh", [](const Json::Value& ledger) {
        const auto oldest = Cli::IntegerMember(ledger, OLDEST);
        return ledger.empty() || (oldest >= 1 && Cli::IntegerMember(ledger, LATEST) >= oldest &&
                                  ledger[CDeviceInfo::RECORDS].isObject());
    });
}

/** Gives what differs from the ledger a new mark, which is the latest then. @return whether anything does */
bool Update(Json::Value& ledger, const Json::Value& records, std::int64_t now) {
    const Json::Int64 mark = std::max(now, Cli::IntegerMember(ledger, LATEST) + 1);
    if (ledger.empty()) {
        ledger[OLDEST] = ledger[LATEST] = mark;
        ledger[CDeviceInfo::RECORDS] = Json::objectValue;
    }
    Json::Value& known = ledger[CDeviceInfo::RECORDS];
    Json::Value digests;
    for (const auto& id : known.getMemberNames()) {
        digests[id] = Json::nullValue;
    }
    for (const auto& record : records) {
        digests[Cli::StringMember(record, CDeviceInfo::RECORD_ID)] = Sha256(Cli::CompactJson(record));
    }
    for (auto digest = digests.begin(); digest != digests.end(); ++digest) {
        Json::Value& entry = known[digest.name()];
        if (entry[DIGEST] != *digest) {
            entry[DIGEST] = *digest;
            entry[MARK] = ledger[LATEST] = mark;
        }
    }
    return ledger[LATEST] == mark;
}

Json::Value Compose(const Json::Value& ledger, const Json::Value& records,
                    const std::optional<std::int64_t>& changedAfter) {
    const Json::Value& known = ledger[CDeviceInfo::RECORDS];
    Json::Value answer;
    answer[CDeviceInfo::META][CDeviceInfo::SYNCED_TIMESTAMP] = ledger[LATEST];
    Json::Value& sent = answer[CDeviceInfo::RECORDS] = Json::arrayValue;
    const auto isNews = [&](const Json::Value& entry) {
        return Cli::IntegerMember(entry, MARK) > changedAfter.value_or(0);
    };
    for (const auto& record : records) {
        if (isNews(known[Cli::StringMember(record, CDeviceInfo::RECORD_ID)])) {
            sent.append(record);
        }
    }
    for (auto entry = known.begin(); changedAfter && entry != known.end(); ++entry) {
        if ((*entry)[DIGEST].isNull() && isNews(*entry)) {
            Json::Value& gone = sent.append(Json::objectValue);
            gone[CDeviceInfo::RECORD_ID] = entry.name();
            gone["deleted"] = true;
        }
    }
    return answer;
}

/** The code to refuse a user's mark with, once, when somebody made the mark expire. */
std::string TakeExpiredMark(const std::string& path) {
    std::string code = Files::ReadIfThere(path).value_or("");
    return !code.empty() && Files::Remove(path) ? g_strstrip(code.data()) : "";
}

void DemandMark(const Folder& folder, const std::string& login, const Json::Value& ledger,
                std::int64_t mark) {
    const std::string expired = TakeExpiredMark(folder.ExpiredMarkFile(login));
    Demand(mark <= Cli::IntegerMember(ledger, LATEST) && expired != TextOf(ResultCode::MARK_UNKNOWN),
           ResultCode::MARK_UNKNOWN, "changed_after is no mark of this cloud's");
    Demand(mark >= Cli::IntegerMember(ledger, OLDEST) && expired.empty(), ResultCode::MARK_TOO_OLD,
           "changed_after is too old: download everything");
}

}  // namespace

std::vector<std::string> Users::List() const {
    std::vector<std::string> logins;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.UsersFolder())) {
        const std::string login = Cli::Taken(g_uri_unescape_string(entry.path().stem().c_str(), nullptr));
        if (IsLogin(login) && m_folder.RecordsFile(login) == entry.path()) {
            logins.push_back(login);
        }
    }
    std::sort(logins.begin(), logins.end());
    return logins;
}

bool Users::Exists(const std::string& login) const {
    return IsLogin(login) && std::filesystem::exists(m_folder.RecordsFile(login));
}

void Users::RequireExists(const std::string& login) const {
    if (!Exists(login)) {
        throw std::runtime_error("there is no user " + login + "; add one with: infosync-cloud user add '" +
                                 login + "'");
    }
}

bool Users::Add(const std::string& login) const {
    if (!IsLogin(login)) {
        throw std::runtime_error("\"" + login + "\" cannot be a login id");
    }
    const bool isNew = !Exists(login);
    if (isNew) {
        Json::Value document;
        document[CDeviceInfo::RECORDS] = Json::arrayValue;
        Save(login, document);
    }
    return isNew;
}

Json::Value Users::Load(const std::string& login) const {
    RequireExists(login);
    const std::string path = m_folder.RecordsFile(login);
    return ParseUserFile(Files::Read(path), path);
}

void Users::Save(const std::string& login, const Json::Value& document) const {
    Files::Replace(m_folder.RecordsFile(login), Cli::EditableJson(document), Files::PUBLIC);
}

Json::Value SelectRecords(const Folder& folder, const std::string& login,
                          std::optional<std::int64_t> changedAfter, std::int64_t now) {
    const auto text = Files::ReadIfThere(folder.RecordsFile(login));
    const Json::Value document =
        ParseUserFile(text.value_or(R"({"records":[]})"), "users/" + FileNameOfLogin(login) + ".json");
    const Json::Value& records = document[CDeviceInfo::RECORDS];
    Json::Value ledger = LoadLedger(folder.LedgerFile(login));
    if (Update(ledger, records, now)) {
        Files::Replace(folder.LedgerFile(login), Cli::CompactJson(ledger));
    }
    if (changedAfter) {
        DemandMark(folder, login, ledger, *changedAfter);
    }
    return Compose(ledger, records, changedAfter);
}

}  // namespace LocalCloud
