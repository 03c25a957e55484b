#include "AuthData/CDeviceInfo.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "Util/BluetoothUtil.h"
#include "Util/CInfoSyncException.h"
#include "Util/CommonUtil.h"
#include "Util/JsonUtil.h"
#include "Util/Log.h"
#include "Util/SettingsUtil.h"

namespace {

/** Whether the record can be told from others; a missing id is the empty one. */
bool HasId(const Json::Value& record) {
    return record.isObject() && InfoSyncUtil::HasTextForm(record[CDeviceInfo::RECORD_ID]);
}

/** Hands each record over with its id; anything but an array has none. */
template <typename Put>
void ForEachRecord(Json::Value& records, const Put& put) {
    for (Json::ArrayIndex i = 0; records.isArray() && i < records.size(); ++i) {
        if (HasId(records[i])) {
            put(std::as_const(records)[i][CDeviceInfo::RECORD_ID].asString(), std::move(records[i]));
        }
    }
}

Json::Value ParseBatch(const std::string& data) {
    Json::Value batch = InfoSyncUtil::ParseAnswer(data, InfoSyncUtil::Limits::BATCH);
    const Json::Value& records = std::as_const(batch)[CDeviceInfo::RECORDS];
    // Taking such a batch over would move the mark past the records that it failed to bring.
    if (!records.isArray() && !records.isNull()) {
        throw CInfoSyncException("fail to parse the records: an array expected");
    }
    return batch;
}

/** The stored device list; null when there is none. @throws CInfoSyncException when it is not JSON */
Json::Value ReadDeviceList() {
    const std::string text = InfoSyncUtil::GetDeviceList();
    const std::string excess = InfoSyncUtil::WhyTooHeavy(text, InfoSyncUtil::Limits::DEVICE_LIST);
    if (!excess.empty()) {
        // Left as it is, it would end every run to come.
        INFOSYNC_LOG(DLOG_ERROR, "the device list has %s, make it anew", excess.c_str());
        return {};
    }
    Json::Value list =
        text.empty() ? Json::Value() : InfoSyncUtil::ParseJson(text, InfoSyncUtil::Limits::DEVICE_LIST);
    if (!list.isObject() && !list.isNull()) {
        INFOSYNC_LOG(DLOG_ERROR, "the device list is no object, make it anew");
        return {};
    }
    return list;
}

/** The users of a list entry; what is no entry, or no array of users, is made one. */
Json::Value& UsersOf(Json::Value& entry) {
    if (!entry.isObject()) {
        entry = Json::Value(Json::objectValue);
    }
    Json::Value& users = entry[CDeviceInfo::USERS];
    if (!users.isArray()) {
        users = Json::Value(Json::arrayValue);
    }
    return users;
}

}  // namespace

void CDeviceInfo::Init(const std::string& userId) {
    ApiTracker tracker("void CDeviceInfo::Init(const string&)", __LINE__);
    m_userId = userId;
    ReadFromSecureStorage();
}

void CDeviceInfo::ReadFromSecureStorage() {
    ApiTracker tracker("void CDeviceInfo::ReadFromSecureStorage()", __LINE__);
    try {
        std::string text;
        InfoSyncUtil::GetData(m_alias, text);
        ReplaceData(std::move(text));
    } catch (const std::exception& e) {
        INFOSYNC_LOG(DLOG_ERROR, "exception: %s, No data", e.what());
    }
}

void CDeviceInfo::ImportData(const std::string& data) {
    ApiTracker tracker("void CDeviceInfo::ImportData(const string&)", __LINE__);
    ReadFromSecureStorage();
    Json::Value batch = ParseBatch(data);
    INFOSYNC_LOG(DLOG_INFO, "data:%s", data.c_str());
    const Json::Value& records = std::as_const(batch)[RECORDS];
    const auto malformed = std::count_if(records.begin(), records.end(), std::not_fn(&IsUsable));
    if (malformed > 0) {
        // In one line, since a damaged answer may be made of nothing else.
        const auto first = std::find_if_not(records.begin(), records.end(), &IsUsable);
        INFOSYNC_LOG(DLOG_ERROR, "skip %ld malformed records, the first at position %u",
                     static_cast<long>(malformed), first.index());
    }
    if (InfoSyncUtil::HasEntry(m_data, m_userId)) {
        MergeBatch(batch);
    } else {
        INFOSYNC_LOG(DLOG_INFO, "No data for this user. add all");
        m_data[m_userId] = std::move(batch);
    }
    StoreMerged(InfoSyncUtil::WriteJson(m_data));
    UpdateDeviceList();
}

void CDeviceInfo::Reset() {
    ApiTracker tracker("void CDeviceInfo::Reset()", __LINE__);
    ReadFromSecureStorage();
    m_data.removeMember(m_userId);
    WriteSecureStorage(InfoSyncUtil::WriteJson(m_data));
    UpdateDeviceList();
}

void CDeviceInfo::WriteSecureStorage(const std::string& text) {
    ApiTracker tracker("void CDeviceInfo::WriteSecureStorage(const string&)", __LINE__);
    InfoSyncUtil::SaveData(m_alias, text);
}

