#include "Cloud/State/Users.h"

#include <glib.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <unordered_set>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cloud/State/Crypto.h"
#include "Cloud/State/Refused.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char SUFFIX[] = ".json";
// A file name has 255 bytes at most, the suffix included.
constexpr std::size_t LONGEST_FILE_NAME = 240;

constexpr char OLDEST[] = "oldest";
constexpr char LATEST[] = "latest";
constexpr char RECORDS[] = "records";
constexpr char MARK[] = "mark";
constexpr char DIGEST[] = "sha256";

/** It has, by id, when each record changed ("mark"), and what it was then: a digest, or none of one that is
 * gone. */
Json::Value LoadLedger(const std::string& path) {
    Json::Value ledger;
    ledger[RECORDS] = Json::objectValue;
    const auto text = Files::ReadIfThere(path);
    if (!text) {
        return ledger;
    }
    try {
        ledger = Cli::ParseObject(*text, path);
        const auto oldest = Cli::IntegerMember(ledger, OLDEST);
        if (!ledger[RECORDS].isObject() || oldest < 1 || Cli::IntegerMember(ledger, LATEST) < oldest) {
            throw std::runtime_error(path + ": not what the cloud wrote");
        }
        return ledger;
    } catch (const std::runtime_error& damage) {
        throw std::runtime_error(std::string(damage.what()) +
                                 "; remove the file: every television then starts afresh");
    }
}

/** Gives what differs from the ledger a new mark. @return whether anything does */
bool Update(Json::Value& ledger, const Json::Value& records, std::int64_t now) {
    const std::int64_t mark = std::max(now, Cli::IntegerMember(ledger, LATEST) + 1);
    bool changed = !ledger.isMember(LATEST);
    ledger[OLDEST] = changed ? Json::Value(Json::Int64(mark)) : ledger[OLDEST];
    Json::Value& known = ledger[RECORDS];
    Json::Value digests = Json::objectValue;
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
            entry[MARK] = Json::Int64(mark);
            changed = true;
        }
    }
    ledger[LATEST] = changed ? Json::Value(Json::Int64(mark)) : ledger[LATEST];
    return changed;
}

Selection Compose(const Json::Value& ledger, const Json::Value& records,
                  const std::optional<std::int64_t>& changedAfter) {
    Selection selection;
    selection.body = R"({"meta":{"synced_timestamp":)" + ledger[LATEST].asString() + R"(},"records":[)";
    const auto add = [&](const Json::Value& entry, const Json::Value& record) {
        if (Cli::IntegerMember(entry, MARK) > changedAfter.value_or(0)) {
            selection.body += (selection.count++ == 0 ? "" : ",") + Cli::CompactJson(record);
        }
    };
    const Json::Value& known = ledger[RECORDS];
    for (const auto& record : records) {
        add(known[Cli::StringMember(record, CDeviceInfo::RECORD_ID)], record);
    }
    for (auto entry = known.begin(); changedAfter && entry != known.end(); ++entry) {
        if ((*entry)[DIGEST].isNull()) {
            Json::Value record;
            record[CDeviceInfo::RECORD_ID] = entry.name();
            record["deleted"] = true;
            add(*entry, record);
        }
    }
    selection.body += "]}";
    return selection;
}

/**
 * Takes a user's file apart: an object whose "records" is an array of objects, each with a "record_id" of its
 * own.
 * @throws std::runtime_error that begins with the name and says what is wrong where
 */
Json::Value ParseUserFile(const std::string& text, const std::string& name) {
    Json::Value document = Cli::ParseObject(text, name);
    const Json::Value& records = document[CDeviceInfo::RECORDS];
    if (!records.isArray()) {
        throw std::runtime_error(name + ": \"records\" must be an array");
    }
    std::unordered_set<std::string> ids;
    for (Json::ArrayIndex i = 0; i < records.size(); ++i) {
        const std::string id = Cli::StringMember(records[i], CDeviceInfo::RECORD_ID);
        if (id.empty() || !ids.insert(id).second) {
            throw std::runtime_error(name + ": record " + std::to_string(i + 1) +
                                     (id.empty() ? " needs a text \"record_id\""
                                                 : " has the record_id \"" + id + "\" of an earlier one"));
        }
    }
    return document;
}

}  // namespace

std::string FileNameOfLogin(const std::string& login) {
    std::string name = Cli::Taken(g_uri_escape_string(login.c_str(), "@+ ", TRUE));
    if (name.compare(0, 1, ".") == 0) {
        name.replace(0, 1, "%2E");
    }
    return name;
}

bool IsLogin(const std::string& login) {
    if (login.empty() || g_utf8_validate(login.data(), static_cast<gssize>(login.size()), nullptr) == FALSE) {
        return false;
    }
    const bool hasControls =
        std::any_of(login.begin(), login.end(), [](char byte) { return g_ascii_iscntrl(byte) != FALSE; });
    return !hasControls && FileNameOfLogin(login).size() <= LONGEST_FILE_NAME;
}

std::vector<std::string> Users::List() const {
    std::vector<std::string> logins;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.UsersFolder())) {
        const std::string stem = entry.path().stem();
        const std::string login = Cli::Taken(g_uri_unescape_string(stem.c_str(), nullptr));
        if (entry.path().extension() == SUFFIX && IsLogin(login) && FileNameOfLogin(login) == stem) {
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
    if (Exists(login)) {
        return false;
    }
    Json::Value document;
    document[CDeviceInfo::RECORDS] = Json::arrayValue;
    Save(login, document);
    return true;
}

Json::Value Users::Load(const std::string& login) const {
    RequireExists(login);
    const std::string path = m_folder.RecordsFile(login);
    return ParseUserFile(Files::Read(path), path);
}

void Users::Save(const std::string& login, const Json::Value& document) const {
    Files::Replace(m_folder.RecordsFile(login), Cli::EditableJson(document), Files::PUBLIC);
}

Selection SelectRecords(const Folder& folder, const std::string& login,
                        std::optional<std::int64_t> changedAfter, std::int64_t now) {
    const auto text = Files::ReadIfThere(folder.RecordsFile(login));
    const std::string name = "users/" + FileNameOfLogin(login) + SUFFIX;
    const Json::Value document = ParseUserFile(text.value_or(R"({"records":[]})"), name);
    const Json::Value& records = document[CDeviceInfo::RECORDS];
    Json::Value ledger = LoadLedger(folder.LedgerFile(login));
    if (Update(ledger, records, now)) {
        Files::Replace(folder.LedgerFile(login), Cli::CompactJson(ledger));
    }
    Demand(changedAfter.value_or(0) <= Cli::IntegerMember(ledger, LATEST), ResultCode::MARK_UNKNOWN,
           MARK_IS_UNKNOWN);
    Demand(!changedAfter || *changedAfter >= Cli::IntegerMember(ledger, OLDEST), ResultCode::MARK_TOO_OLD,
           MARK_IS_TOO_OLD);
    return Compose(ledger, records, changedAfter);
}

}  // namespace LocalCloud
