/** Talks to the server that runs on a folder. */
#pragma once

#include <json/json.h>

#include <string>

#include "Cloud/Service/Folder.h"

namespace LocalCloud {

/**
 * Each call throws CloudError that says how to start a server when none runs, that one does not answer, or
 * why it does not do what it was asked.
 */
class ControlClient {
public:
    explicit ControlClient(const Folder& folder) : m_folder(folder) {}

    Json::Value Get(const std::string& path) const;
    Json::Value Post(const std::string& path, const Json::Value& body) const;
    void Delete(const std::string& path) const;

private:
    /** What the server that runs, or was killed, has noted down. */
    Json::Value FindServer() const;
    Json::Value Call(const std::string& method, const std::string& path, const std::string& body) const;

    Folder m_folder;
};

}  // namespace LocalCloud
