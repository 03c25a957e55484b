#include "Television/Records.h"

#include <glib.h>

#include <memory>
#include <stdexcept>

#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Television/Document.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

/** The 16-bit number of a service of the Bluetooth SIG; other texts, upper case among them, as they are. */
std::string ShortUuid(const std::string& uuid) {
    constexpr char START[] = "0000";
    constexpr char BASE[] = "-0000-1000-8000-00805f9b34fb";
    constexpr std::size_t SHORT_LENGTH = 4;
    const bool isShort = uuid.size() == 36 && uuid.compare(0, sizeof(START) - 1, START) == 0 &&
                         uuid.compare(8, std::string::npos, BASE) == 0;
    return isShort ? uuid.substr(4, SHORT_LENGTH) : uuid;
}

std::string Services(const std::string& uuids) {
    const std::unique_ptr<char*, decltype(&g_strfreev)> pieces(g_strsplit(uuids.c_str(), ",", -1),
                                                               &g_strfreev);
    std::vector<std::string> services;
    for (char** piece = pieces.get(); *piece != nullptr; ++piece) {
        services.push_back(ShortUuid(*piece));
    }
    return Cli::Join(services, ",");
}

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

std::string RecordsText(const UserRecords& user, const Cli::Style& style) {
    std::string text = style(Cli::Colour::BOLD, Cli::Escape(user.user)) + ": " +
                       Cli::Count(user.records.size(), "record") + ", " +
                       (user.mark > 0 ? "mark " + std::to_string(user.mark) : "no mark") + "\n";
    if (!user.problem.empty()) {
        return text + style(Cli::Colour::RED, "  damaged: ") + user.problem + "\n";
    }
    Cli::Table table({"ID", "NAME", "ADDRESS", "SERVICES"});
    for (const Json::Value& record : user.records) {
        const auto member = [&record](const char* name) { return InfoSyncUtil::TextMember(record, name); };
        table.Add({member("record_id"), member("name"),
                   !record.isObject()           ? "(damaged)"
                   : record.isMember("address") ? member("address")
                                                : "(deleted)",
                   Services(member("uuids"))});
    }
    return user.records.empty() ? text : text + table.Text(style, "  ");
}

}  // namespace Television
