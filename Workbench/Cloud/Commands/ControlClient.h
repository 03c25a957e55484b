/** Talks to the server that runs on a folder. */
#pragma once

#include <json/json.h>

#include <string>

#include "Cloud/Service/Folder.h"

namespace LocalCloud {

class ControlClient {
public:
    explicit ControlClient(const Folder& folder) : m_folder(folder) {}

    /** @throws CloudError that says how to start a server when none runs, or that one does not answer */
    Json::Value Get(const std::string& path) const;
    /** @throws CloudError as above; UsageError when the server finds the request to make no sense */
    Json::Value Post(const std::string& path, const Json::Value& body) const;
    /** @throws CloudError as above */
    void Delete(const std::string& path) const;

private:
    /** What the server that runs, or was killed, has noted down. */
    Json::Value FindServer() const;
    Json::Value Call(const std::string& method, const std::string& path, const std::string& body) const;

    Folder m_folder;
};

}  // namespace LocalCloud
