/** The sign-in service's answer to a request for an OAuth 2.0 authorisation code: an XML document of named
 * texts. */
#pragma once

#include <map>
#include <string>

#include "Util/SecurityUtil.h"

class CAuthCode {
public:
    // Elements of the document.
    static constexpr char AUTH_CODE[] = "auth_code";
    static constexpr char CODE_VERIFIER[] = "code_verifier";

    /** Loads the stored document. @throws std::exception when there is none or it is not accepted */
    void Init();

    std::string ReadAuthCodeFromSecureStorage();

    /**
     * Takes a new document over and stores it as it is; Reset comes first.
     * @throws std::exception when it is not accepted, and then nothing is stored
     */
    void ImportAuthCode(const std::string& authCode);

    void WriteAuthCodeToSecureStorage(const std::string& authCode);

    /**
     * Adds the document's elements to those held; of two with one name the first stays.
     * @throws CInfoSyncException with nothing added, or std::logic_error at an element without text, with the
     * elements before it added
     */
    void Parse(const std::string& authCode);

    /** @throws CInfoSyncException when there is no such element */
    std::string GetAuthCodeElement(const std::string& key) const;
    std::string GetKapApiDomain() const;
    std::string GetKapAuthDomain() const;

    void Reset();
    void Deinit();

private:
    std::map<std::string, std::string> m_elements;
    std::string m_alias = InfoSyncUtil::ALIAS_AUTH_CODE;
};