void CDeviceInfo::UpdateDeviceList() {
    ApiTracker tracker("void CDeviceInfo::UpdateDeviceList()", __LINE__);
    Json::Value list = ReadDeviceList();
    INFOSYNC_LOG(DLOG_INFO, "user : %s", m_userId.c_str());
    const Json::Value& records = InfoSyncUtil::ObjectMember(m_data, m_userId)[RECORDS];
    for (Json::ArrayIndex i = 0; records.isArray() && i < records.size(); ++i) {
        const Json::Value& record = records[i];
        if (!IsUsable(record)) {
            continue;
        }
        const std::string recordId = record[RECORD_ID].asString();
        INFOSYNC_LOG(DLOG_INFO, "record_id : %s", recordId.c_str());
        if (record.isMember(ADDRESS)) {
            AddToDeviceList(list, record, recordId, m_userId);
        } else {
            RemoveFromDeviceList(list, recordId, m_userId);
        }
    }
    INFOSYNC_LOG(DLOG_INFO, "%s", list.toStyledString().c_str());
    InfoSyncUtil::SetDeviceList(InfoSyncUtil::WriteJson(list));
}

bool CDeviceInfo::IsUsable(const Json::Value& record) {
    return HasId(record) && (!record.isMember(ADDRESS) || (InfoSyncUtil::HasTextForm(record[UUIDS]) &&
                                                           InfoSyncUtil::HasTextForm(record[NAME]) &&
                                                           InfoSyncUtil::HasTextForm(record[ADDRESS])));
}

bool CDeviceInfo::IsAudioSink(const Json::Value& record) {
    const std::vector<std::string> uuids = CommonUtil::SplitString(record[UUIDS].asString());
    return std::find(uuids.begin(), uuids.end(), AUDIO_SINK_UUID) != uuids.end();
}

void CDeviceInfo::AddToDeviceList(Json::Value& list, const Json::Value& record, const std::string& recordId,
                                  const std::string& userId) {
    ApiTracker tracker(
        "void CDeviceInfo::AddToDeviceList(Json::Value&, const Json::Value&, const string&, const string&)",
        __LINE__);
    if (!IsAudioSink(record)) {
        return;
    }
    if (BluetoothUtil::IsBondedDevice(record[ADDRESS].asString())) {
        INFOSYNC_LOG(DLOG_INFO, "already locally bonded device");
        return;
    }
    const bool isListed = InfoSyncUtil::HasEntry(list, recordId);
    Json::Value& entry = list[recordId];
    if (isListed) {
        INFOSYNC_LOG(DLOG_INFO, "already exist records, add user id only.");
    } else {
        INFOSYNC_LOG(DLOG_INFO, "new data. add it");
        entry = Json::Value(Json::objectValue);
        entry[DELETED_ON_TV] = false;
    }
    Json::Value& users = UsersOf(entry);
    if (std::find(users.begin(), users.end(), Json::Value(userId)) == users.end()) {
        users.append(userId);
    }
    entry[NAME] = record[NAME].asString();
    entry[ADDRESS] = record[ADDRESS].asString();
    INFOSYNC_LOG(DLOG_DEBUG, "Add : %s ", InfoSyncUtil::WriteJson(entry).c_str());
}

void CDeviceInfo::RemoveFromDeviceList(Json::Value& list, const std::string& recordId,
                                       const std::string& userId) {
    ApiTracker tracker("void CDeviceInfo::RemoveFromDeviceList(Json::Value&, const string&, const string&)",
                       __LINE__);
    INFOSYNC_LOG(DLOG_INFO, "%s", recordId.c_str());
    if (!list.isMember(recordId)) {
        return;
    }
    Json::Value& users = UsersOf(list[recordId]);
    for (Json::ArrayIndex i = 0; i < users.size(); ++i) {
        if (users[i] == Json::Value(userId)) {
            Json::Value removed;  // some versions of the library want a place for it
            users.removeIndex(i, &removed);
            INFOSYNC_LOG(DLOG_INFO, "%s removed from %s", userId.c_str(), recordId.c_str());
            break;
        }
    }
    if (users.empty()) {
        list.removeMember(recordId);
        INFOSYNC_LOG(DLOG_INFO, "%s", recordId.c_str());
    }
}

Json::Value& CDeviceInfo::GetUserData() {
    return m_data[m_userId];
}

void CDeviceInfo::ReplaceData(std::string text) {
    const std::string known = std::exchange(m_knownText, std::string());
    const bool isKnown = !text.empty() && text == known;
    const std::string held = isKnown ? "null" : InfoSyncUtil::WriteJson(m_data);
    m_data = Json::Value();
    try {
        m_data = InfoSyncUtil::ParseStoredObject(text, InfoSyncUtil::Limits::RECORDS);
    } catch (const std::exception&) {
        m_data = InfoSyncUtil::ParseJson(held);
        throw;
    }
    if (!isKnown) {
        m_knownText = std::move(text);
    }
}

void CDeviceInfo::StoreMerged(const std::string& text) {
    const std::string excess = InfoSyncUtil::WhyTooHeavy(text, InfoSyncUtil::Limits::MERGED_RECORDS);
    WriteSecureStorage(text);
    if (!excess.empty()) {
        throw CInfoSyncException("the records are too heavy, the next run downloads them anew: " + excess);
    }
}

void CDeviceInfo::MergeBatch(Json::Value& batch) {
    Json::Value& user = GetUserData();
    user[META] = std::move(batch[META]);
    std::map<std::string, Json::Value> merged;
    // What is emptied is let go at once: each of these holds as many values as there are records.
    ForEachRecord(user[RECORDS], [&merged](const std::string& id, Json::Value&& record) {
        merged.try_emplace(id, std::move(record));
    });
    user[RECORDS] = Json::Value();
    ForEachRecord(batch[RECORDS], [&merged](const std::string& id, Json::Value&& record) {
        merged.insert_or_assign(id, std::move(record));
    });
    batch[RECORDS] = Json::Value();
    Json::Value records(Json::arrayValue);
    for (auto at = merged.begin(); at != merged.end(); at = merged.erase(at)) {
        records.append(std::move(at->second));
    }
    user[RECORDS] = std::move(records);
}
