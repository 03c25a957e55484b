#include "AuthData/CDeviceInfo.h"

#include <algorithm>
#include <exception>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "Util/BluetoothUtil.h"
#include "Util/CInfoSyncException.h"
#include "Util/CommonUtil.h"
#include "Util/JsonUtil.h"
#include "Util/Log.h"
#include "Util/SettingsUtil.h"

namespace {

/** The Bluetooth SIG's Audio Sink service class. */
constexpr char AUDIO_SINK_UUID[] = "0000110b-0000-1000-8000-00805f9b34fb";

constexpr char META[] = "meta";
constexpr char RECORDS[] = "records";
constexpr char RECORD_ID[] = "record_id";
constexpr char ADDRESS[] = "address";
constexpr char NAME[] = "name";
constexpr char UUIDS[] = "uuids";
constexpr char USERS[] = "users";
constexpr char DELETED_ON_TV[] = "deleted_on_tv";

/** The record's identity; a record without one is reported by its position and skipped by the caller. */
std::optional<std::string> RecordId(const Json::Value& record, Json::ArrayIndex position) {
    const Json::Value* id =
        record.isObject() ? record.find(RECORD_ID, RECORD_ID + sizeof(RECORD_ID) - 1) : nullptr;
    if (id == nullptr || id->isNull() || !InfoSyncUtil::HasTextForm(*id)) {
        INFOSYNC_LOG(DLOG_ERROR, "skip record %u: no record_id", position);
        return std::nullopt;
    }
    return id->asString();
}

/** Hands each record over with its id; anything but an array has none. */
template <typename Put>
void ForEachRecord(Json::Value& records, const Put& put) {
    if (!records.isArray()) {
        return;
    }
    for (Json::ArrayIndex i = 0; i < records.size(); ++i) {
        if (const auto id = RecordId(records[i], i)) {
            put(*id, std::move(records[i]));
        }
    }
}

Json::Value ParseBatch(const std::string& data) {
    Json::Value batch = InfoSyncUtil::ParseAnswer(data);
    const Json::Value& records = std::as_const(batch)[RECORDS];
    // Taking such a batch over would move the mark past the records that it failed to bring.
    if (!records.isArray() && !records.isNull()) {
        throw CInfoSyncException("fail to parse the records: an array expected");
    }
    return batch;
}

/** Whether the record's texts can be read; one that cannot is reported by its id and skipped by the caller.
 */
bool HasTexts(const Json::Value& record, const std::string& recordId) {
    for (const char* name : {UUIDS, NAME, ADDRESS}) {
        if (!InfoSyncUtil::HasTextForm(record[name])) {
            INFOSYNC_LOG(DLOG_ERROR, "skip record %s: no text in %s", recordId.c_str(), name);
            return false;
        }
    }
    return true;
}

Json::Value AsText(const Json::Value& value) {
    return value.isString() ? value : Json::Value(value.asString());
}

/** The stored device list; null when there is none. @throws CInfoSyncException when it is not JSON */
Json::Value ReadDeviceList() {
    const std::string text = InfoSyncUtil::GetDeviceList();
    Json::Value list = text.empty() ? Json::Value() : InfoSyncUtil::ParseJson(text);
    if (!list.isObject() && !list.isNull()) {
        INFOSYNC_LOG(DLOG_ERROR, "the device list is no object, make it anew");
        return {};
    }
    return list;
}

/**
 * The list in indented form, without what no log entry is long enough to show: the whole text of a long list
 * takes longer to make than the list.
 */
std::string IndentedForLog(const Json::Value& list) {
    constexpr std::size_t MORE_THAN_AN_ENTRY_SHOWS = 16384;
    Json::Value shown = list.isObject() ? Json::Value(Json::objectValue) : list;
    std::size_t length = 0;
    for (auto device = list.begin(); device != list.end() && length < MORE_THAN_AN_ENTRY_SHOWS; ++device) {
        shown[device.name()] = *device;
        length += device.name().size() + InfoSyncUtil::WriteJson(*device).size();
    }
    return shown.toStyledString();
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
        if (m_text.empty() || text != m_text) {
            m_data = InfoSyncUtil::ParseStoredObject(text);
            m_text = std::move(text);
        }
    } catch (const std::exception& e) {
        INFOSYNC_LOG(DLOG_ERROR, "exception: %s, No data", e.what());
    }
}

