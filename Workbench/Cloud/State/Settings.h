/** cloud.ini: how long what the cloud hands out is valid, and the secret that it signs with. */
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "Cloud/State/Holdings.h"

namespace LocalCloud {

/** Reads the file afresh at each call, so that a change takes effect while the server runs. */
class Settings {
public:
    explicit Settings(std::string path) : m_path(std::move(path)) {}

    /** Writes the defaults of what is missing. @throws std::runtime_error */
    void Prepare() const;

    /** In seconds. @throws std::runtime_error that names the file, also for what is no lifetime */
    std::int64_t Lifetime(Holding holding) const;

    /** @throws std::runtime_error */
    std::string SigningSecret() const;

private:
    std::string m_path;
};

}  // namespace LocalCloud
