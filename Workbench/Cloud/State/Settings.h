/** cloud.ini: how long what the cloud hands out is valid, and the secret that it signs with. */
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace LocalCloud {

/** Reads the file afresh at each call, so that a change takes effect while the server runs. */
class Settings {
public:
    explicit Settings(std::string path) : m_path(std::move(path)) {}

    /** What has a lifetime: access, refresh, activation, app. */
    static std::vector<std::string> LifetimeNames();

    /** Writes the defaults of what is missing. @throws std::runtime_error */
    void Prepare() const;

    /** Seconds. @throws std::runtime_error */
    std::int64_t Lifetime(const std::string& name) const;
    /** For what is handed out from now on. @throws std::runtime_error, and nothing is changed */
    void SetLifetime(const std::string& name, std::int64_t seconds) const;

    /** @throws std::runtime_error */
    std::string SigningSecret() const;

private:
    std::string m_path;
};

}  // namespace LocalCloud