void CDeviceInfo::ImportData(const std::string& data) {
    ApiTracker tracker("void CDeviceInfo::ImportData(const string&)", __LINE__);
    Reload();
    Json::Value batch = ParseBatch(data);
    INFOSYNC_LOG(DLOG_INFO, "data:%s", data.c_str());
    if (HasUserData()) {
        MergeBatch(batch);
    } else {
        INFOSYNC_LOG(DLOG_INFO, "No data for this user. add all");
        m_data[m_userId] = std::move(batch);
    }
    WriteSecureStorage(InfoSyncUtil::WriteJson(m_data));
    UpdateDeviceList();
}

void CDeviceInfo::Reset() {
    ApiTracker tracker("void CDeviceInfo::Reset()", __LINE__);
    Reload();
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
        const auto recordId = RecordId(record, i);
        if (!recordId) {
            continue;
        }
        INFOSYNC_LOG(DLOG_INFO, "record_id : %s", recordId->c_str());
        if (!record.isMember(ADDRESS)) {
            RemoveFromDeviceList(list, *recordId, m_userId);
        } else if (HasTexts(record, *recordId)) {
            AddToDeviceList(list, record, *recordId, m_userId);
        }
    }
    INFOSYNC_LOG(DLOG_INFO, "%s", IndentedForLog(list).c_str());
    InfoSyncUtil::SetDeviceList(InfoSyncUtil::WriteJson(list));
}

void CDeviceInfo::AddToDeviceList(Json::Value& list, const Json::Value& record, const std::string& recordId,
                                  const std::string& userId) {
    ApiTracker tracker(
        "void CDeviceInfo::AddToDeviceList(Json::Value&, const Json::Value&, const string&, const string&)",
        __LINE__);
    const std::vector<std::string> uuids = CommonUtil::SplitString(record[UUIDS].asString());
    if (std::find(uuids.begin(), uuids.end(), AUDIO_SINK_UUID) == uuids.end()) {
        return;
    }
    if (BluetoothUtil::IsBondedDevice(record[ADDRESS].asString())) {
        INFOSYNC_LOG(DLOG_INFO, "already locally bonded device");
        return;
    }
    Json::Value& entry = list[recordId];
    if (entry.isObject()) {
        INFOSYNC_LOG(DLOG_INFO, "already exist records, add user id only.");
    } else {
        INFOSYNC_LOG(DLOG_INFO, "new data. add it");
        entry = Json::Value(Json::objectValue);
        entry[DELETED_ON_TV] = false;
    }
    Json::Value& users = entry[USERS];
    if (!users.isArray()) {
        users = Json::Value(Json::arrayValue);
    }
    Json::Value user(userId);
    if (std::find(users.begin(), users.end(), user) == users.end()) {
        users.append(std::move(user));
    }
    entry[NAME] = AsText(record[NAME]);
    entry[ADDRESS] = AsText(record[ADDRESS]);
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
    Json::Value users = InfoSyncUtil::ObjectMember(list, recordId)[USERS];
    if (!users.isArray()) {
        users = Json::Value(Json::arrayValue);
    }
    for (Json::ArrayIndex i = 0; i < users.size(); ++i) {
        if (users[i] == Json::Value(userId)) {
            users.removeIndex(i, nullptr);
            INFOSYNC_LOG(DLOG_INFO, "%s removed from %s", userId.c_str(), recordId.c_str());
            break;
        }
    }
    if (users.empty()) {
        list.removeMember(recordId);
        INFOSYNC_LOG(DLOG_INFO, "%s", recordId.c_str());
    } else {
        list[recordId][USERS] = std::move(users);
    }
}

Json::Value& CDeviceInfo::GetUserData() {
    if (!HasUserData()) {
        m_text.clear();  // the caller makes what the stored text does not hold
    }
    return m_data[m_userId];
}

void CDeviceInfo::Reload() {
    ReadFromSecureStorage();
    m_text = std::string();
}

bool CDeviceInfo::HasUserData() const {
    return !InfoSyncUtil::ObjectMember(m_data, m_userId).isNull();
}

void CDeviceInfo::MergeBatch(Json::Value& batch) {
    Json::Value& user = m_data[m_userId];
    // Both come in the order of their ids as a rule, so that a record's place is mostly at the end.
    std::map<std::string, Json::Value> merged;
    ForEachRecord(user[RECORDS], [&merged](const std::string& id, Json::Value&& record) {
        merged.try_emplace(merged.end(), id, std::move(record));
    });
    ForEachRecord(batch[RECORDS], [&merged](const std::string& id, Json::Value&& record) {
        merged.insert_or_assign(merged.end(), id, std::move(record));
    });
    Json::Value records(Json::arrayValue);
    for (auto& [id, record] : merged) {
        records.append(std::move(record));
    }
    user[META] = std::move(batch[META]);
    user[RECORDS] = std::move(records);
}
