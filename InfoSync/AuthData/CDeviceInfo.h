/** The device records that the cloud holds for the set's users, and the local device list that is made from
 * them. */
#pragma once

#include <json/json.h>

#include <string>

#include "Util/SecurityUtil.h"

class CDeviceInfo {
public:
    /** The Bluetooth SIG's Audio Sink service class. */
    static constexpr char AUDIO_SINK_UUID[] = "0000110b-0000-1000-8000-00805f9b34fb";

    // Members of what is stored for a user, of the cloud's record of a device, and of the list's entry for
    // it.
    static constexpr char META[] = "meta";
    static constexpr char SYNCED_TIMESTAMP[] = "synced_timestamp";
    static constexpr char RECORDS[] = "records";
    static constexpr char RECORD_ID[] = "record_id";
    static constexpr char ADDRESS[] = "address";
    static constexpr char NAME[] = "name";
    static constexpr char UUIDS[] = "uuids";
    static constexpr char USERS[] = "users";
    static constexpr char DELETED_ON_TV[] = "deleted_on_tv";

    /** Loads the stored records; every other operation works on this user's part of them. */
    void Init(const std::string& userId);

    /** What cannot be read is logged, and what is held stays as it is. */
    void ReadFromSecureStorage();

    /**
     * Merges a downloaded batch into the stored records and brings the device list up to date.
     * @throws std::exception with nothing written when the batch is no batch; with the records written when
     * they are too heavy to be read again, or the stored device list is not JSON
     */
    void ImportData(const std::string& data);

    /** Forgets the user's records, so that the next download brings them all; the device list keeps its
     * entries. */
    void Reset();

    void WriteSecureStorage(const std::string& text);

    /** Brings the user's share of the device list up to date. @throws CInfoSyncException when the list is not
     * JSON */
    void UpdateDeviceList();

    /** Whether the record can be listed, or tells of a deletion; others are skipped. */
    static bool IsUsable(const Json::Value& record);

    /** Whether the record offers the Bluetooth SIG's Audio Sink service; only such devices are listed. */
    static bool IsAudioSink(const Json::Value& record);

    /** Adds an audio sink that is not paired with this set, or refreshes its entry; leaves others alone. */
    void AddToDeviceList(Json::Value& list, const Json::Value& record, const std::string& recordId,
                         const std::string& userId);

    /** Takes the user off a device, and the device off the list with its last user. */
    void RemoveFromDeviceList(Json::Value& list, const std::string& recordId, const std::string& userId);

    /** The user's part of the records that are held; made empty when there is none. */
    Json::Value& GetUserData();

private:
    /**
     * Takes the text over; what is held stays when it cannot be parsed. Two documents at once would be twice
     * the memory, so the held one is let go before the next is built. Between Init and the merge the text is
     * the same as a rule, and what was parsed once is parsed again; should another text be damaged, the held
     * document comes back from a text of its own.
     */
    void ReplaceData(std::string text);

    void MergeBatch(Json::Value& batch);

    /**
     * Stores the merged records. @throws CInfoSyncException, with them stored, when they are far too heavy to
     * be read again: the device list would not fit beside them either
     */
    void StoreMerged(const std::string& text);

    Json::Value m_data;
    /** What m_data was parsed from, for the next reading; kept for one, since it is big. */
    std::string m_knownText;
    std::string m_userId;
    std::string m_alias = InfoSyncUtil::ALIAS_RECORDS;
};
