#include "Cloud/State/Users.h"

#include <glib.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <unordered_set>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

using Text = std::unique_ptr<char, decltype(&g_free)>;

constexpr char SUFFIX[] = ".json";
// A file name has 255 bytes at most, the suffix included.
constexpr std::size_t LONGEST_FILE_NAME = 240;

}  // namespace

std::string FileNameOfLogin(const std::string& login) {
    const Text escaped(g_uri_escape_string(login.c_str(), "@+ ", TRUE), &g_free);
    std::string name = escaped.get();
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

std::vector<std::string> Users::List() const {
    std::vector<std::string> logins;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.UsersFolder())) {
        const std::string stem = entry.path().stem();
        const Text login(g_uri_unescape_string(stem.c_str(), nullptr), &g_free);
        if (login && entry.path().extension() == SUFFIX && IsLogin(login.get()) &&
            FileNameOfLogin(login.get()) == stem) {
            logins.emplace_back(login.get());
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

}  // namespace LocalCloud
