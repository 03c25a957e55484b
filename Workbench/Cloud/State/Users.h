/** The cloud's users and the files that hold their devices. */
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "Cloud/State/Folder.h"

namespace LocalCloud {

/** Whether a text can be a login id here: UTF-8 without control characters, not empty, of a file name's
 * length. */
bool IsLogin(const std::string& login);

/** One to one for every text that IsLogin() accepts, and never a path that leads elsewhere. */
std::string FileNameOfLogin(const std::string& login);

/**
 * Takes a user's file apart: an object whose "records" is an array of objects, each with a "record_id" of its
 * own.
 * @throws std::runtime_error that begins with the name and says what is wrong where
 */
Json::Value ParseUserFile(const std::string& text, const std::string& name);

/** A user is known when there is a file for the login id. */
class Users {
public:
    /** @param any makes every login id a known one */
    explicit Users(const Folder& folder, bool any = false) : m_folder(folder), m_any(any) {}

    std::vector<std::string> List() const;
    bool Exists(const std::string& login) const;
    bool IsKnown(const std::string& login) const {
        return m_any || Exists(login);
    }
    /** @throws std::runtime_error that says how to add the user, unless there is one */
    void RequireExists(const std::string& login) const;
    /** @return false, with nothing changed, when the user exists already @throws std::runtime_error */
    bool Add(const std::string& login) const;
    /** The user's document. @throws std::runtime_error that says what to do, also for an unknown user */
    Json::Value Load(const std::string& login) const;
    void Save(const std::string& login, const Json::Value& document) const;

private:
    Folder m_folder;
    bool m_any;
};

}  // namespace LocalCloud
