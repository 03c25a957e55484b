#include "Television/Records.h"

#include <stdexcept>

#include "Cli/Text.h"
#include "Television/Document.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

UserRecords ReadUser(const std::string& user, const Json::Value& entry) {
    UserRecords found;
    found.user = user;
    if (!entry.isObject()) {
        found.problem = "the user's entry is no object";
        return found;
    }
    found.mark = InfoSyncUtil::ToInt64(InfoSyncUtil::ObjectMember(entry, "meta")["synced_timestamp"]);
    const Json::Value& records = entry["records"];
    if (records.isArray()) {
        found.records = records;
    } else if (!records.isNull()) {
        found.problem = "the user's records are no array";
    }
    return found;
}

}  // namespace

std::vector<UserRecords> ReadRecords(const std::string& user) {
    const Document document = ReadKey(InfoSyncUtil::ALIAS_RECORDS);
    if (!document.IsReadable()) {
        throw std::runtime_error(
            document.Complaint("the records are", "The next good run replaces them: infosync-tv run"));
    }
    std::vector<UserRecords> users;
    for (const std::string& name : document.value.getMemberNames()) {
        if (user.empty() || name == user) {
            users.push_back(ReadUser(name, document.value[name]));
        }
    }
    if (!user.empty() && users.empty()) {
        throw std::runtime_error("nothing is stored for the user " + Cli::Escape(user) +
                                 "\nThe users are shown by: infosync-tv status");
    }
    return users;
}

Json::Value ToJson(const std::vector<UserRecords>& users) {
    Json::Value all(Json::arrayValue);
    for (const UserRecords& user : users) {
        Json::Value entry;
        entry["user"] = user.user;
        entry["mark"] = static_cast<Json::Int64>(user.mark);
        entry["count"] = user.records.size();
        entry["records"] = user.records;
        if (!user.problem.empty()) {
            entry["problem"] = user.problem;
        }
        all.append(std::move(entry));
    }
    return all;
}

}  // namespace Television
