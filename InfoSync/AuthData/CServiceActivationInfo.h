/** The cloud's answers to the set's activation, kept for each user of the set. */
#pragma once

#include <json/json.h>

#include <string>

#include "Util/SecurityUtil.h"

class CServiceActivationInfo {
public:
    // Members of a user's entry; the activation ends at that millisecond since the epoch.
    static constexpr char DEVICE_ID[] = "dvcId";
    static constexpr char EXPIRE_TIME[] = "expireTime";

    /** Loads what is stored; what cannot be read is logged and counts as no activation. */
    void Init(const std::string& loginId);

    /** @throws CInfoSyncException when nothing is stored or it is neither a JSON object nor null; what is
     * held stays as it is */
    void ReadFromSecureStorage();

    /** Whether the user's activation holds now. */
    bool IsValid();

    /** Takes the cloud's answer over as the user's activation and stores it. @throws CInfoSyncException */
    void ImportResponse(Json::Value response);

    void WriteToSecureStorage(const std::string& data);

    /** The id that the cloud gave the set; empty when it gave none. @throws Json::Exception when it is no
     * text
     */
    std::string GetDviceId() const;

private:
    Json::Value m_root;
    std::string m_key;
    std::string m_alias = InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO;
};
