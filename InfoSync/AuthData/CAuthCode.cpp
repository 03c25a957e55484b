#include "AuthData/CAuthCode.h"

#include <tinyxml2.h>

#include <stdexcept>

#include "Util/CInfoSyncException.h"
#include "Util/Log.h"

void CAuthCode::Init() {
    ApiTracker tracker("void CAuthCode::Init()", __LINE__);
    Reset();
    Parse(ReadAuthCodeFromSecureStorage());
}

std::string CAuthCode::ReadAuthCodeFromSecureStorage() {
    ApiTracker tracker("std::string CAuthCode::ReadAuthCodeFromSecureStorage()", __LINE__);
    std::string authCode;
    InfoSyncUtil::GetData(m_alias, authCode);
    INFOSYNC_LOG(DLOG_INFO, "%s", authCode.c_str());
    return authCode;
}

void CAuthCode::ImportAuthCode(const std::string& authCode) {
    ApiTracker tracker("void CAuthCode::ImportAuthCode(const string&)", __LINE__);
    Parse(authCode);
    WriteAuthCodeToSecureStorage(authCode);
}

void CAuthCode::WriteAuthCodeToSecureStorage(const std::string& authCode) {
    ApiTracker tracker("void CAuthCode::WriteAuthCodeToSecureStorage(const string&)", __LINE__);
    INFOSYNC_LOG(DLOG_INFO, "%s", authCode.c_str());
    InfoSyncUtil::SaveData(m_alias, authCode);
}

void CAuthCode::Parse(const std::string& authCode) {
    ApiTracker tracker("void CAuthCode::Parse(const string&)", __LINE__);
    INFOSYNC_LOG(DLOG_INFO, "authCode : %s", authCode.c_str());
    tinyxml2::XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
    if (document.Parse(authCode.c_str()) != tinyxml2::XML_SUCCESS) {
        throw CInfoSyncException("fail to parse xml");
    }
    const tinyxml2::XMLElement* rsp = document.FirstChildElement("rsp");
    const char* stat = rsp == nullptr ? nullptr : rsp->Attribute("stat");
    if (stat == nullptr || std::string("ok") != stat) {
        throw CInfoSyncException("server return failed.");
    }
    for (const tinyxml2::XMLElement* element = rsp->FirstChildElement(); element != nullptr;
         element = element->NextSiblingElement()) {
        const char* text = element->GetText();
        if (text == nullptr) {
            throw std::logic_error(std::string("no text in element ") + element->Value());
        }
        INFOSYNC_LOG(DLOG_INFO, "name : %s, text : %s", element->Value(), text);
        m_elements.emplace(element->Value(), text);
    }
}

std::string CAuthCode::GetAuthCodeElement(const std::string& key) const {
    ApiTracker tracker("std::string CAuthCode::GetAuthCodeElement(const string&) const", __LINE__);
    const auto element = m_elements.find(key);
    if (element == m_elements.end()) {
        INFOSYNC_LOG(DLOG_ERROR, "fail to get %s", key.c_str());
        throw CInfoSyncException("fail to read");
    }
    INFOSYNC_LOG(DLOG_INFO, "key : %s. value : %s", key.c_str(), element->second.c_str());
    return element->second;
}

std::string CAuthCode::GetKapApiDomain() const {
    ApiTracker tracker("std::string CAuthCode::GetKapApiDomain() const", __LINE__);
    return GetAuthCodeElement("kap_api_domain");
}

std::string CAuthCode::GetKapAuthDomain() const {
    ApiTracker tracker("std::string CAuthCode::GetKapAuthDomain() const", __LINE__);
    return GetAuthCodeElement("kap_auth_domain");
}

void CAuthCode::Reset() {
    ApiTracker tracker("void CAuthCode::Reset()", __LINE__);
    m_elements.clear();
}

void CAuthCode::Deinit() {
    ApiTracker tracker("void CAuthCode::Deinit()", __LINE__);
    Reset();
}
