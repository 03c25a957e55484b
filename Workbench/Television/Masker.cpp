#include "Television/Masker.h"

#include <tinyxml2.h>

#include <algorithm>
#include <ctime>
#include <exception>
#include <filesystem>

#include "Cli/Json.h"
#include "Files.h"
#include "Television/Stored.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

// A shorter text is found in words that are none.
constexpr std::size_t SHORTEST = 8;

/** Whether the service could read the record. */
bool IsReadable(const std::string& alias, const std::string& record) {
    if (alias == InfoSyncUtil::ALIAS_AUTH_CODE) {
        tinyxml2::XMLDocument document;
        return document.Parse(record.data(), record.size()) == tinyxml2::XML_SUCCESS &&
               document.FirstChildElement("rsp") != nullptr;
    }
    try {
        InfoSyncUtil::ParseStoredObject(record);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace

std::vector<std::string> StoredSecrets() {
    std::vector<std::string> secrets;
    for (const char* alias : {InfoSyncUtil::ALIAS_ACCESS_TOKEN, InfoSyncUtil::ALIAS_JWT}) {
        const Json::Value users = ReadKey(alias).value;
        for (const std::string& user : users.getMemberNames()) {
            for (const char* name : {"access_token", "refresh_token", "accessToken"}) {
                secrets.push_back(Cli::TextMember(users[user], name));
            }
        }
    }
    static const Explain::Pattern element("<(?:auth_code|code_verifier)>(?<secret>[^<]*)<");
    try {
        element.ForEach(Files::Read(TvFolder::KeyPath(InfoSyncUtil::ALIAS_AUTH_CODE).value()),
                        [&secrets](const auto& found) { secrets.emplace_back(found["secret"]); });
    } catch (const std::exception&) {
        // There is none, or it cannot be read and is left out.
    }
    const auto isShort = [](const std::string& secret) { return secret.size() < SHORTEST; };
    secrets.erase(std::remove_if(secrets.begin(), secrets.end(), isShort), secrets.end());
    return secrets;
}

std::string WithEverythingRunOut(const std::string& alias, const std::string& record) {
    constexpr Json::Int64 MILLISECONDS_PER_SECOND = 1000;
    try {
        const Json::Int64 now = std::time(nullptr);
        Json::Value users = InfoSyncUtil::ParseStoredObject(record);
        for (const std::string& user : users.getMemberNames()) {
            Json::Value& entry = users[user];
            if (entry.isObject() && alias == InfoSyncUtil::ALIAS_JWT) {
                entry["tokenExpireTimeSec"] = now;
            } else if (entry.isObject() && alias == InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO) {
                entry["expireTime"] = now * MILLISECONDS_PER_SECOND;
            } else if (entry.isObject()) {
                entry["issued_time_in_second"] = now;
                entry["access_token_expires_in"] = -1;
                entry["refresh_token_expires_in"] = -1;
            }
        }
        return InfoSyncUtil::WriteJson(users);
    } catch (const std::exception&) {
        return record;
    }
}

void Masker::LearnKeys() {
    std::error_code error;
    const std::string folder = TvFolder::Resolve("keys");
    for (auto at = std::filesystem::directory_iterator(folder, error);
         !error && at != std::filesystem::directory_iterator(); at.increment(error)) {
        try {
            Learn(Files::Read(at->path().string()));
        } catch (const std::exception&) {
            continue;  // the service will not read it either
        }
    }
}

std::string Masker::MaskRecord(const std::string& alias, const std::string& record) {
    return IsReadable(alias, record) ? MaskEveryText(record) : Replacement(record);
}

Explain::LogLine Masker::MaskLine(Explain::LogLine line) {
    const std::string head = line.Head();
    const bool isService = line.tag == Explain::SERVICE_TAG && !line.file.empty();
    // What only looks like the head of a line may hold anything.
    const bool isHead = line.priority != '\0' && (isService || line.file.empty()) &&
                        head.find_first_of("=\"") == std::string::npos;
    if (isHead) {
        line.message = Mask(line.message, isService ? head.substr(line.headAt) : "");
        line.text = head + line.message;
    } else {
        line.text = Mask(line.text);
        line.message = Mask(line.message);
    }
    return line;
}

std::string Masker::MaskLog(const std::string& log) {
    std::string text;
    Explain::LogForms forms([&](const Explain::LogLine& line) { text += MaskLine(line).text + "\n"; });
    forms.Feed(log);
    forms.Finish();
    return text;
}

}  // namespace Television
